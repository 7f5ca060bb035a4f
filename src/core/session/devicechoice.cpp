#include "core/session/devicechoice.h"

#include "core/adb/devicestate.h"
#include "core/support/logger.h"

namespace vf {

namespace {

std::optional<DeviceRecord> find(const DeviceList& devices, const QString& id) {
    for (const DeviceRecord& record : devices)
        if (record.id == id) return record;
    return std::nullopt;
}

DeviceChoice take(const DeviceRecord& record) {
    // The listing's state word; a record without one is a ready device.
    if (record.state.isEmpty()) return {DeviceDecision::Start, record};
    switch (deviceStateFromWord(record.state)) {
        case DeviceState::Device:
            return {DeviceDecision::Start, record};
        case DeviceState::Unauthorized:
            return {DeviceDecision::NotAuthorized, record};
        case DeviceState::Offline:
        case DeviceState::Unknown:
            return {DeviceDecision::NotReady, record};
        default:
            return {DeviceDecision::NotStreamable, record};
    }
}

}  // namespace

DeviceChoice chooseDevice(const DeviceList& devices, const std::optional<QString>& reconnectTo, const QString& serial) {
    if (devices.isEmpty()) {
        VF_LOG("no devices connected!");
        return {};
    }
    if (reconnectTo) {
        if (auto record = find(devices, *reconnectTo)) return take(*record);
        VF_LOG("device change - don't automatically reconnect to new device!");
        return {DeviceDecision::WaitForRemembered, std::nullopt};
    }
    if (!serial.isEmpty()) {
        if (auto record = find(devices, serial)) return take(*record);
        return {DeviceDecision::SerialNotListed, std::nullopt};
    }
    if (devices.size() > 1) return {DeviceDecision::Ask, std::nullopt};
    return take(devices.first());
}

}  // namespace vf
