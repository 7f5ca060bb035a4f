#include "cli/adbcommon.h"

#include "core/adb/adbsocket.h"
#include "core/support/utils.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

DeviceChoice chooseDevice(const DeviceList& devices, const QString& serial, const QString& reconnectTo) {
    const auto find = [&](const QString& id) -> std::optional<DeviceRecord> {
        for (const DeviceRecord& record : devices)
            if (record.id == id) return record;
        return std::nullopt;
    };
    if (!reconnectTo.isEmpty()) return {find(reconnectTo), {}};  // wait quietly for the same device
    if (devices.isEmpty()) return {std::nullopt, u"no device attached"_s};
    if (!serial.isEmpty()) {
        if (auto record = find(serial)) return {record, {}};
        return {std::nullopt, u"device '%1' not found; attached:\n%2"_s.arg(serial, deviceLines(devices))};
    }
    if (devices.size() > 1)
        return {std::nullopt, u"more than one device/emulator; use -s SERIAL\n%1"_s.arg(deviceLines(devices))};
    return {devices.first(), {}};
}

QString deviceLines(const DeviceList& devices) {
    QString text;
    for (const DeviceRecord& record : devices) {
        if (!text.isEmpty()) text += u'\n';
        text += u"  "_s + record.id;
        if (record.name) text += u"  "_s + *record.name;
    }
    return text;
}

void startAdbServer(const AdbEndpoint& endpoint, std::function<void(bool)> done) {
    Utils::startAdb(endpoint.adbProgram, std::move(done));
}

AdbSetup adbSetupFor(const CliOptions& options) {
    AdbSetup setup{endpointFromPreferences(), logcatOptionsFromPreferences()};
    if (!options.host.isEmpty()) setup.endpoint.host = options.host;
    if (!options.port.isEmpty()) setup.endpoint.port = quint16(uint64_t(AdbSocket::leadingInteger(options.port)) & 0xFFFFu);
    if (options.clear) setup.logcat.clearOnStart = true;
    if (options.tags) setup.logcat.logTags = *options.tags;
    return setup;
}

}  // namespace vf::cli
