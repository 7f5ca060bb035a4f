#pragma once
// ConnectionController: what the main window shows of the logging session.
// It drives the session from the Run/Stop button and the device picker, and
// turns the session's reports into the window's title, the button, notes on
// the status line and the alerts. The session decides; this class words it.
// It is the only writer of the window's title and of the Run/Stop action.
//
// Main thread only (it is the session's delegate, whose calls arrive there).
// The window, the status line and the session outlive it.

#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>
#include <optional>

#include "core/session/logsession.h"

class QMessageBox;

namespace vf::ui {

class DevicePickerSheet;
class MainWindow;
class StatusLine;

// "id - name" (or "- product"), with the state when it is not "device".
QString deviceTitle(const DeviceRecord& record);

class ConnectionController final : public QObject, public LogSessionDelegate {
    Q_OBJECT
public:
    struct Hooks {
        std::function<void()> stateChanged;                 // the status line may change
        std::function<void(const QString&)> recordEvent;    // usage events ("error-not-authorized" ...)
    };

    ConnectionController(MainWindow& window, StatusLine& status, LogSession& session, Hooks hooks,
                         QObject* parent = nullptr);
    ConnectionController(const ConnectionController&) = delete;
    ConnectionController& operator=(const ConnectionController&) = delete;

    void onConnectButtonPressed();
    void startLogging();
    void stopLogging();
    // The file `path` is shown instead of a device: logging stops, the window
    // is named after the file, and the next device starts afresh.
    void showingFile(const QString& path);
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

private:
    void onPickerClosed(int code);
    void resetConnectButton();
    void setOfflineTitle();
    QString stateAdvice(const SessionNotice& notice) const;

    MainWindow& window_;
    StatusLine& status_;
    LogSession& session_;
    Hooks hooks_;
    QPointer<DevicePickerSheet> picker_;
    QPointer<QMessageBox> currentAlert_;
    DeviceList pickerDevices_;  // what the picker's entries mean
    bool isDatasourceDevice_ = true;
    std::optional<QString> lastTitle_;
};

}  // namespace vf::ui
