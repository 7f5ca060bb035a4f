#pragma once
// DeviceNameReader: reads a device's build properties and reports its model
// name (or, failing that, its product name) when the connection closes.

#include <QByteArray>

#include "core/adb/adbsocket.h"
#include "core/adb/delegates.h"

namespace vf {

class DeviceNameReader final : public AdbSocket {
    Q_OBJECT
public:
    explicit DeviceNameReader(const AdbEndpoint& endpoint, QObject* parent = nullptr) : AdbSocket(endpoint, parent) {}

    // Conversation thread. Not owned.
    void setDelegate(DeviceNameReaderDelegate* delegate) { delegate_ = delegate; }

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;
    // Does not call the base: a refused connection is not reported.
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

    // The value of the first "ro.product.model=" line, else of the last
    // "ro.product.name=" line before it; nullopt when neither occurs.
    static std::optional<QString> nameFromBuildProperties(const QString& text);

private:
    void loadPids();

    DeviceNameReaderDelegate* delegate_ = nullptr;
    QByteArray resultData_;
};

}  // namespace vf
