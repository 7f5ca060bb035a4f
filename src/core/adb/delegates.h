#pragma once
// What the ADB conversations report, and to whom. Delegates are held as
// non-owning pointers and must outlive the conversation (owners delete their
// conversations on the conversation's thread before they go away).
//
// Every call below arrives on the thread on which the conversation called
// connect() (its socket thread), one at a time.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>
#include <string_view>

#include "core/support/error.h"

namespace vf {

class LogReaderDelegate {
public:
    virtual ~LogReaderDelegate() = default;
    // One line of the stream, still ending with its LF (and the CR before it
    // when the device sent one). The bytes are valid UTF-8: a byte that is
    // not becomes U+FFFD (so nullopt is no longer sent). The view is valid
    // only during the call.
    virtual void logLineReceived(std::optional<std::string_view> line) = 0;
    virtual void logReaderStopped() = 0;
    virtual void logReaderStoppedWithError(const Error& error) = 0;
    virtual void adbNotRunningError(const Error& error) = 0;
    virtual void adbDeviceNotFound(const Error& error) = 0;
};

class PidReaderDelegate {
public:
    virtual ~PidReaderDelegate() = default;
    // Once, however the conversation ends: the whole output of the
    // process-status command, empty when it was refused, failed or printed
    // nothing. So the lookup always ends.
    virtual void pidReceived(const QByteArray& output) = 0;
};

inline constexpr int kDeviceListUnexpectedReply = 2;

class DeviceListReaderDelegate {
public:
    virtual ~DeviceListReaderDelegate() = default;
    // The listing as the server sent it.
    virtual void devicesReceived(const QByteArray& reply) = 0;
    // 0: the ADB server is not running; 1: no device or an empty list;
    // kDeviceListUnexpectedReply: the server's reply broke off, made no
    // sense or did not come in time.
    virtual void deviceListFailedWithError(int code) = 0;
};

// A device record: "id", "type", "state" (the listing's state word, e.g.
// "device", "unauthorized", "no permissions"), and "name" / "product" when
// known. "type" holds the first field of the line, i.e. the serial.
struct DeviceRecord {
    QString id;
    QString type;
    std::optional<QString> name;
    std::optional<QString> product;
    QString state;  // last, so that existing aggregate initialisers stay valid
    std::optional<QString> usbVendorId;  // when the listing's long form names it
};
using DeviceList = QList<DeviceRecord>;

// What the device list model tells the application controller. Every call
// arrives on the main thread.
class DeviceListDelegate {
public:
    virtual ~DeviceListDelegate() = default;
    // Main thread.
    virtual void onDevicesConnected(const DeviceList& devices) = 0;
    // Main thread.
    virtual void onDeviceModel(const QString& deviceId, const QString& model) = 0;
    // Main thread: 0 = no ADB server, 1 = no device.
    virtual void onDeviceListFailed(int code) = 0;
};

}  // namespace vf
