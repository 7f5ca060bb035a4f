#pragma once
// What the device list model and the process-table lookup report, and the
// records they report. Delegates are held as non-owning pointers and must
// outlive what reports to them.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

#include "core/adb/devicelisting.h"
#include "core/support/error.h"

namespace vf {

class PidReaderDelegate {
public:
    virtual ~PidReaderDelegate() = default;
    // Once, however the conversation ends: the whole output of the
    // process-status command, empty when it was refused, failed or printed
    // nothing. So the lookup always ends.
    virtual void pidReceived(const QByteArray& output) = 0;
};

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
