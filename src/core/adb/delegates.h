#pragma once
// What the device list model reports to the application controller.
// Delegates are held as non-owning pointers and must outlive what reports
// to them.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

#include "core/adb/devicelisting.h"
#include "core/support/error.h"

namespace vf {

// Why the device list could not be given.
enum class DeviceListFailure {
    AdbNotRunning,    // no ADB server answers
    NoDevice,         // none attached: an empty list
    UnexpectedReply,  // the server's reply broke off, made no sense or came too late
};

// What the device list model tells the application controller. Every call
// arrives on the main thread.
class DeviceListDelegate {
public:
    virtual ~DeviceListDelegate() = default;
    // Main thread.
    virtual void onDevicesConnected(const DeviceList& devices) = 0;
    // Main thread.
    virtual void onDeviceModel(const QString& deviceId, const QString& model) = 0;
    // Main thread.
    virtual void onDeviceListFailed(DeviceListFailure failure) = 0;
};

}  // namespace vf
