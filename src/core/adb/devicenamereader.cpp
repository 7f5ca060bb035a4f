#include "core/adb/devicenamereader.h"

#include "core/adb/modelname.h"
#include "core/adb/replyframing.h"
#include "core/support/logger.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
enum Tag : long { kFailLength = 0, kFailMessage = 1, kTransportStatus = 2, kCommandStatus = 3, kLine = 4 };
}  // namespace

void DeviceNameReader::socketDidConnect(AsyncSocket* socket) {
    AdbSocket::socketDidConnect(socket);
    setReplyTimeout(kReplyTimeoutSeconds);
    sendDeviceId(kTransportStatus);
}

// The name is historical: it starts the build-properties command (and
// getprop, for builds whose build.prop has no model).
void DeviceNameReader::loadPids() {
    resultData_.clear();
    sendExpectOkay(modelLookupRequest(), -1.0, kCommandStatus);
}

void DeviceNameReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kFailLength:
            if (const auto length = checkLength(data)) readToLength(*length, kFailMessage);
            break;
        case kFailMessage: {
            const Error error = logReaderError(1, stringFromData(data).value_or(QString()));
            if (delegate_ != nullptr) delegate_->deviceNameFailedWithError(error, deviceId());
            break;
        }
        case kTransportStatus:
            if (checkStatus(data)) loadPids();
            else logNotOkay(data);
            break;
        case kCommandStatus:
            if (checkStatus(data)) readWithTag(kLine);
            else logNotOkay(data);
            break;
        case kLine:
            resultData_.append(data);
            // The model is near the top; a runaway output is not read on.
            if (resultData_.size() >= kMaxCommandOutputBytes) stop();
            else readWithTag(kLine);
            break;
        default:
            logUnknownTag(tag);
    }
}

void DeviceNameReader::socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) {
    AdbSocket::socketDidDisconnect(socket, error);
    // A broken reply was already reported through adbReplyFailed.
    if (delegate_ == nullptr || replyFailed()) return;
    const std::optional<QString> text = stringFromData(resultData_);
    const std::optional<QString> name = text ? modelNameFromLookupOutput(*text) : std::nullopt;
    if (name) {
        delegate_->deviceNameReceived(*name, deviceId());
    } else {
        // Refused transport (unauthorized, offline) or no name anywhere: the
        // next device's lookup must not wait behind this one.
        delegate_->deviceNameFailedWithError(logReaderError(1, u"no model name"_s), deviceId());
    }
}

void DeviceNameReader::adbReplyFailed(const Error& error) {
    AdbSocket::adbReplyFailed(error);
    if (delegate_ != nullptr) delegate_->deviceNameFailedWithError(error, deviceId());
}

std::optional<QString> DeviceNameReader::nameFromBuildProperties(const QString& text) {
    return modelNameFromBuildProp(text);
}

}  // namespace vf
