#include "core/adb/devicelistreader.h"

#include "core/adb/replyframing.h"
#include "core/support/logger.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
enum Tag : long { kFailLength = 0, kFailMessage = 1, kStatus = 2, kLength = 3, kPayload = 4 };
}  // namespace

void DeviceListReader::socketDidConnect(AsyncSocket* socket) {
    AdbSocket::socketDidConnect(socket);
    loadDeviceList();
}

void DeviceListReader::loadDeviceList() {
    setReplyTimeout(kReplyTimeoutSeconds);
    sendExpectOkay(u"host:devices"_s, -1.0, kStatus);
}

void DeviceListReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kFailLength:
            if (const auto length = checkLength(data)) readToLength(*length, kFailMessage);
            break;
        case kFailMessage:
            break;
        case kStatus:
            // After anything but "OKAY" the server closes the connection;
            // nothing is reported.
            if (checkStatus(data)) readToLength(4, kLength);
            else logNotOkay(data);
            break;
        case kLength: {
            const std::optional<uint32_t> checked = checkLength(data);
            if (!checked) break;
            const uint32_t length = *checked;
            if (length == 0 && delegate_ != nullptr) delegate_->deviceListFailedWithError(1);
            // For an empty list nothing follows; the server closes. (No read
            // is queued: one that never completes would run into the reply
            // timeout and report a second failure.)
            if (length > 0) readToLength(length, kPayload);
            break;
        }
        case kPayload:
            if (delegate_ != nullptr) delegate_->devicesReceived(data);
            break;
        default:
            logUnknownTag(tag);
    }
}

void DeviceListReader::adbNotRunningError(const Error& error) {
    AdbSocket::adbNotRunningError(error);
    if (delegate_ != nullptr) delegate_->deviceListFailedWithError(0);
}

void DeviceListReader::adbReplyFailed(const Error& error) {
    AdbSocket::adbReplyFailed(error);
    if (delegate_ != nullptr) delegate_->deviceListFailedWithError(kDeviceListUnexpectedReply);
}

void DeviceListReader::adbDeviceNotFound(const Error& error) {
    AdbSocket::adbDeviceNotFound(error);
    if (delegate_ != nullptr) delegate_->deviceListFailedWithError(1);
}

}  // namespace vf
