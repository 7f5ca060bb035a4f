#include "core/adb/logreader.h"

#include <cstring>

#include "core/adb/devicestate.h"
#include "core/adb/replyframing.h"
#include "core/support/logger.h"
#include "core/support/utf8.h"

namespace vf {

using namespace Qt::StringLiterals;

QString LogReader::streamRequest(const QString& logTags) {
    // Inside the double quotes the shell still reads these four; escaped,
    // a tag expression can never end the quotes or run a command.
    QString quoted;
    quoted.reserve(logTags.size());
    for (const QChar c : logTags) {
        if (c == u'"' || c == u'\\' || c == u'$' || c == u'`') quoted += u'\\';
        quoted += c;
    }
    return u"shell:export ANDROID_LOG_TAGS=\""_s + quoted + u"\"; exec logcat -v threadtime"_s;
}

void LogReader::socketDidConnect(AsyncSocket* socket) {
    AdbSocket::socketDidConnect(socket);
    sendDeviceId(kTransportStatus);
}

void LogReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kTransportStatus:
        case kStreamStatus:
        case kClearStatus:
            handleStatus(data, tag);
            break;
        case kFailLength:
            if (const auto length = checkLength(data)) readToLength(*length, kFailMessage);
            break;
        case kFailMessage:
            // No further read: the server closes the connection next.
            handleFailMessage(data);
            break;
        case kLine:
            // A line the socket cut at its limit arrives without its line feed.
            handleLogLineData(data.endsWith('\n') ? data : markCutLine(data));
            readWithTag(kLine);
            break;
        default:
            logUnknownTag(tag);
    }
}

void LogReader::handleStatus(const QByteArray& status, long tag) {
    if (!checkStatus(status)) {
        logNotOkay(status);
        readToLength(4, kFailLength);
        return;
    }
    switch (tag) {
        case kTransportStatus:
            if (options_.clearOnStart && !sentClearDevice_) {
                clearLog();
            } else {
                startLogStream();
            }
            break;
        case kClearStatus:
            // The stream needs a connection of its own; the clearing one is
            // closed by the server once the command has run.
            connect();
            break;
        default:
            readWithTag(kLine);
    }
}

void LogReader::clearLog() {
    sentClearDevice_ = true;
    sendExpectOkay(u"shell:exec logcat -c"_s, -1.0, kClearStatus);
}

void LogReader::startLogStream() {
    sentClearDevice_ = false;
    sendExpectOkay(streamRequest(options_.logTags), -1.0, kStreamStatus);
}

void LogReader::handleFailMessage(const QByteArray& data) {
    const QString message = stringFromData(data).value_or(QString());
    const Error error = logReaderError(2, message);
    // adb 29+ words it "device 'SERIAL' not found" or "no devices/emulators found".
    if (adbFailureKind(message) == AdbFailureKind::DeviceNotFound) {
        adbDeviceNotFound(error);
    } else if (delegate_ != nullptr) {
        delegate_->logReaderStoppedWithError(error);
    }
}

void LogReader::handleLogLineData(const QByteArray& data) {
    if (delegate_ == nullptr) return;
    const std::string_view bytes(data.constData(), size_t(data.size()));
    if (utf8::isValid(bytes)) {
        delegate_->logLineReceived(bytes);
    } else {
        // A stray byte costs its own character, not the whole line.
        const std::string repaired = utf8::replaceInvalid(bytes);
        delegate_->logLineReceived(std::string_view(repaired));
    }
}

void LogReader::socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) {
    AdbSocket::socketDidDisconnect(socket, error);
    // While the clear request is under way the disconnection is not the end
    // of the stream.
    if (!sentClearDevice_ && delegate_ != nullptr) delegate_->logReaderStopped();
}

void LogReader::adbNotRunningError(const Error& error) {
    AdbSocket::adbNotRunningError(error);
    if (delegate_ != nullptr) delegate_->adbNotRunningError(error);
}

void LogReader::adbReplyFailed(const Error& error) {
    AdbSocket::adbReplyFailed(error);
    if (delegate_ != nullptr) delegate_->logReaderStoppedWithError(error);
}

void LogReader::adbDeviceNotFound(const Error& error) {
    AdbSocket::adbDeviceNotFound(error);
    if (delegate_ != nullptr) delegate_->adbDeviceNotFound(error);
}

}  // namespace vf
