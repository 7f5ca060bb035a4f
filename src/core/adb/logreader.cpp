#include "core/adb/logreader.h"

#include <cstring>

#include "core/support/logger.h"

namespace vf {

using namespace Qt::StringLiterals;

QString LogReader::streamRequest(const QString& logTags) {
    return u"shell:export ANDROID_LOG_TAGS=\""_s + logTags + u"\"; exec logcat -v threadtime"_s;
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
            readToLength(hexDataToInteger(data), kFailMessage);
            break;
        case kFailMessage:
            // No further read: the server closes the connection next.
            handleFailMessage(data);
            break;
        case kLine:
            handleLogLineData(data);
            readWithTag(kLine);
            break;
        default:
            logUnknownTag(tag);
    }
}

void LogReader::handleStatus(const QByteArray& status, long tag) {
    if (!isOkay(status)) {
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
    if (message.toLower().contains(u"device not found"_s)) {
        adbDeviceNotFound(error);
    } else if (delegate_ != nullptr) {
        delegate_->logReaderStoppedWithError(error);
    }
}

void LogReader::handleLogLineData(const QByteArray& data) {
    if (delegate_ == nullptr) return;
    const std::string_view bytes(data.constData(), size_t(data.size()));
    if (isValidUtf8(bytes)) delegate_->logLineReceived(bytes);
    else delegate_->logLineReceived(std::nullopt);
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

void LogReader::adbDeviceNotFound(const Error& error) {
    AdbSocket::adbDeviceNotFound(error);
    if (delegate_ != nullptr) delegate_->adbDeviceNotFound(error);
}

bool LogReader::isValidUtf8(std::string_view bytes) {
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const unsigned char* const end = p + bytes.size();
    while (p < end) {
        // Eight ASCII bytes at a time.
        if (end - p >= 8) {
            uint64_t word;
            std::memcpy(&word, p, 8);
            if ((word & 0x8080808080808080ull) == 0) {
                p += 8;
                continue;
            }
        }
        const unsigned char c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        // Lead byte: number of continuation bytes, smallest code point allowed.
        int extra = 0;
        uint32_t min = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
            min = 0x80;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            min = 0x800;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            min = 0x10000;
        } else {
            return false;
        }
        uint32_t cp = c & (0x3Fu >> extra);
        if (end - p <= extra) return false;
        for (int i = 1; i <= extra; ++i) {
            if ((p[i] & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (p[i] & 0x3F);
        }
        if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        p += extra + 1;
    }
    return true;
}

}  // namespace vf
