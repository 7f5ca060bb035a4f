#pragma once
// ShellCommandReader: runs one shell command on a device ("shell:ps -A",
// "shell:cat /system/build.prop; getprop", ...) and hands everything it
// printed to the delegate once, when the conversation ends, however it ends:
// the output up to its last line feed when it ran its course or was
// stopped, nothing when it failed (refused transport or command, no server,
// a broken or late reply), so that the asker always learns that its request
// is over. Output
// is collected line by line (each line at most 1 MiB); once `maxBytes` are
// reached the conversation ends and the whole lines read so far are
// delivered.
//
// Threads: a conversation (see core/adb/adbsocket.h).

#include <QByteArray>
#include <QString>

#include "core/adb/adbsocket.h"
#include "core/adb/replyframing.h"

namespace vf {

class ShellCommandDelegate {
public:
    virtual ~ShellCommandDelegate() = default;
    // Once per start(): the device asked, the command's output, and how the
    // conversation ended.
    virtual void shellCommandFinished(const QString& deviceId, const QByteArray& output, const AdbResult& result) = 0;
};

class ShellCommandReader final : public AdbSocket {
    Q_OBJECT
public:
    static constexpr qsizetype kDefaultMaxBytes = kMaxCommandOutputBytes;

    // `command` is the whole service request, e.g. "shell:ps".
    ShellCommandReader(const AdbEndpoint& endpoint, QString command, qsizetype maxBytes = kDefaultMaxBytes,
                       QObject* parent = nullptr);

    // Not owned; set before start().
    void setDelegate(ShellCommandDelegate* delegate) { delegate_ = delegate; }
    // Every read waits at most `seconds` (<= 0: for ever). Before start().
    using AdbSocket::setReplyTimeout;

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    void connected() override;
    void finished(const AdbResult& result) override;

    const QString command_;
    const qsizetype maxBytes_;
    ShellCommandDelegate* delegate_ = nullptr;
    QByteArray output_;
};

}  // namespace vf
