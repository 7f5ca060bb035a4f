#pragma once
// What the ADB-facing commands share: the server they talk to, the device
// choice rules, and starting the server when it is not running.
//
// Main thread unless noted.

#include <QString>
#include <functional>
#include <optional>
#include <ostream>

#include "core/adb/delegates.h"

namespace vf::cli {

struct AdbEndpoint {
    QString host;
    QString port;
    QString display() const { return host + u':' + port; }
};

// The device a stream should use, mirroring the viewer: while reconnecting
// only the device it had; with a serial only that one; else the only device.
struct DeviceChoice {
    std::optional<DeviceRecord> device;
    QString error;  // set when there is no choice and the run should end
};
DeviceChoice chooseDevice(const DeviceList& devices, const QString& serial, const QString& reconnectTo);

// "  SERIAL" lines for the error messages, in the server's order.
QString deviceLines(const DeviceList& devices);

// Runs "adb start-server" with the core's helper; `done(success)` comes on
// the main thread.
void startAdbServer(std::function<void(bool)> done);

}  // namespace vf::cli
