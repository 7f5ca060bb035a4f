#pragma once
// What the controller asks of the ADB side: listing devices, running the
// logger, starting the ADB server. The viewer uses the real conversations;
// tests hand the controller a fake so that no ADB server is ever reached.
//
// Main thread only, except where noted.

#include <QString>
#include <functional>
#include <memory>

namespace vf {
class DeviceListDelegate;
class LogDatasource;
}  // namespace vf

namespace vf::ui {

class ConnectionBackend {
public:
    virtual ~ConnectionBackend() = default;
    // Ends in the delegate's onDevicesConnected / onDeviceListFailed.
    virtual void loadDeviceList() = 0;
    virtual void startLogger() = 0;
    virtual void stopLogger() = 0;
    virtual bool isLogging() const = 0;
    // Completion on the main thread: whether the server now runs.
    virtual void startAdb(std::function<void(bool)> completion) = 0;
    // Usage events ("error-adb-not-running" ...).
    virtual void recordEvent(const QString& name) = 0;
};

// The real thing: `store` runs the logger, a DeviceListDatasource owned by
// the backend lists devices and reports to `delegate`. Both must outlive it.
std::unique_ptr<ConnectionBackend> makeAdbBackend(LogDatasource& store, DeviceListDelegate& delegate);

}  // namespace vf::ui
