#pragma once
// DeviceListReader: asks the ADB server for its device list ("host:devices")
// and hands the listing, or how the request failed, to its delegate once.
//
// Threads: a conversation (see core/adb/adbsocket.h).

#include "core/adb/adbsocket.h"

namespace vf {

class DeviceListReaderDelegate {
public:
    virtual ~DeviceListReaderDelegate() = default;
    // Once per start(): the listing as the server sent it (empty when no
    // device is attached, or when the request failed: see `result`).
    virtual void deviceListFinished(const QByteArray& listing, const AdbResult& result) = 0;
};

class DeviceListReader final : public AdbSocket {
    Q_OBJECT
public:
    explicit DeviceListReader(const AdbEndpoint& endpoint, QObject* parent = nullptr) : AdbSocket(endpoint, parent) {}

    // Not owned; set before start().
    void setDelegate(DeviceListReaderDelegate* delegate) { delegate_ = delegate; }

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    void connected() override;
    void finished(const AdbResult& result) override;

    DeviceListReaderDelegate* delegate_ = nullptr;
    QByteArray listing_;
};

}  // namespace vf
