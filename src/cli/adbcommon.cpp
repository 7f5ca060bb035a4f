#include "cli/adbcommon.h"

#include "core/adb/adbsocket.h"
#include "core/session/devicechoice.h"
#include "core/support/utils.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

StreamDeviceChoice chooseStreamDevice(const DeviceList& devices, const QString& serial, const QString& reconnectTo) {
    const bool reconnecting = !reconnectTo.isEmpty();
    const DeviceChoice choice =
        chooseDevice(devices, reconnecting ? std::optional<QString>(reconnectTo) : std::nullopt, serial);
    switch (choice.decision) {
        case DeviceDecision::Start:
        case DeviceDecision::NotAuthorized:
            return {choice.device, {}};
        case DeviceDecision::NoDevice:
            if (reconnecting) return {};  // wait quietly for the same device
            return {std::nullopt, u"no device attached"_s};
        case DeviceDecision::WaitForRemembered:
            return {};
        case DeviceDecision::SerialNotListed:
            return {std::nullopt, u"device '%1' not found; attached:\n%2"_s.arg(serial, deviceLines(devices))};
        case DeviceDecision::Ask:
            break;
    }
    return {std::nullopt, u"more than one device/emulator; use -s SERIAL\n%1"_s.arg(deviceLines(devices))};
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
    Utils::startAdb(endpoint.adbProgram, endpoint.port, std::move(done));
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
