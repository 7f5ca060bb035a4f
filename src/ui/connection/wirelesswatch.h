#pragma once
// The paired network devices, remembered by their service name on the
// network (preference "pairedDevices": name -> the address last connected
// to), and WirelessWatch, which keeps them connected: while the window is
// open it asks the server for the devices it sees (host:mdns:services)
// every few seconds and connects to a paired device that shows up at a new
// address (Wireless debugging takes a new port after every reboot or
// toggle). A server that cannot list them (an adb before platform-tools 30)
// is not asked again.
//
// Main thread only.

#include <QList>
#include <QObject>
#include <QTimer>
#include <functional>

#include "core/adb/endpoint.h"
#include "core/adb/wireless.h"

namespace vf::ui {

QList<PairedDevice> pairedDevices();
// Adds the device, or updates its address.
void rememberPairedDevice(const PairedDevice& device);

class WirelessWatch final : public QObject {
    Q_OBJECT
public:
    static constexpr int kPollMs = 5000;

    explicit WirelessWatch(std::function<AdbEndpoint()> endpoint, QObject* parent = nullptr);

    // Asks once now (also while the timer runs); tests call it directly.
    void poll();
    bool isWatching() const { return timer_.isActive(); }

Q_SIGNALS:
    // A paired device was connected at its new address (or failed to be).
    void reconnected(const QString& serviceName, const QString& message, bool ok);

private:
    void servicesListed(const QByteArray& reply, const AdbResult& result);

    const std::function<AdbEndpoint()> endpoint_;
    QTimer timer_;
    bool asking_ = false;
};

}  // namespace vf::ui
