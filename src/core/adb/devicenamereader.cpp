#include "core/adb/devicenamereader.h"

#include "core/adb/textlines.h"
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

// The name is historical: it starts the build-properties command.
void DeviceNameReader::loadPids() {
    resultData_.clear();
    sendExpectOkay(u"shell:cat /system/build.prop"_s, -1.0, kCommandStatus);
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
    if (resultData_.isEmpty() || replyFailed()) return;
    const std::optional<QString> text = stringFromData(resultData_);
    if (!text) return;
    const std::optional<QString> name = nameFromBuildProperties(*text);
    if (name && delegate_ != nullptr) delegate_->deviceNameReceived(*name, deviceId());
}

void DeviceNameReader::adbReplyFailed(const Error& error) {
    AdbSocket::adbReplyFailed(error);
    if (delegate_ != nullptr) delegate_->deviceNameFailedWithError(error, deviceId());
}

std::optional<QString> DeviceNameReader::nameFromBuildProperties(const QString& text) {
    static const QString modelKey = u"ro.product.model="_s;
    static const QString nameKey = u"ro.product.name="_s;
    std::optional<QString> found;
    for (const QString& line : splitAtNewlines(text)) {
        if (line.startsWith(modelKey)) return line.mid(modelKey.size());
        if (line.startsWith(nameKey)) found = line.mid(nameKey.size());
    }
    return found;
}

}  // namespace vf
