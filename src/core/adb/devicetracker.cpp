#include "core/adb/devicetracker.h"

#include "core/adb/replyframing.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
enum Tag : long { kStatus = 2, kListing = 3 };
}  // namespace

void DeviceTracker::connected() {
    // The status comes at once; the listings whenever a device changes.
    setReplyTimeout(-1.0);
    sendExpectOkay(u"host:track-devices-l"_s, kStatus, kReplyTimeoutSeconds);
}

void DeviceTracker::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kStatus:
            if (takeOkay(data)) readPayload(kListing);
            break;
        case kListing:
            if (auto listing = takePayload(data)) {
                if (delegate_ != nullptr) delegate_->devicesTracked(*listing);
                readPayload(kListing);
            }
            break;
        default:
            logUnknownTag(tag);
    }
}

void DeviceTracker::finished(const AdbResult& result) {
    if (delegate_ != nullptr) delegate_->trackingFinished(result);
}

}  // namespace vf
