#pragma once
// ShellCommandReader: runs one shell command on a device ("shell:ps",
// "shell:cat /system/build.prop", ...) and hands everything it printed to
// the delegate once, when the conversation ends, however it ends: empty
// when the transport or the command was refused or the server is gone, so
// the asker always learns that its request is over. At most `maxBytes` are
// collected; past them the conversation stops and the output is cut there.

#include <QByteArray>
#include <QString>

#include "core/adb/adbsocket.h"

namespace vf {

class ShellCommandDelegate {
public:
    virtual ~ShellCommandDelegate() = default;
    // Once per conversation, on the conversation's thread.
    virtual void shellCommandEnded(const QString& deviceId, const QByteArray& output) = 0;
};

class ShellCommandReader final : public AdbSocket {
    Q_OBJECT
public:
    static constexpr qsizetype kDefaultMaxBytes = 16 * 1024 * 1024;

    // `command` is the whole service request, e.g. "shell:ps".
    ShellCommandReader(const AdbEndpoint& endpoint, QString command, qsizetype maxBytes = kDefaultMaxBytes,
                       QObject* parent = nullptr);

    // Conversation thread (before connect()). Not owned.
    void setDelegate(ShellCommandDelegate* delegate) { delegate_ = delegate; }

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

private:
    const QString command_;
    const qsizetype maxBytes_;
    ShellCommandDelegate* delegate_ = nullptr;
    QByteArray output_;
    bool reported_ = false;
};

}  // namespace vf
