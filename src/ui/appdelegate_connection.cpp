// The connection cycle: device choice, logger start/stop, reconnecting,
// titles and the alerts of failed connections.
#include <QAction>
#include <QComboBox>
#include <QMessageBox>
#include <QTimer>
#include <utility>

#include "core/adb/devicestate.h"
#include "core/adb/replyframing.h"
#include "core/session/devicechoice.h"
#include "core/support/logger.h"
#include "core/support/threads.h"
#include "ui/connectionbackend.h"
#include "ui/devicepickersheet.h"
#include "ui/icons.h"
#include "ui/mainwindow.h"
#include "ui/vellumfoxappdelegate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

QString describe(const DeviceList& devices) {
    QStringList parts;
    for (const DeviceRecord& record : devices) parts << VellumfoxAppDelegate::getDeviceTitle(record);
    return u"("_s + parts.join(u", "_s) + u")"_s;
}

}  // namespace

QString VellumfoxAppDelegate::getDeviceTitle(const DeviceRecord& record) {
    // "id - name" (or "- product"), and the state when it is not "device".
    return deviceTitleWithState(record.id, record.name, record.product, record.state);
}

void VellumfoxAppDelegate::onDevicesConnected(const DeviceList& devices) {
    VF_ASSERT_THREAD(this);
    VF_LOG("Connected Devices: {}", describe(devices));
    const QMap<QString, DeviceRecord> previous = std::exchange(deviceList_, {});
    for (DeviceRecord record : devices) {
        // A replugged device keeps the model name it was known by until it is looked up again.
        if (!record.name && previous.contains(record.id)) record.name = previous.value(record.id).name;
        deviceList_.insert(record.id, record);
    }
    chooseDevice();
}

void VellumfoxAppDelegate::chooseDevice() {
    const std::optional<QString> reconnectTo =
        autoReconnect_ ? std::optional<QString>(lastDeviceConnectedId_.value_or(QString())) : std::nullopt;
    const DeviceChoice choice = vf::chooseDevice(deviceList_.values(), reconnectTo);
    switch (choice.decision) {
        case DeviceDecision::Ask:
            showDevicePicker();
            break;
        case DeviceDecision::NotAuthorized:
            adbDeviceNotAuthorized(choice.device->id);
            break;
        case DeviceDecision::Start:
            logDatasource_->setDeviceId(choice.device->id);
            startLogging();
            break;
        default:
            break;
    }
}

void VellumfoxAppDelegate::onDeviceModel(const QString& deviceId, const QString& model) {
    VF_ASSERT_THREAD(this);
    VF_LOG("DeviceID: {}, Model: {}", deviceId, model);
    const auto it = deviceList_.find(deviceId);
    if (it != deviceList_.end()) it->name = model;
    if (logDatasource_->deviceId() == deviceId && !deviceId.isEmpty()) {
        window_->setWindowTitle(model + u" - "_s + deviceId);
        lastDeviceConnectedTitle_ = window_->windowTitle();  // the offline title keeps the model
    }
}

void VellumfoxAppDelegate::onDeviceListFailed(int code) {
    VF_ASSERT_THREAD(this);
    if (code == 0) adbNotRunningError(Error{});
    else if (code == 1 && !autoReconnect_) adbDeviceNotFound(Error{});
    else if (code == kDeviceListUnexpectedReply) showAlert(QString::fromLatin1(kUnexpectedReplyText));
}

void VellumfoxAppDelegate::onNoDeviceSelected() { showDevicePicker(); }

void VellumfoxAppDelegate::onLoggerStarted() {
    VF_ASSERT_THREAD(this);
    resetConnectButton();
    const QString deviceId = logDatasource_->deviceId();
    if (deviceId.isEmpty()) {
        VF_LOG("load device list");
        backend_->loadDeviceList();
        return;
    }
    VF_LOG("connecting to: {}", deviceId);
    if (lastDeviceConnectedId_ != deviceId) {
        VF_LOG("different device: {} (was:{})", deviceId, lastDeviceConnectedId_.value_or(QString()));
        clearLog();
    }
    autoReconnect_ = true;
    stopReconnectTimer();
    const auto it = deviceList_.constFind(deviceId);
    const QString title = it != deviceList_.cend() ? getDeviceTitle(*it) : deviceId;
    window_->setWindowTitle(title);
    lastDeviceConnectedId_ = deviceId;
    lastDeviceConnectedTitle_ = title;
    resetConnectButton();
}

void VellumfoxAppDelegate::onLoggerStopped() {
    VF_ASSERT_THREAD(this);
    VF_LOG("isDatasourceDevice:{}", int(isDatasourceDevice_));
    logDatasource_->setDeviceId(QString());
    resetConnectButton();
    if (isDatasourceDevice_) setOfflineTitle();
    if (autoReconnect_) startReconnectTimer();
}

void VellumfoxAppDelegate::onMultipleDevicesConnected() { backend_->loadDeviceList(); }

void VellumfoxAppDelegate::onDeviceNotFound() { logDatasource_->setDeviceId(QString()); }

void VellumfoxAppDelegate::startLogging() {
    isDatasourceDevice_ = true;
    if (!logDatasource_->deviceId().isEmpty()) backend_->startLogger();
    else backend_->loadDeviceList();
}

void VellumfoxAppDelegate::stopLogging() {
    autoReconnect_ = false;
    stopReconnectTimer();
    backend_->stopLogger();
}

void VellumfoxAppDelegate::onConnectButtonPressed() {
    VF_LOG("isLogging:{}, autoReconnect:{}", int(backend_->isLogging()), int(autoReconnect_));
    if (backend_->isLogging()) {
        stopLogging();
    } else if (autoReconnect_) {
        // Waiting to reconnect: the user gives up on the device.
        autoReconnect_ = false;
        stopReconnectTimer();
        resetConnectButton();
        setOfflineTitle();
    } else {
        startLogging();
    }
    resetConnectButton();
}

void VellumfoxAppDelegate::startReconnectTimer() {
    stopReconnectTimer();
    reconnectTimer_->start();
}

void VellumfoxAppDelegate::stopReconnectTimer() { reconnectTimer_->stop(); }

void VellumfoxAppDelegate::resetConnectButton() {
    const bool stop = backend_->isLogging() || autoReconnect_;
    window_->connectAction->setText(stop ? u"Stop"_s : u"Run"_s);
    window_->connectAction->setIcon(bundledIcon(stop ? u"stop"_s : u"start"_s));
    updateStatus();
}

void VellumfoxAppDelegate::setOfflineTitle() {
    if (lastDeviceConnectedTitle_)
        window_->setWindowTitle(*lastDeviceConnectedTitle_ + (autoReconnect_ ? u" [PAUSED]"_s : u" [OFFLINE]"_s));
    else
        window_->setWindowTitle(u"No devices connected"_s);
}

void VellumfoxAppDelegate::showDevicePicker() {
    if (deviceList_.isEmpty()) {
        VF_LOG("No devices to show!!!");
        return;
    }
    if (sheetDevicePicker_ == nullptr) {
        VF_LOG("loadNibNamed:{}", "DevicePickerSheet");
        sheetDevicePicker_ = new DevicePickerSheet(window_.get());
        connect(sheetDevicePicker_, &QDialog::finished, this, &VellumfoxAppDelegate::onDevicePickerClosed);
    }
    QStringList titles;
    for (const DeviceRecord& record : std::as_const(deviceList_)) titles << getDeviceTitle(record);
    sheetDevicePicker_->setDeviceTitles(titles);
    VF_LOG("Found {} devices", titles.size());
    sheetDevicePicker_->open();
}

void VellumfoxAppDelegate::onDevicePickerClosed(int code) {
    VF_LOG("return Code: {}, deviceSheetPicker: {}", code, sheetDevicePicker_->deviceButton()->currentText());
    sheetDevicePicker_->hide();
    const int index = sheetDevicePicker_->selectedIndex();
    if (code == 0 || index < 0 || index >= deviceList_.size()) return;
    logDatasource_->setDeviceId(deviceList_.keys().at(index));
    startLogging();
}

void VellumfoxAppDelegate::stopForAlert() {
    onLoggerStopped();
    logDatasource_->setDeviceId(QString());
}

void VellumfoxAppDelegate::showAlert(const QString& text) {
    if (currentAlert_ != nullptr) currentAlert_->close();
    auto* box = new QMessageBox(QMessageBox::Warning, u"Alert"_s, u"Alert"_s, QMessageBox::Ok, window_.get());
    box->setInformativeText(text);
    box->setWindowModality(Qt::WindowModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    currentAlert_ = box;
    box->open();
}

void VellumfoxAppDelegate::adbDeviceNotFound(const Error&) {
    QPointer<VellumfoxAppDelegate> self(this);
    runOnMainThread([self] {
        if (self == nullptr) return;
        self->stopForAlert();
        self->showAlert(u"No Android device found. \n\nMake sure device is connected and developer mode is enabled."_s);
    });
}

void VellumfoxAppDelegate::adbDeviceNotAuthorized(const QString& deviceId) {
    backend_->recordEvent(u"error-not-authorized"_s);
    stopForAlert();
    showAlert(u"Device Not Authorized\n\nAllow USB debugging from device "_s + deviceId);
}

void VellumfoxAppDelegate::adbNotRunningError(const Error&) {
    QPointer<VellumfoxAppDelegate> self(this);
    runOnMainThread([self] {
        if (self == nullptr) return;
        self->backend_->recordEvent(u"error-adb-not-running"_s);
        self->stopForAlert();
        self->window_->setWindowTitle(u"Starting ADB server.."_s);
        self->backend_->startAdb([self](bool success) {
            if (self == nullptr) return;
            self->setOfflineTitle();
            if (success) self->startLogging();
            else self->showAdbNotRunningError();
        });
    });
}

void VellumfoxAppDelegate::showAdbNotRunningError() {
    showAlert(u"ADB not running\n\nMake sure ADB is running.\n\nFrom Terminal: adb start-server"_s);
}

}  // namespace vf::ui
