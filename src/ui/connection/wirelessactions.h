#pragma once
// WirelessActions: the Device menu's entries for devices on the network:
// Connect... (ConnectDialog), Disconnect (one entry per network device
// listed now) and Pair... (PairDialog), and the watch that reconnects
// paired devices whose port changed (WirelessWatch, running while the
// window is open).
//
// Main thread only. The window outlives it.

#include <QObject>
#include <QPointer>
#include <functional>

#include "core/adb/devicelisting.h"
#include "core/adb/endpoint.h"

class QMainWindow;
class QMenu;

namespace vf::ui {

class ConnectDialog;
class PairDialog;
class WirelessWatch;

class WirelessActions final : public QObject {
    Q_OBJECT
public:
    struct Hooks {
        std::function<AdbEndpoint()> endpoint;        // the server of the preferences, read each time
        std::function<DeviceList()> devices;          // the devices listed now
        std::function<void(const QString&)> showAlert;  // a failure worth an alert
        std::function<void(const QString&)> showNote;   // a passing note on the status line
    };

    // Adds the entries to `window`'s Device menu.
    WirelessActions(QMainWindow& window, Hooks hooks, QObject* parent = nullptr);
    WirelessActions(const WirelessActions&) = delete;
    WirelessActions& operator=(const WirelessActions&) = delete;

    void showConnectDialog();
    void showPairDialog();
    // Drops the network device `serial` (host:disconnect).
    void disconnectDevice(const QString& serial);

    ConnectDialog* connectDialog() const;
    PairDialog* pairDialog() const;
    QMenu* disconnectMenu() const { return disconnectMenu_; }
    WirelessWatch* watch() const { return watch_; }

private:
    void refreshDisconnectMenu();

    QMainWindow& window_;
    Hooks hooks_;
    QMenu* disconnectMenu_ = nullptr;
    WirelessWatch* watch_ = nullptr;
    QPointer<ConnectDialog> connectDialog_;
    QPointer<PairDialog> pairDialog_;
};

}  // namespace vf::ui
