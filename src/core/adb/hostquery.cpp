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

namespace {
// Lives as a child of its query, so it goes with it.
class HostQueryCallback final : public QObject, public HostQueryDelegate {
public:
    HostQueryCallback(HostQuery* query, HostQueryDone done) : QObject(query), query_(query), done_(std::move(done)) {}
    void hostQueryFinished(const QString&, const QByteArray& reply, const AdbResult& result) override {
        query_->setDelegate(nullptr);
        query_->deleteLater();  // inside its own report
        done_(reply, result);
    }

private:
    HostQuery* query_;
    HostQueryDone done_;
};
}  // namespace

void startHostQuery(const AdbEndpoint& endpoint, const QString& request, QObject* context, HostQueryDone done,
                    double timeoutSeconds) {
    auto* query = new HostQuery(endpoint, request, context);
    if (timeoutSeconds > 0) query->setReplyTimeout(timeoutSeconds);
    query->setDelegate(new HostQueryCallback(query, std::move(done)));
    query->start();
}

}  // namespace vf
