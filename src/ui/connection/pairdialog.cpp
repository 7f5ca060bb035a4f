#include "ui/connection/pairdialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>
#include <QRandomGenerator>
#include <QStackedWidget>
#include <QTabWidget>
#include <QVBoxLayout>

#include "core/adb/hostquery.h"
#include "ui/connection/qrimage.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {
enum Page { kChecking, kTooOld, kMethods };
constexpr int kQrModulePixels = 5;
}  // namespace

PairDialog::PairDialog(std::function<AdbEndpoint()> endpoint, std::function<void(const QString&)> paired,
                       QWidget* parent)
    : QDialog(parent), endpoint_(std::move(endpoint)), paired_(std::move(paired)),
      invitation_(makePairingInvitation(*QRandomGenerator::system())), pages_(new QStackedWidget(this)),
      serverText_(new QLabel(this)), message_(new QLabel(this)) {
    setWindowTitle(u"Pair a Device"_s);
    auto* layout = new QVBoxLayout(this);
    pages_->addWidget(new QLabel(u"Asking the ADB server whether it can pair devices\u2026"_s, pages_));
    serverText_->setObjectName(u"serverTooOld"_s);
    serverText_->setWordWrap(true);
    serverText_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    serverText_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    pages_->addWidget(serverText_);
    methods_ = new QTabWidget(pages_);
    methods_->addTab(buildCodePage(), u"Pairing Code"_s);
    methods_->addTab(buildQrPage(), u"QR Code"_s);
    pages_->addWidget(methods_);
    layout->addWidget(pages_);
    message_->setObjectName(u"pairMessage"_s);
    message_->setWordWrap(true);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(message_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    setMinimumWidth(460);

    qrPoll_.setInterval(kQrPollMs);
    connect(&qrPoll_, &QTimer::timeout, this, &PairDialog::lookForQrDevice);
    // The device is looked for only while its QR code is shown.
    connect(methods_, &QTabWidget::currentChanged, this, [this](int index) {
        if (index == 1 && pages_->currentIndex() == kMethods) startQrPolling();
        else qrPoll_.stop();
    });
    checkServer();
}

QWidget* PairDialog::buildCodePage() {
    auto* page = new QWidget(this);
    auto* form = new QFormLayout(page);
    auto* intro = new QLabel(u"On the device: Developer options \u25b8 Wireless debugging \u25b8 Pair device with "
                             "pairing code. Type the address and port it shows, and the code."_s,
                             page);
    intro->setWordWrap(true);
    form->addRow(intro);
    address_ = new QLineEdit(page);
    address_->setObjectName(u"pairAddress"_s);
    address_->setPlaceholderText(u"192.168.1.20:37099"_s);
    form->addRow(u"Address:"_s, address_);
    code_ = new QLineEdit(page);
    code_->setObjectName(u"pairCode"_s);
    code_->setPlaceholderText(u"six digits"_s);
    code_->setMaxLength(6);
    form->addRow(u"Pairing code:"_s, code_);
    pairButton_ = new QPushButton(u"Pair"_s, page);
    pairButton_->setDefault(true);
    form->addRow(QString(), pairButton_);
    connect(pairButton_, &QPushButton::clicked, this, &PairDialog::pairWithCode);
    return page;
}

QWidget* PairDialog::buildQrPage() {
    auto* page = new QWidget(this);
    auto* layout = new QVBoxLayout(page);
    auto* intro = new QLabel(u"On the device: Developer options \u25b8 Wireless debugging \u25b8 Pair device with QR "
                             "code, then scan this code. The device must be on the same network as this computer."_s,
                             page);
    intro->setWordWrap(true);
    layout->addWidget(intro);
    auto* code = new QLabel(page);
    code->setObjectName(u"pairQrCode"_s);
    code->setPixmap(QPixmap::fromImage(qrImage(invitation_.qrText(), kQrModulePixels)));
    code->setAlignment(Qt::AlignCenter);
    layout->addWidget(code);
    return page;
}

void PairDialog::checkServer() {
    pages_->setCurrentIndex(kChecking);
    startHostQuery(endpoint_(), u"host:version"_s, this, [this](const QByteArray& reply, const AdbResult& result) {
        if (result.outcome != AdbOutcome::Done) {
            pages_->setCurrentIndex(kTooOld);
            serverText_->setText(hostQueryFailure(result, endpoint_()));
            return;
        }
        const std::optional<int> version = parseServerVersion(reply);
        const PairingSupport support = pairingSupport(version);
        if (support != PairingSupport::Probe) return serverChecked(support, version);
        startHostQuery(endpoint_(), QString::fromLatin1(kPairingProbeRequest), this,
                       [this, version](const QByteArray&, const AdbResult& probe) {
                           const bool unknown = probe.outcome == AdbOutcome::Refused && probe.error &&
                                                isUnknownHostService(probe.error->description);
                           serverChecked(unknown ? PairingSupport::TooOld : PairingSupport::Supported, version);
                       });
    });
}

void PairDialog::serverChecked(PairingSupport support, std::optional<int> version) {
    if (support == PairingSupport::TooOld) {
        serverText_->setText(serverTooOldText(version));
        pages_->setCurrentIndex(kTooOld);
        return;
    }
    pages_->setCurrentIndex(kMethods);
    if (methods_->currentIndex() == 1) startQrPolling();
}

void PairDialog::startQrPolling() {
    if (pairing_) return;
    showMessage(u"Waiting for a device to scan the code\u2026"_s);
    qrPoll_.start();
}

void PairDialog::pairWithCode() {
    const AddressParse parsed = parseDeviceAddress(address_->text(), true);
    if (!parsed.address) return showMessage(parsed.error);
    if (!isPairingCode(code_->text().trimmed()))
        return showMessage(u"The pairing code is the six digits the device shows."_s);
    pair(code_->text().trimmed(), *parsed.address);
}

void PairDialog::lookForQrDevice() {
    if (polling_ || pairing_) return;
    polling_ = true;
    startHostQuery(endpoint_(), QString::fromLatin1(kMdnsServicesRequest), this,
                   [this](const QByteArray& reply, const AdbResult& result) {
                       polling_ = false;
                       if (result.outcome != AdbOutcome::Done || pairing_) return;
                       const auto service =
                           findService(parseMdnsServices(reply), invitation_.name, kPairingServiceType);
                       if (service) pair(invitation_.password, service->address);
                   });
}

void PairDialog::pair(const QString& password, const DeviceAddress& address) {
    pairing_ = true;
    pairButton_->setEnabled(false);
    showMessage(u"Pairing with %1\u2026"_s.arg(address.text()));
    const auto done = [this](const QByteArray& reply, const AdbResult& result) {
        pairing_ = false;
        pairButton_->setEnabled(true);
        WirelessAnswer answer = readWirelessAnswer(WirelessRequest::Pair, reply, result, endpoint_());
        qrPoll_.stop();  // a QR code pairs once, whichever way that went
        if (answer.ok) {
            answer.message += u" It connects as soon as the network shows it."_s;
            if (paired_ && !answer.serviceName.isEmpty()) paired_(answer.serviceName);
        }
        showMessage(answer.message);
    };
    startHostQuery(endpoint_(), pairRequest(password, address), this, done, kWirelessReplyTimeoutSeconds);
}

void PairDialog::showMessage(const QString& text) { message_->setText(text); }

}  // namespace vf::ui
