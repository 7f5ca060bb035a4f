#pragma once
// What a device's state (the state words of its listing, see
// core/adb/devicelisting.h) means to the user, and what a "FAIL" reply of
// the server means. The server has worded these differently over the years;
// everything here accepts the older and the current wording. Pure
// functions, any thread.

#include <QString>
#include <QStringView>
#include <optional>

#include "core/adb/devicelisting.h"

namespace vf {

enum class DeviceState {
    Device,         // ready: the only state that can be streamed
    Unauthorized,   // the user has not allowed USB debugging from this host
    Offline,        // the transport is there but the device does not answer (yet)
    NoPermissions,  // the host may not open the USB device (Linux: udev rules)
    Recovery,
    Sideload,
    Bootloader,
    Host,
    Unknown,        // connecting, authorizing, a word this code does not know
};

// The state word's meaning ("device", "unauthorized", "no permissions" ...).
DeviceState deviceStateFromWord(QStringView word);

// What the user is told about a device that cannot be streamed, for the
// sheets, the status line and the companion's messages; `record` is the
// device's listing (without one the device is taken as offline). Empty for
// a ready device and for "unauthorized" (which keeps its own sheet,
// "Device Not Authorized ...").
//   offline:         a status line: the device is offline, waiting for it
//   no permissions:  what to do on Linux: the plugdev group and a udev rule
//                    for the USB vendor id (or how to find that id)
//   recovery, sideload, bootloader, rescue, host, unknown: the state named,
//                    and that the log is read only from a started system
QString deviceStateAdvice(const QString& serial, const std::optional<DeviceRecord>& record);

// "SERIAL - NAME" (or "- PRODUCT"), with the state in brackets when it is
// not "device": the picker's and the title's text for a device.
QString deviceTitleWithState(const QString& serial, const std::optional<QString>& name,
                             const std::optional<QString>& product, const QString& stateWord);

enum class AdbFailureKind {
    DeviceNotFound,     // "device not found", "device 'X' not found", "no devices/emulators found"
    Unauthorized,       // "device unauthorized." and the advice lines after it, "device still authorizing"
    Offline,            // "device offline", "device offline (no transport)"
    MoreThanOneDevice,  // "more than one device", "more than one device and emulator"
    Other,
};

// The kind of a "FAIL" message (or of an "error: ..." line that an older
// server wrote into a shell's output). Case and a leading "error: " do not
// matter; only the first line decides.
AdbFailureKind adbFailureKind(QStringView message);

}  // namespace vf
