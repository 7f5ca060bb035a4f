#include "core/adb/hostquery.h"

#include <utility>

#include "core/adb/replyframing.h"

namespace vf {

namespace {
enum Tag : long { kStatus = 2, kPayload = 3 };
}  // namespace

HostQuery::HostQuery(const AdbEndpoint& endpoint, QString request, QObject* parent)
    : AdbSocket(endpoint, parent), request_(std::move(request)) {
    setReplyTimeout(kReplyTimeoutSeconds);
}

void HostQuery::connected() {
    reply_.clear();
    sendExpectOkay(request_, kStatus);
}

void HostQuery::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kStatus:
            if (takeOkay(data)) readPayload(kPayload);
            break;
        case kPayload:
            // The reply is whole: nothing more to wait for.
            if (auto payload = takePayload(data)) {
                reply_ = std::move(*payload);
                end(AdbOutcome::Done);
            }
            break;
        default:
            logUnknownTag(tag);
    }
}

void HostQuery::finished(const AdbResult& result) {
    QByteArray reply = std::exchange(reply_, {});
    if (result.error) reply.clear();
    if (delegate_ != nullptr) delegate_->hostQueryFinished(request_, reply, result);
}

}  // namespace vf
