#include "ui/connection/wirelesswatch.h"

#include <QVariantMap>

#include "core/adb/hostquery.h"
#include "core/support/logger.h"
#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

int wirelessPollIntervalMs(int refusals, int pollMs, int maxMs) {
    int interval = pollMs;
    for (int i = 0; i < refusals && interval < maxMs; ++i) interval *= 2;
    return qMin(interval, maxMs);
}

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
    // Another server (the user chose another adb or port) is asked afresh.
    if (refusals_ > 0 && !(endpoint_() == refusedBy_)) {
        refusals_ = 0;
        timer_.setInterval(kPollMs);
    }
    asking_ = true;
    startHostQuery(endpoint_(), QString::fromLatin1(kMdnsServicesRequest), this,
                   [this](const QByteArray& reply, const AdbResult& result) { servicesListed(reply, result); });
}

void WirelessWatch::servicesListed(const QByteArray& reply, const AdbResult& result) {
    asking_ = false;
    if (result.outcome == AdbOutcome::Refused && result.error && isUnknownHostService(result.error->description)) {
        if (refusals_ == 0) VF_LOG("the ADB server lists no network devices: asking less often");
        refusedBy_ = endpoint_();
        timer_.setInterval(wirelessPollIntervalMs(++refusals_, kPollMs, kMaxPollMs));
        return;
    }
    if (result.outcome != AdbOutcome::Done) return;
    if (refusals_ > 0) {
        VF_LOG("the ADB server lists network devices now");
        refusals_ = 0;
        timer_.setInterval(kPollMs);
    }
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
