#include "ui/connection/wirelessactions.h"

#include <QAction>
#include <QMainWindow>
#include <QMenu>

#include "core/adb/hostquery.h"
#include "core/adb/wireless.h"
#include "ui/connection/connectdialog.h"
#include "ui/connection/pairdialog.h"
#include "ui/connection/wirelesswatch.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

WirelessActions::WirelessActions(QMainWindow& window, Hooks hooks, QObject* parent)
    : QObject(parent), window_(window), hooks_(std::move(hooks)) {
    auto* menu = window_.findChild<QMenu*>(u"deviceMenu"_s);
    if (menu != nullptr) {
        menu->addSeparator();
        QAction* connectEntry = menu->addAction(u"Connect\u2026"_s);
        connectEntry->setObjectName(u"connectAddressAction"_s);
        connect(connectEntry, &QAction::triggered, this, &WirelessActions::showConnectDialog);
        disconnectMenu_ = menu->addMenu(u"Disconnect"_s);
        disconnectMenu_->setObjectName(u"disconnectMenu"_s);
        connect(disconnectMenu_, &QMenu::aboutToShow, this, &WirelessActions::refreshDisconnectMenu);
        QAction* pairEntry = menu->addAction(u"Pair\u2026"_s);
        pairEntry->setObjectName(u"pairAction"_s);
        connect(pairEntry, &QAction::triggered, this, &WirelessActions::showPairDialog);
        refreshDisconnectMenu();
    }
    watch_ = new WirelessWatch(hooks_.endpoint, this);
    connect(watch_, &WirelessWatch::reconnected, this, [this](const QString&, const QString& message, bool) {
        if (hooks_.showNote) hooks_.showNote(message);
    });
}

ConnectDialog* WirelessActions::connectDialog() const { return connectDialog_; }
PairDialog* WirelessActions::pairDialog() const { return pairDialog_; }

// One entry per network device listed now.
void WirelessActions::refreshDisconnectMenu() {
    disconnectMenu_->clear();
    for (const DeviceRecord& record : hooks_.devices ? hooks_.devices() : DeviceList()) {
        if (!isNetworkSerial(record.id)) continue;
        const QString serial = record.id;
        QAction* entry = disconnectMenu_->addAction(record.name ? *record.name + u" \u2014 "_s + serial : serial);
        connect(entry, &QAction::triggered, this, [this, serial] { disconnectDevice(serial); });
    }
    if (disconnectMenu_->isEmpty()) disconnectMenu_->addAction(u"No network device"_s)->setEnabled(false);
}

void WirelessActions::showConnectDialog() {
    if (connectDialog_ == nullptr) connectDialog_ = new ConnectDialog(hooks_.endpoint, &window_);
    connectDialog_->show();
    connectDialog_->raise();
    connectDialog_->activateWindow();
}

void WirelessActions::showPairDialog() {
    // A fresh dialog each time: a QR code pairs once.
    if (pairDialog_ != nullptr) pairDialog_->deleteLater();
    pairDialog_ = new PairDialog(
        hooks_.endpoint, [](const QString& serviceName) { rememberPairedDevice(PairedDevice{serviceName, {}}); },
        &window_);
    pairDialog_->setAttribute(Qt::WA_DeleteOnClose);
    connect(pairDialog_, &QDialog::finished, watch_, &WirelessWatch::poll);
    pairDialog_->show();
}

void WirelessActions::disconnectDevice(const QString& serial) {
    startHostQuery(hooks_.endpoint(), disconnectRequest(serial), this,
                   [this](const QByteArray& reply, const AdbResult& result) {
                       const WirelessAnswer answer =
                           readWirelessAnswer(WirelessRequest::Disconnect, reply, result, hooks_.endpoint());
                       if (!answer.ok && hooks_.showAlert) hooks_.showAlert(answer.message);
                       else if (answer.ok && hooks_.showNote) hooks_.showNote(answer.message);
                   });
}

}  // namespace vf::ui
