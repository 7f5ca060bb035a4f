#pragma once
// DeviceListReader: asks the ADB server for its device list ("host:devices")
// and hands the reply text to its delegate, or a failure code (0: no server,
// 1: no device).

#include "core/adb/adbsocket.h"
#include "core/adb/delegates.h"

namespace vf {

class DeviceListReader final : public AdbSocket {
    Q_OBJECT
public:
    explicit DeviceListReader(const AdbEndpoint& endpoint, QObject* parent = nullptr) : AdbSocket(endpoint, parent) {}

    // Conversation thread. Not owned.
    void setDelegate(DeviceListReaderDelegate* delegate) { delegate_ = delegate; }

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

protected:
    void adbNotRunningError(const Error& error) override;
    void adbDeviceNotFound(const Error& error) override;
    void adbReplyFailed(const Error& error) override;

private:
    void loadDeviceList();

    DeviceListReaderDelegate* delegate_ = nullptr;
};

}  // namespace vf
