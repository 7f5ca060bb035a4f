#pragma once
// What a device's line in the ADB server's listing says about the device's
// state, and what a "FAIL" reply of the server means. The server has worded
// these differently over the years; everything here accepts the older and
// the current wording. Pure functions, any thread.

#include <QString>
#include <QStringView>
#include <optional>

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

struct DeviceStatus {
    DeviceState state = DeviceState::Unknown;
    QString word;                        // the listing's own words, e.g. "no permissions"
    std::optional<QString> usbPath;      // "1-1.4" from the long form's "usb:" field
    std::optional<QString> usbVendorId;  // four lower-case hex digits, when the line names one
};

// The state of one device line ("SERIAL<tab>STATE [long-form fields]").
// "no permissions" is the one state of two words; whatever follows it up to
// the long form's fields ("(user in plugdev group ...); see [...]") is advice,
// not state. A vendor id is taken from a "usb:VVVV:PPPP" or "vendor:VVVV"
// field when the server gives one.
DeviceStatus deviceStatusFromListingLine(QStringView line);

// The state word's meaning ("device", "unauthorized", "no permissions" ...).
DeviceState deviceStateFromWord(QStringView word);

// Only ready devices are streamed; the others are named and explained.
inline bool isStreamable(DeviceState state) { return state == DeviceState::Device; }

// What the user is told about a device that cannot be streamed, for the
// sheets and the status line; empty for a ready device and for
// "unauthorized" (which keeps its own sheet, "Device Not Authorized ...").
//   offline:         a status line: the device is offline, waiting for it
//   no permissions:  what to do on Linux: the plugdev group and a udev rule
//                    for the USB vendor id (or how to find that id)
//   recovery, sideload, bootloader, rescue, host, unknown: the state named,
//                    and that the log is read only from a started system
QString deviceStateAdvice(const QString& serial, const DeviceStatus& status);

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
