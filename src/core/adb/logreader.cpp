#include "core/adb/logreader.h"

#include "core/adb/replyframing.h"
#include "core/support/text.h"
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

void LogReader::connected() { sendDeviceId(kTransportStatus); }

void LogReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kTransportStatus:
        case kStreamStatus:
        case kClearStatus:
            handleStatus(data, tag);
            break;
        case kLine:
            // A line the socket cut at its limit arrives without its line feed.
            handleLogLineData(data.endsWith('\n') ? data : markCutLine(data));
            readLine(kLine);
            break;
        default:
            logUnknownTag(tag);
    }
}

void LogReader::handleStatus(const QByteArray& reply, long tag) {
    if (!takeOkay(reply)) return;  // the server closes the connection next
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
            reconnect();
            break;
        default:
            readLine(kLine);
    }
}

void LogReader::clearLog() {
    sentClearDevice_ = true;
    sendExpectOkay(u"shell:exec logcat -c"_s, kClearStatus);
}

void LogReader::startLogStream() {
    sentClearDevice_ = false;
    sendExpectOkay(streamRequest(options_.logTags), kStreamStatus);
}

void LogReader::handleLogLineData(const QByteArray& data) {
    if (delegate_ == nullptr) return;
    const std::string_view bytes(data.constData(), size_t(data.size()));
    if (utf8::isValid(bytes)) {
        delegate_->logLineReceived(bytes);
    } else {
        // A stray byte costs its own character, not the whole line.
        delegate_->logLineReceived(validUtf8(bytes));
    }
}

void LogReader::finished(const AdbResult& result) {
    if (delegate_ != nullptr) delegate_->logReaderFinished(result);
}

}  // namespace vf
