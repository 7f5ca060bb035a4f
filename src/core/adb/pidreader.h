#pragma once
// PidReader: runs the device's process-status command once and hands its
// whole output to the delegate when the connection closes.

#include <QByteArray>

#include "core/adb/adbsocket.h"
#include "core/adb/delegates.h"

namespace vf {

class PidReader final : public AdbSocket {
    Q_OBJECT
public:
    explicit PidReader(QObject* parent = nullptr) : AdbSocket(parent) {}

    // Conversation thread. Not owned.
    void setDelegate(PidReaderDelegate* delegate) { delegate_ = delegate; }

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

protected:
    void adbReplyFailed(const Error& error) override;

private:
    void loadPids();

    PidReaderDelegate* delegate_ = nullptr;
    QByteArray resultData_;
};

}  // namespace vf
