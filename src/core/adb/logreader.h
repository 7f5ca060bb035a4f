#pragma once
// LogReader: binds a connection to one device, optionally clears the device
// log first (on a connection of its own), then streams the device log in
// "threadtime" format and hands every line, one at a time and in order, to
// its delegate. Used for one logging run; stop() ends it.
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
    LogReader(const AdbEndpoint& endpoint, LogcatOptions options, QObject* parent = nullptr)
        : AdbSocket(endpoint, parent), options_(std::move(options)) {}

    // Not owned; set before start().
    void setDelegate(LogReaderDelegate* delegate) { delegate_ = delegate; }
    bool sentClearDevice() const { return sentClearDevice_; }

    // The stream request for a log-tag expression (in double quotes, with
    // the characters the shell reads there escaped).
    static QString streamRequest(const QString& logTags);

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    // Read tags of the conversation.
    enum Tag : long { kTransportStatus = 0, kStreamStatus = 3, kClearStatus = 4, kLine = 5 };

    void connected() override;
    void finished(const AdbResult& result) override;
    void handleStatus(const QByteArray& reply, long tag);
    void clearLog();
    void startLogStream();
    void handleLogLineData(const QByteArray& data);

    const LogcatOptions options_;
    LogReaderDelegate* delegate_ = nullptr;
    bool sentClearDevice_ = false;
};

}  // namespace vf
