#pragma once
// ShellCommandReader: runs one shell command on a device ("shell:ps",
// "shell:cat /system/build.prop; getprop", ...) and hands everything it
// printed to the delegate once, when the conversation ends, however it ends:
// empty when the transport or the command was refused or the server is gone,
// so the asker always learns that its request is over. A reply that breaks
// the protocol (or does not come within the reply timeout) ends it with an
// empty output and the error. Output is collected line by line (each line at
// most 1 MiB); once `maxBytes` are reached the conversation stops and the
// whole lines read so far are delivered.
//
// Thread contract: a conversation (see core/adb/adbsocket.h); every delegate
// call arrives on the conversation's thread.

#include <QByteArray>
#include <QString>

#include "core/adb/adbsocket.h"
#include "core/adb/replyframing.h"

namespace vf {

class ShellCommandDelegate {
public:
    virtual ~ShellCommandDelegate() = default;
    // Once per conversation, on the conversation's thread. `failure` is set
    // when the server's reply was broken or late; `output` is then empty.
    virtual void shellCommandEnded(const QString& deviceId, const QByteArray& output,
                                   const OptionalError& failure) = 0;
};

class ShellCommandReader final : public AdbSocket {
    Q_OBJECT
public:
    static constexpr qsizetype kDefaultMaxBytes = kMaxCommandOutputBytes;

    // `command` is the whole service request, e.g. "shell:ps".
    ShellCommandReader(const AdbEndpoint& endpoint, QString command, qsizetype maxBytes = kDefaultMaxBytes,
                       QObject* parent = nullptr);

    // Conversation thread (before connect()). Not owned.
    void setDelegate(ShellCommandDelegate* delegate) { delegate_ = delegate; }
    // Every read waits at most `seconds` (<= 0: for ever). Before connect().
    using AdbSocket::setReplyTimeout;

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

protected:
    void adbReplyFailed(const Error& error) override;

private:
    void report(const QByteArray& output, const OptionalError& failure);

    const QString command_;
    const qsizetype maxBytes_;
    ShellCommandDelegate* delegate_ = nullptr;
    QByteArray output_;
    bool reported_ = false;
};

}  // namespace vf
