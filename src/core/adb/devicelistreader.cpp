#include "core/adb/devicelistreader.h"

#include <utility>

#include "core/adb/replyframing.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
enum Tag : long { kStatus = 2, kPayload = 3 };
}  // namespace

void DeviceListReader::connected() {
    listing_.clear();
    setReplyTimeout(kReplyTimeoutSeconds);
    sendExpectOkay(u"host:devices"_s, kStatus);
}

void DeviceListReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kStatus:
            if (takeOkay(data)) readPayload(kPayload);
            break;
        case kPayload:
            // The reply is whole: nothing more to wait for.
            if (auto payload = takePayload(data)) {
                listing_ = std::move(*payload);
                end(AdbOutcome::Done);
            }
            break;
        default:
            logUnknownTag(tag);
    }
}

void DeviceListReader::finished(const AdbResult& result) {
    if (delegate_ != nullptr) delegate_->deviceListFinished(std::exchange(listing_, {}), result);
}

}  // namespace vf
