#pragma once
// LogReader: binds a connection to one device, optionally clears the device
// log first (on a connection of its own), then streams the device log in
// "threadtime" format and hands every line, one at a time and in order, to
// its delegate. Used for one logging run; stop() ends it.
//
// The stream asks for the chosen buffers and, when given a start time, only
// for the lines since then. A logcat that refuses those arguments (one
// before Android 5 knows neither "-T TIME" nor the crash buffer) says so
// before any log line and exits; the reader then asks once more without
// them, for the device's default buffers from their beginning.
//
// Threads: a conversation (see core/adb/adbsocket.h).

#include <string_view>

#include "core/adb/adbsocket.h"

namespace vf {

class LogReaderDelegate {
public:
    virtual ~LogReaderDelegate() = default;
    // One line of the stream, still ending with its LF (and the CR before it
    // when the device sent one). The bytes are valid UTF-8: a byte that is
    // not becomes U+FFFD. The view is valid only during the call.
    virtual void logLineReceived(std::string_view line) = 0;
    // Once per start(): how the stream ended. Done: the server or the device
    // closed it; Refused: the server's "FAIL" (a missing device, several
    // devices, an unauthorized one ...), its message in the error.
    virtual void logReaderFinished(const AdbResult& result) = 0;
};

class LogReader final : public AdbSocket {
    Q_OBJECT
public:
    // `since`: a device time "MM-dd HH:mm:ss.SSS" to stream from (the last
    // row already shown); empty for the whole buffer.
    LogReader(const AdbEndpoint& endpoint, LogcatOptions options, QString since = {}, QObject* parent = nullptr)
        : AdbSocket(endpoint, parent), options_(std::move(options)), since_(std::move(since)) {}

    // Not owned; set before start().
    void setDelegate(LogReaderDelegate* delegate) { delegate_ = delegate; }
    bool sentClearDevice() const { return sentClearDevice_; }

    // The stream request: the log-tag expression (in double quotes, with
    // the characters the shell reads there escaped) and logcat's arguments.
    static QString streamRequest(const QString& logTags, const QString& arguments = QStringLiteral("-v threadtime"));
    // logcat's arguments for `options` and a start time: "-v threadtime",
    // "-b NAME" per buffer (names that are not logcat's are left out), and
    // "-T 'MM-dd HH:mm:ss.SSS'" when `since` has that form (anything else
    // is left out too: it goes into a shell command). The one place they
    // are put together.
    static QString logcatArguments(const LogcatOptions& options, const QString& since);
    // True for a line with which logcat refuses its arguments (its usage
    // text, an unknown option or buffer).
    static bool isRefusal(std::string_view line);
    // Whether the stream had to fall back to logcat without arguments.
    bool fellBack() const { return plain_; }

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    // Read tags of the conversation.
    enum Tag : long { kTransportStatus = 0, kStreamStatus = 3, kClearStatus = 4, kLine = 5 };

    void connected() override;
    void finished(const AdbResult& result) override;
    void handleStatus(const QByteArray& reply, long tag);
    void clearLog();
    void startLogStream();
    // False when the line made the reader ask again (the old stream is gone).
    bool handleLogLineData(const QByteArray& data);

    const LogcatOptions options_;
    const QString since_;
    LogReaderDelegate* delegate_ = nullptr;
    bool sentClearDevice_ = false;
    bool plain_ = false;       // asking without buffers and start time
    bool sawLine_ = false;     // the stream gave a line: logcat took its arguments
};

}  // namespace vf
