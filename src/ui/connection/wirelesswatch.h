#pragma once
// The paired network devices, remembered by their service name on the
// network (preference "pairedDevices": name -> the address last connected
// to), and WirelessWatch, which keeps them connected: while the window is
// open it asks the server for the devices it sees (host:mdns:services)
// every few seconds and connects to a paired device that shows up at a new
// address (Wireless debugging takes a new port after every reboot or
// toggle). A server that cannot list them (an adb before platform-tools 30)
// is asked less and less often, up to every few minutes, until it can (a
// newer server was started) or the server's address changes.
//
// Main thread only.

#include <QList>
#include <QObject>
#include <QTimer>
#include <functional>

#include "core/adb/endpoint.h"
#include "core/adb/wireless.h"

namespace vf::ui {

// How long the watch waits between questions after `refusals` refusals in a
// row by a server that cannot list network devices: the usual interval
// (none yet), then twice as long at each refusal, up to `maxMs`.
int wirelessPollIntervalMs(int refusals, int pollMs, int maxMs);

QList<PairedDevice> pairedDevices();
// Adds the device, or updates its address.
void rememberPairedDevice(const PairedDevice& device);

class WirelessWatch final : public QObject {
    Q_OBJECT
public:
    static constexpr int kPollMs = 5000;
    static constexpr int kMaxPollMs = 5 * 60 * 1000;

    explicit WirelessWatch(std::function<AdbEndpoint()> endpoint, QObject* parent = nullptr);

    // Asks once now (also while the timer runs, or waits longer after
    // refusals: the user just paired a device); tests call it directly.
    void poll();
    bool isWatching() const { return timer_.isActive(); }
    int intervalMs() const { return timer_.interval(); }

Q_SIGNALS:
    // A paired device was connected at its new address (or failed to be).
    void reconnected(const QString& serviceName, const QString& message, bool ok);

private:
    void servicesListed(const QByteArray& reply, const AdbResult& result);

    const std::function<AdbEndpoint()> endpoint_;
    QTimer timer_;
    bool asking_ = false;
    int refusals_ = 0;        // in a row, by `refusedBy_`
    AdbEndpoint refusedBy_;
};

}  // namespace vf::ui
