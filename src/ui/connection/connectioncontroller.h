#pragma once
// ConnectionController: what the main window shows of the logging session.
// It drives the session from the Run/Stop button and the device picker, and
// turns the session's reports into the window's title, the button, notes on
// the status line and the alerts. The session decides; this class words it.
// Each tab has one; the current tab's is the only writer of the window's title ("model — serial [STATE]"),
// of the Run/Stop action (Stop only while a device streams) and of the
// Device menu's list of devices to switch to.
//
// Main thread only (it is the session's delegate, whose calls arrive there).
// The window, the status line and the session outlive it.

#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>
#include <optional>

#include "core/log/bugreport.h"
#include "core/session/logsession.h"

class QMenu;
class QMessageBox;

namespace vf::ui {

class DevicePickerSheet;
class MainWindow;
class StatusLine;

// How the viewer names a device, in the title and the device lists:
// "model — serial", or the serial alone while the model is not known,
// then " [TAG]" when `tag` is not empty ("PAUSED", "UNAUTHORIZED" ...).
QString deviceTitle(const QString& serial, const std::optional<QString>& model, const QString& tag = {});
// A listed device: its model, else its product; its state as the tag when it
// is not ready ("device").
QString deviceTitle(const DeviceRecord& record);

class ConnectionController final : public QObject, public LogSessionDelegate {
    Q_OBJECT
public:
    struct Hooks {
        std::function<void()> stateChanged;                 // the status line may change
        std::function<void(const QString&)> recordEvent;    // usage events ("error-not-authorized" ...)
        std::function<void(const QString&)> started;        // a run started on this device
    };

    ConnectionController(MainWindow& window, StatusLine& status, LogSession& session, Hooks hooks,
                         QObject* parent = nullptr);
    ConnectionController(const ConnectionController&) = delete;
    ConnectionController& operator=(const ConnectionController&) = delete;

    void onConnectButtonPressed();
    void startLogging();
    void stopLogging();
    // Ends the stream but keeps following the device: it comes back with
    // the next reconnect.
    void interruptRun();
    // The file `path` is shown instead of a device: logging stops, the window
    // is named after the file, and the next device starts afresh.
    void showingFile(const QString& path);
    // The file shown is a bugreport: its title adds the report's device and build.
    void showingReport(const QString& path, const ReportFacts& facts);
    bool isDatasourceDevice() const { return isDatasourceDevice_; }

    // Shows `box` (or an "Alert" with `text`) as the one alert of the window.
    void showAlert(const QString& text);
    void showBox(QMessageBox* box);
    QMessageBox* currentAlert() const;
    DevicePickerSheet* devicePicker() const;

    // LogSessionDelegate.
    void onLoggerStarted(const QString& deviceId) override;
    void onLoggerStopped() override;
    void chooseDevice(const DeviceList& devices) override;
    void onDeviceModel(const QString& deviceId, const QString& model) override;
    void onSessionNotice(const SessionNotice& notice) override;
    void onDevicesChanged() override;

    // Streams `deviceId` instead of the device streamed now (the Device
    // menu's Switch Device entries).
    void switchToDevice(const QString& deviceId);
    QMenu* devicesMenu() const { return devicesMenu_; }
    // What its tab is called: the device's title or the file's path.
    const QString& title() const { return title_; }
    const QString& titleSerial() const { return titleSerial_; }

Q_SIGNALS:
    void titleChanged(const QString& title);
    // Something the empty table tells changed (the ADB server went down or
    // came back) while the title stayed.
    void stateChanged();

private:
    void onPickerClosed(int code);
    void buildDevicesMenu();
    void refreshDevicesMenu();
    void resetConnectButton();
    bool isCurrent() const;
    void showIfCurrent();
    void setTitle(const QString& title);
    void setOfflineTitle();
    // The title for the device of the last run, tagged.
    void showDeviceTitle(const QString& tag);
    QString stateAdvice(const SessionNotice& notice) const;

    MainWindow& window_;
    const QWidget* table_;  // its tab's log table
    StatusLine& status_;
    LogSession& session_;
    Hooks hooks_;
    QPointer<DevicePickerSheet> picker_;
    QPointer<QMessageBox> currentAlert_;
    DeviceList pickerDevices_;  // what the picker's entries mean
    bool isDatasourceDevice_ = true;
    // The device the title names (the last one streamed or waited for).
    QString titleSerial_;
    std::optional<QString> titleModel_;
    QMenu* devicesMenu_ = nullptr;  // "Switch Device", in the Device menu
    QString pendingSwitch_;
    QString title_;         // the device to stream once the run has stopped
};

}  // namespace vf::ui
