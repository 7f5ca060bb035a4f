#include "core/adb/logreader.h"

#include "core/adb/devicetime.h"
#include "core/adb/replyframing.h"
#include "core/support/logger.h"
#include "core/support/text.h"
#include "core/support/utf8.h"

namespace vf {

using namespace Qt::StringLiterals;

QString LogReader::streamRequest(const QString& logTags, const QString& arguments) {
    // Inside the double quotes the shell still reads these four; escaped,
    // a tag expression can never end the quotes or run a command.
    QString quoted;
    quoted.reserve(logTags.size());
    for (const QChar c : logTags) {
        if (c == u'"' || c == u'\\' || c == u'$' || c == u'`') quoted += u'\\';
        quoted += c;
    }
    return u"shell:export ANDROID_LOG_TAGS=\""_s + quoted + u"\"; exec logcat "_s + arguments;
}

QString LogReader::logcatArguments(const LogcatOptions& options, const QString& since) {
    QString arguments = u"-v threadtime"_s;
    // One "-b" each: logcat before Android 7 takes no comma lists.
    for (const QString& buffer : options.buffers) {
        if (logBufferFromName(buffer.toStdString())) arguments += u" -b "_s + buffer;
    }
    // The time holds a blank: quoted for the device's shell.
    if (isDeviceTime(since.toStdString())) arguments += u" -T '"_s + since + u'\'';
    return arguments;
}

bool LogReader::isRefusal(std::string_view line) {
    // What logcat prints instead of log lines when it does not take its
    // arguments, from Android 4 to today.
    for (const std::string_view start : {std::string_view("Usage: logcat"), std::string_view("Unrecognized Option"),
                                         std::string_view("logcat: invalid option"),
                                         std::string_view("logcat: unrecognized option"),
                                         std::string_view("Invalid parameter"), std::string_view("Unable to open log device"),
                                         std::string_view("Unknown buffer"), std::string_view("unknown buffer")}) {
        if (line.starts_with(start)) return true;
    }
    return false;
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
            if (handleLogLineData(data.endsWith('\n') ? data : markCutLine(data))) readLine(kLine);
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
    sawLine_ = false;
    const QString arguments = plain_ ? u"-v threadtime"_s : logcatArguments(options_, since_);
    sendExpectOkay(streamRequest(options_.logTags, arguments), kStreamStatus);
}

bool LogReader::handleLogLineData(const QByteArray& data) {
    if (!sawLine_ && !plain_ && isRefusal(std::string_view(data.constData(), size_t(data.size())))) {
        VF_LOG("logcat refused its arguments, asking without them: {}", QString::fromUtf8(data).trimmed());
        plain_ = true;
        reconnect();
        return false;
    }
    sawLine_ = true;
    if (delegate_ == nullptr) return true;
    const std::string_view bytes(data.constData(), size_t(data.size()));
    if (utf8::isValid(bytes)) {
        delegate_->logLineReceived(bytes);
    } else {
        // A stray byte costs its own character, not the whole line.
        delegate_->logLineReceived(validUtf8(bytes));
    }
    return true;
}

void LogReader::finished(const AdbResult& result) {
    if (delegate_ != nullptr) delegate_->logReaderFinished(result);
}

}  // namespace vf
