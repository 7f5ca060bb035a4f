#pragma once
// PidReader: runs the device's process-status command once and hands its
// whole output to the delegate when the connection closes, however it
// closes (empty when there was none).

#include <QByteArray>

#include "core/adb/adbsocket.h"
#include "core/adb/delegates.h"

namespace vf {

class PidReader final : public AdbSocket {
    Q_OBJECT
public:
    explicit PidReader(const AdbEndpoint& endpoint, QObject* parent = nullptr) : AdbSocket(endpoint, parent) {}

    // Conversation thread. Not owned.
    void setDelegate(PidReaderDelegate* delegate) { delegate_ = delegate; }

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

private:
    void loadPids();

    PidReaderDelegate* delegate_ = nullptr;
    QByteArray resultData_;
    bool reported_ = false;
};

}  // namespace vf
