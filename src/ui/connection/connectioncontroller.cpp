#include "ui/connection/connectioncontroller.h"

#include <QAction>
#include <QComboBox>
#include <QMenu>
#include <QMessageBox>
#include <utility>

#include "core/adb/devicestate.h"
#include "core/adb/replyframing.h"
#include "core/support/logger.h"
#include "core/support/threads.h"
#include "ui/connection/devicepickersheet.h"
#include "ui/window/icons.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

QString deviceTitle(const QString& serial, const std::optional<QString>& model, const QString& tag) {
    QString title = model && !model->isEmpty() ? *model + u" \u2014 "_s + serial : serial;
    if (!tag.isEmpty()) title += u" ["_s + tag + u']';
    return title;
}

QString deviceTitle(const DeviceRecord& record) {
    const QString state = record.state == u"device"_s ? QString() : record.state.toUpper();
    return deviceTitle(record.id, record.name ? record.name : record.product, state);
}

ConnectionController::ConnectionController(MainWindow& window, StatusLine& status, LogSession& session, Hooks hooks,
                                           QObject* parent)
    : QObject(parent), window_(window), table_(window.logTable()), status_(status), session_(session),
      hooks_(std::move(hooks)) {
    setTitle(u"Vellumfox"_s);
    buildDevicesMenu();
    connect(&window_, &MainWindow::currentSourceChanged, this, &ConnectionController::showIfCurrent);
}

bool ConnectionController::isCurrent() const { return window_.logTable() == table_; }

// Only the current tab's controller writes the window's title, the Run
// button and the Switch Device menu; the others keep their state for when
// their tab comes back.
void ConnectionController::showIfCurrent() {
    const bool current = isCurrent();
    devicesMenu_->menuAction()->setVisible(current);
    if (!current) return;
    window_.setWindowTitle(title_);
    resetConnectButton();
}

void ConnectionController::setTitle(const QString& title) {
    if (title_ == title) return;
    title_ = title;
    if (isCurrent()) window_.setWindowTitle(title);
    Q_EMIT titleChanged(title);
}

// "Switch Device" sits under Run/Stop in the menu that holds it.
void ConnectionController::buildDevicesMenu() {
    devicesMenu_ = new QMenu(u"Switch Device"_s, &window_);
    devicesMenu_->setObjectName(u"devicesMenu"_s);
    for (QObject* object : window_.connectAction->associatedObjects()) {
        auto* menu = qobject_cast<QMenu*>(object);
        if (menu == nullptr) continue;
        const QList<QAction*> actions = menu->actions();
        const qsizetype at = actions.indexOf(window_.connectAction);
        menu->insertMenu(at + 1 < actions.size() ? actions.at(at + 1) : nullptr, devicesMenu_);
        break;
    }
    refreshDevicesMenu();
}

// One entry per attached device, the streamed one checked; devices that
// cannot stream yet are shown, greyed, with their state.
void ConnectionController::refreshDevicesMenu() {
    devicesMenu_->clear();
    const QList<DeviceRecord> devices = session_.devices();
    if (devices.isEmpty()) devicesMenu_->addAction(u"No device attached"_s)->setEnabled(false);
    const QString streamed = session_.isLogging() && isDatasourceDevice_ ? session_.deviceId() : QString();
    for (const DeviceRecord& record : devices) {
        QAction* entry = devicesMenu_->addAction(deviceTitle(record));
        entry->setCheckable(true);
        entry->setChecked(record.id == streamed);
        entry->setEnabled(record.state == u"device"_s);
        const QString id = record.id;
        connect(entry, &QAction::triggered, this, [this, id] { switchToDevice(id); });
    }
}

void ConnectionController::switchToDevice(const QString& deviceId) {
    isDatasourceDevice_ = true;
    if (session_.isLogging()) {
        if (session_.deviceId() == deviceId) return;
        pendingSwitch_ = deviceId;  // started once this run has ended
        session_.stopLogging();
    } else {
        session_.stopLogging();  // no longer waiting for another device
        session_.useDevice(deviceId);
    }
    resetConnectButton();
}

void ConnectionController::onDevicesChanged() {
    refreshDevicesMenu();
    Q_EMIT stateChanged();
    // An open picker offers the devices attached now.
    if (picker_ != nullptr && picker_->isVisible()) chooseDevice(session_.devices());
}

QMessageBox* ConnectionController::currentAlert() const { return currentAlert_; }
DevicePickerSheet* ConnectionController::devicePicker() const { return picker_; }

// Stop while a device streams; otherwise Run, also while waiting for a lost
// device: the user no longer waits for that one and takes whichever device
// the listing gives now.
void ConnectionController::onConnectButtonPressed() {
    if (session_.isLogging()) {
        session_.toggle();
    } else {
        if (session_.isWaiting()) {
            session_.toggle();  // gives up on the lost device
            setOfflineTitle();
        }
        isDatasourceDevice_ = true;
        session_.toggle();
    }
    resetConnectButton();
}

void ConnectionController::startLogging() {
    isDatasourceDevice_ = true;
    session_.startLogging();
    resetConnectButton();
}

void ConnectionController::stopLogging() {
    session_.stopLogging();
    resetConnectButton();
}

void ConnectionController::interruptRun() {
    session_.interruptRun();
    resetConnectButton();
}

void ConnectionController::showingFile(const QString& path) {
    stopLogging();
    isDatasourceDevice_ = false;
    session_.forgetLastDevice();
    setTitle(path);
}

void ConnectionController::showingReport(const QString& path, const ReportFacts& facts) {
    if (!isDatasourceDevice_) setTitle(u"%1 \u2014 %2"_s.arg(path, facts.title()));
}

// ---------------------------------------------------------------------------
// The session's reports

void ConnectionController::onLoggerStarted(const QString& deviceId) {
    VF_ASSERT_THREAD(this);
    const std::optional<DeviceRecord> record = session_.device(deviceId);
    titleSerial_ = deviceId;
    titleModel_ = record ? (record->name ? record->name : record->product) : std::nullopt;
    showDeviceTitle({});
    status_.clearNote();
    resetConnectButton();
    refreshDevicesMenu();
    if (hooks_.started) hooks_.started(deviceId);
}

void ConnectionController::onLoggerStopped() {
    VF_ASSERT_THREAD(this);
    VF_LOG("isDatasourceDevice:{}", int(isDatasourceDevice_));
    resetConnectButton();
    if (isDatasourceDevice_) setOfflineTitle();
    refreshDevicesMenu();
    if (!pendingSwitch_.isEmpty()) {
        // Not from inside the session's report: it goes on after this call.
        QMetaObject::invokeMethod(
            this,
            [this, id = std::exchange(pendingSwitch_, {})] {
                session_.useDevice(id);
                resetConnectButton();
            },
            Qt::QueuedConnection);
    }
}

void ConnectionController::onDeviceModel(const QString& deviceId, const QString& model) {
    if (deviceId.isEmpty() || deviceId != titleSerial_ || !isDatasourceDevice_) return;
    titleModel_ = model;
    if (session_.isLogging()) showDeviceTitle({});
    else setOfflineTitle();
}

void ConnectionController::onSessionNotice(const SessionNotice& notice) {
    VF_ASSERT_THREAD(this);
    VF_LOG("notice:{}, device:{}", int(notice.kind), notice.deviceId);
    switch (notice.kind) {
        case SessionNotice::StartingAdb:
            if (hooks_.recordEvent) hooks_.recordEvent(u"error-adb-not-running"_s);
            setTitle(u"Starting ADB server.."_s);
            break;
        case SessionNotice::AdbStarted:
            setOfflineTitle();
            break;
        case SessionNotice::AdbNotRunning:
            setOfflineTitle();
            Q_EMIT stateChanged();
            showAlert(u"ADB not running\n\nMake sure ADB is running.\n\nFrom Terminal: adb start-server"_s);
            break;
        case SessionNotice::NoDevice:
            // The empty table says what to do; no alert over it.
            status_.showNote(u"No Android device found. Connect one with USB debugging turned on."_s, 10000);
            break;
        case SessionNotice::SerialNotListed:
        case SessionNotice::DeviceNotFound:
            showAlert(u"No Android device found. \n\nMake sure device is connected and developer mode is enabled."_s);
            break;
        case SessionNotice::NotAuthorized:
            if (hooks_.recordEvent) hooks_.recordEvent(u"error-not-authorized"_s);
            showAlert(u"Device Not Authorized\n\nAllow USB debugging from device "_s + notice.deviceId);
            break;
        case SessionNotice::NoPermissions:
        case SessionNotice::NotStreamable:
            showAlert(stateAdvice(notice));
            break;
        case SessionNotice::DeviceOffline:
            // The session waits for the device, as for a lost one.
            if (notice.deviceId != titleSerial_) {
                titleSerial_ = notice.deviceId;
                titleModel_ = notice.record ? (notice.record->name ? notice.record->name : notice.record->product)
                                            : std::nullopt;
            }
            setOfflineTitle();
            status_.showNote(stateAdvice(notice));
            break;
        case SessionNotice::UnexpectedReply:
            showAlert(QString::fromLatin1(kUnexpectedReplyText));
            break;
    }
    resetConnectButton();
}

QString ConnectionController::stateAdvice(const SessionNotice& notice) const {
    return deviceStateAdvice(notice.deviceId, notice.record);
}

// ---------------------------------------------------------------------------
// The picker, the button, the title, the alerts

void ConnectionController::chooseDevice(const DeviceList& devices) {
    VF_ASSERT_THREAD(this);
    if (devices.isEmpty()) {
        VF_LOG("No devices to show!!!");
        return;
    }
    if (picker_ == nullptr) {
        VF_LOG("loadNibNamed:{}", "DevicePickerSheet");
        picker_ = new DevicePickerSheet(&window_);
        connect(picker_, &QDialog::finished, this, &ConnectionController::onPickerClosed);
    }
    pickerDevices_ = devices;
    QStringList titles;
    for (const DeviceRecord& record : devices) titles << deviceTitle(record);
    picker_->setDeviceTitles(titles);
    VF_LOG("Found {} devices", titles.size());
    picker_->open();
}

void ConnectionController::onPickerClosed(int code) {
    VF_LOG("return Code: {}, deviceSheetPicker: {}", code, picker_->deviceButton()->currentText());
    picker_->hide();
    const int index = picker_->selectedIndex();
    if (code == 0 || index < 0 || index >= pickerDevices_.size()) {
        // Cancelled: the next device change does not ask again.
        session_.stopLogging();
        return;
    }
    isDatasourceDevice_ = true;
    session_.useDevice(pickerDevices_.at(index).id);
    resetConnectButton();
}

void ConnectionController::resetConnectButton() {
    const bool stop = session_.isLogging();
    if (isCurrent()) {
        window_.connectAction->setText(stop ? u"Stop"_s : u"Run"_s);
        window_.connectAction->setIcon(bundledIcon(stop ? u"stop"_s : u"start"_s));
    }
    if (hooks_.stateChanged) hooks_.stateChanged();
}

void ConnectionController::setOfflineTitle() {
    if (titleSerial_.isEmpty()) setTitle(u"No devices connected"_s);
    else showDeviceTitle(session_.autoReconnect() ? u"PAUSED"_s : u"OFFLINE"_s);
}

void ConnectionController::showDeviceTitle(const QString& tag) {
    setTitle(deviceTitle(titleSerial_, titleModel_, tag));
}

void ConnectionController::showAlert(const QString& text) {
    auto* box = new QMessageBox(QMessageBox::Warning, u"Alert"_s, u"Alert"_s, QMessageBox::Ok, &window_);
    box->setInformativeText(text);
    box->setWindowModality(Qt::WindowModal);
    showBox(box);
}

void ConnectionController::showBox(QMessageBox* box) {
    if (currentAlert_ != nullptr) currentAlert_->close();
    box->setAttribute(Qt::WA_DeleteOnClose);
    currentAlert_ = box;
    box->open();
}

}  // namespace vf::ui
