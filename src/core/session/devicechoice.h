#pragma once
// Which device a logging run takes, one rule for the viewer and the
// companion. A pure function: any thread.
//
// No device: nothing. While reconnecting, only the remembered device is
// taken, whatever else is attached. A serial asked for is taken when
// listed. Otherwise one device is taken and several are the user's choice.
// A device in the "unauthorized" state is not started.

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
