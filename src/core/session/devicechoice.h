#pragma once
// Which device a logging run takes, one rule for the viewer and the
// companion. A pure function: any thread.
//
// No device: nothing. While reconnecting, only the remembered device is
// taken, whatever else is attached. A serial asked for is taken when
// listed. Otherwise one device is taken and several are the user's choice.
// Only a ready device is started: an unauthorized one must allow debugging
// first, an offline (or still connecting) one is waited for, and one in
// another state (no permissions, recovery, sideload, bootloader) is named.

#include <QString>
#include <optional>

#include "core/adb/delegates.h"

namespace vf {

enum class DeviceDecision {
    NoDevice,            // nothing attached
    Start,               // start logging on `device`
    Ask,                 // several attached: the front end asks the user
    WaitForRemembered,   // reconnecting, and the remembered device is not listed
    SerialNotListed,     // the serial asked for is not attached
    NotAuthorized,       // `device` must allow debugging first
    NotReady,            // `device` is offline or still connecting: wait for it
    NotStreamable,       // `device` is in a state that has no log to read
};

struct DeviceChoice {
    DeviceDecision decision = DeviceDecision::NoDevice;
    std::optional<DeviceRecord> device;
};

// `reconnectTo`: set while reconnecting (an empty id matches no device).
// `serial`: the device the user named, or empty.
DeviceChoice chooseDevice(const DeviceList& devices, const std::optional<QString>& reconnectTo,
                          const QString& serial = {});

}  // namespace vf
