#include "ui/connection/wirelesswatch.h"

#include <QVariantMap>

#include "core/adb/hostquery.h"
#include "core/support/logger.h"
#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

QList<PairedDevice> pairedDevices() {
    QList<PairedDevice> devices;
    const QVariantMap map = Preferences::value(QLatin1StringView(prefs::kPairedDevices)).toMap();
    for (auto it = map.cbegin(); it != map.cend(); ++it) devices.append(PairedDevice{it.key(), it.value().toString()});
    return devices;
}

void rememberPairedDevice(const PairedDevice& device) {
    const QString key = QLatin1StringView(prefs::kPairedDevices);
    QVariantMap map = Preferences::value(key).toMap();
    map.insert(device.serviceName, device.lastAddress);
    Preferences::setValue(key, map);
}

WirelessWatch::WirelessWatch(std::function<AdbEndpoint()> endpoint, QObject* parent)
    : QObject(parent), endpoint_(std::move(endpoint)) {
    timer_.setInterval(kPollMs);
    connect(&timer_, &QTimer::timeout, this, &WirelessWatch::poll);
    timer_.start();
}

void WirelessWatch::poll() {
    if (asking_ || pairedDevices().isEmpty()) return;
    asking_ = true;
    startHostQuery(endpoint_(), QString::fromLatin1(kMdnsServicesRequest), this,
                   [this](const QByteArray& reply, const AdbResult& result) { servicesListed(reply, result); });
}

void WirelessWatch::servicesListed(const QByteArray& reply, const AdbResult& result) {
    asking_ = false;
    if (result.outcome == AdbOutcome::Refused && result.error && isUnknownHostService(result.error->description)) {
        VF_LOG("the ADB server lists no network devices: not asking again");
        timer_.stop();
        return;
    }
    if (result.outcome != AdbOutcome::Done) return;
    for (const PairedDevice& moved : movedDevices(pairedDevices(), parseMdnsServices(reply))) {
        const AddressParse address = parseDeviceAddress(moved.lastAddress, true);
        if (!address.address) continue;
        VF_LOG("{} is at {} now: connecting", moved.serviceName, moved.lastAddress);
        startHostQuery(endpoint_(), connectRequest(*address.address), this,
                       [this, moved](const QByteArray& answerText, const AdbResult& connected) {
                           const WirelessAnswer answer =
                               readWirelessAnswer(WirelessRequest::Connect, answerText, connected, endpoint_());
                           // Remembered only once connected: a failure is tried again on the next poll.
                           if (answer.ok) rememberPairedDevice(moved);
                           Q_EMIT reconnected(moved.serviceName, answer.message, answer.ok);
                       }, kWirelessReplyTimeoutSeconds);
    }
}

}  // namespace vf::ui
