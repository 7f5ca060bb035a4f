#pragma once
// PairDialog (Device > Pair...): pairs a device for Wireless debugging,
// with the six-digit code the device shows or with a QR code the device
// scans. It first asks the server whether it can pair at all (host:version,
// then host:mdns:check where the version does not tell) and, when it
// cannot, says so plainly with what to install instead. For a QR code it
// watches the devices the server sees on the network (host:mdns:services)
// until the device announces the code's name, then pairs with it.
//
// Main thread only.

#include <QDialog>
#include <QTimer>
#include <functional>
#include <optional>

#include "core/adb/endpoint.h"
#include "core/adb/wireless.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class QTabWidget;

namespace vf::ui {

class PairDialog final : public QDialog {
    Q_OBJECT
public:
    // `endpoint` gives the server to ask; `paired` hears each pairing that
    // succeeded, with the device's service name on the network.
    PairDialog(std::function<AdbEndpoint()> endpoint, std::function<void(const QString&)> paired,
               QWidget* parent = nullptr);

    // How often the QR code's device is looked for.
    static constexpr int kQrPollMs = 1000;

    QLabel* messageLabel() const { return message_; }
    QLabel* serverLabel() const { return serverText_; }
    QTabWidget* methods() const { return methods_; }
    QLineEdit* addressField() const { return address_; }
    QLineEdit* codeField() const { return code_; }
    const PairingInvitation& invitation() const { return invitation_; }
    // Pairs with the address and code typed.
    void pairWithCode();

private:
    QWidget* buildCodePage();
    QWidget* buildQrPage();
    void checkServer();
    void serverChecked(PairingSupport support, std::optional<int> version);
    void startQrPolling();
    void lookForQrDevice();
    void pair(const QString& password, const DeviceAddress& address);
    void showMessage(const QString& text);

    const std::function<AdbEndpoint()> endpoint_;
    const std::function<void(const QString&)> paired_;
    const PairingInvitation invitation_;
    QStackedWidget* pages_;
    QLabel* serverText_;
    QTabWidget* methods_ = nullptr;
    QLineEdit* address_ = nullptr;
    QLineEdit* code_ = nullptr;
    QPushButton* pairButton_ = nullptr;
    QLabel* message_;
    QTimer qrPoll_;
    bool pairing_ = false;  // a host:pair request is under way
    bool polling_ = false;  // a host:mdns:services request is under way
};

}  // namespace vf::ui
