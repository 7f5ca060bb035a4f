#pragma once
// LogReader: binds a connection to one device, optionally clears the device
// log first (on a connection of its own), then streams the device log in
// "threadtime" format and hands every line, one at a time and in order, to
// its delegate. Used for one logging run; stop() ends it.

#include <string_view>

#include "core/adb/adbsocket.h"
#include "core/adb/delegates.h"

namespace vf {

class LogReader final : public AdbSocket {
    Q_OBJECT
public:
    // Read tags of the conversation.
    enum Tag : long {
        kTransportStatus = 0,
        kFailLength = 1,
        kFailMessage = 2,
        kStreamStatus = 3,
        kClearStatus = 4,
        kLine = 5,
    };

    LogReader(const AdbEndpoint& endpoint, LogcatOptions options, QObject* parent = nullptr)
        : AdbSocket(endpoint, parent), options_(std::move(options)) {}

    // Conversation thread (before connect()). Not owned.
    void setDelegate(LogReaderDelegate* delegate) { delegate_ = delegate; }
    bool sentClearDevice() const { return sentClearDevice_; }

    // The stream request for a log-tag expression (in double quotes, with
    // the characters the shell reads there escaped).
    static QString streamRequest(const QString& logTags);

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

protected:
    void adbNotRunningError(const Error& error) override;
    void adbDeviceNotFound(const Error& error) override;
    void adbReplyFailed(const Error& error) override;

private:
    void clearLog();
    void startLogStream();
    void handleLogLineData(const QByteArray& data);
    void handleStatus(const QByteArray& status, long tag);
    void handleFailMessage(const QByteArray& data);

    const LogcatOptions options_;
    LogReaderDelegate* delegate_ = nullptr;
    bool sentClearDevice_ = false;
};

}  // namespace vf
