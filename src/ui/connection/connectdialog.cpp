#include "ui/connection/connectdialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/adb/hostquery.h"
#include "core/adb/wireless.h"
#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

ConnectDialog::ConnectDialog(std::function<AdbEndpoint()> endpoint, QWidget* parent)
    : QDialog(parent), endpoint_(std::move(endpoint)), address_(new QLineEdit(this)), message_(new QLabel(this)) {
    setWindowTitle(u"Connect to a Device"_s);
    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(u"The device's address on the network, as Developer options \u25b8 Wireless debugging "
                             "shows it (or port 5555 after \u201cadb tcpip\u201d):"_s,
                             this);
    intro->setWordWrap(true);
    layout->addWidget(intro);
    address_->setObjectName(u"connectAddress"_s);
    address_->setPlaceholderText(u"192.168.1.20:5555"_s);
    address_->setText(Preferences::string(QLatin1StringView(prefs::kConnectAddress)));
    layout->addWidget(address_);
    message_->setObjectName(u"connectMessage"_s);
    message_->setWordWrap(true);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(message_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connectButton_ = buttons->addButton(u"Connect"_s, QDialogButtonBox::AcceptRole);
    connectButton_->setDefault(true);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &ConnectDialog::connectToAddress);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    setMinimumWidth(420);
}

void ConnectDialog::connectToAddress() {
    const AddressParse parsed = parseDeviceAddress(address_->text());
    if (!parsed.address) return showMessage(parsed.error);
    const DeviceAddress address = *parsed.address;
    Preferences::setValue(QLatin1StringView(prefs::kConnectAddress), address.text());
    connectButton_->setEnabled(false);
    showMessage(u"Connecting to %1\u2026"_s.arg(address.text()));
    startHostQuery(endpoint_(), connectRequest(address), this, [this](const QByteArray& reply, const AdbResult& result) {
        connectButton_->setEnabled(true);
        showMessage(readWirelessAnswer(WirelessRequest::Connect, reply, result, endpoint_()).message);
    }, kWirelessReplyTimeoutSeconds);
}

void ConnectDialog::showMessage(const QString& text) { message_->setText(text); }

}  // namespace vf::ui
