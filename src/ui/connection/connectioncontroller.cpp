#include "ui/connection/connectioncontroller.h"

#include <QAction>
#include <QComboBox>
#include <QMessageBox>

#include "core/adb/devicestate.h"
#include "core/adb/replyframing.h"
#include "core/support/logger.h"
#include "core/support/threads.h"
#include "ui/connection/devicepickersheet.h"
#include "ui/window/icons.h"
#include "ui/window/mainwindow.h"
#include "ui/window/statusline.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

QString deviceTitle(const DeviceRecord& record) {
    return deviceTitleWithState(record.id, record.name, record.product, record.state);
}

ConnectionController::ConnectionController(MainWindow& window, StatusLine& status, LogSession& session, Hooks hooks,
                                           QObject* parent)
    : QObject(parent), window_(window), status_(status), session_(session), hooks_(std::move(hooks)) {
    window_.setWindowTitle(u"Vellumfox"_s);
}

QMessageBox* ConnectionController::currentAlert() const { return currentAlert_; }
DevicePickerSheet* ConnectionController::devicePicker() const { return picker_; }

void ConnectionController::onConnectButtonPressed() {
    const bool wasWaiting = session_.isWaiting();
    if (!session_.isLogging() && !wasWaiting) isDatasourceDevice_ = true;
    session_.toggle();
    if (wasWaiting) setOfflineTitle();  // the user gave up on the device
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

void ConnectionController::showingFile(const QString& path) {
    stopLogging();
    isDatasourceDevice_ = false;
    session_.forgetLastDevice();
    window_.setWindowTitle(path);
}

// ---------------------------------------------------------------------------
// The session's reports

void ConnectionController::onLoggerStarted(const QString& deviceId) {
    VF_ASSERT_THREAD(this);
    const std::optional<DeviceRecord> record = session_.device(deviceId);
    const QString title = record ? deviceTitle(*record) : deviceId;
    window_.setWindowTitle(title);
    lastTitle_ = title;
    status_.clearNote();
    resetConnectButton();
}

void ConnectionController::onLoggerStopped() {
    VF_ASSERT_THREAD(this);
    VF_LOG("isDatasourceDevice:{}", int(isDatasourceDevice_));
    resetConnectButton();
    if (isDatasourceDevice_) setOfflineTitle();
}

void ConnectionController::onDeviceModel(const QString& deviceId, const QString& model) {
    if (deviceId.isEmpty() || session_.deviceId() != deviceId) return;
    window_.setWindowTitle(model + u" - "_s + deviceId);
    lastTitle_ = window_.windowTitle();  // the offline title keeps the model
}

void ConnectionController::onSessionNotice(const SessionNotice& notice) {
    VF_ASSERT_THREAD(this);
    VF_LOG("notice:{}, device:{}", int(notice.kind), notice.deviceId);
    switch (notice.kind) {
        case SessionNotice::StartingAdb:
            if (hooks_.recordEvent) hooks_.recordEvent(u"error-adb-not-running"_s);
            window_.setWindowTitle(u"Starting ADB server.."_s);
            break;
        case SessionNotice::AdbStarted:
            setOfflineTitle();
            break;
        case SessionNotice::AdbNotRunning:
            setOfflineTitle();
            showAlert(u"ADB not running\n\nMake sure ADB is running.\n\nFrom Terminal: adb start-server"_s);
            break;
        case SessionNotice::NoDevice:
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
            window_.setWindowTitle(notice.record ? deviceTitle(*notice.record) : notice.deviceId);
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
    if (code == 0 || index < 0 || index >= pickerDevices_.size()) return;
    isDatasourceDevice_ = true;
    session_.useDevice(pickerDevices_.at(index).id);
    resetConnectButton();
}

void ConnectionController::resetConnectButton() {
    const bool stop = session_.isLogging() || session_.autoReconnect();
    window_.connectAction->setText(stop ? u"Stop"_s : u"Run"_s);
    window_.connectAction->setIcon(bundledIcon(stop ? u"stop"_s : u"start"_s));
    if (hooks_.stateChanged) hooks_.stateChanged();
}

void ConnectionController::setOfflineTitle() {
    if (lastTitle_)
        window_.setWindowTitle(*lastTitle_ + (session_.autoReconnect() ? u" [PAUSED]"_s : u" [OFFLINE]"_s));
    else
        window_.setWindowTitle(u"No devices connected"_s);
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
