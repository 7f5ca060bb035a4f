#pragma once
// ConnectionController: what the main window shows of the logging session.
// It drives the session from the Run/Stop button and the device picker, and
// turns the session's reports into the window's title, the button, the
// status line and the alerts. The session decides; this class words it.
//
// Main thread only (it is the session's delegate, whose calls arrive there).

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

// "id - name" (or "- product"), with the state when it is not "device".
QString deviceTitle(const DeviceRecord& record);

class ConnectionController final : public QObject, public LogSessionDelegate {
    Q_OBJECT
public:
    struct Hooks {
        std::function<void()> stateChanged;                 // the status line may change
        std::function<void(const QString&)> recordEvent;    // usage events ("error-not-authorized" ...)
    };

    ConnectionController(MainWindow& window, LogSession& session, Hooks hooks, QObject* parent);
    ConnectionController(const ConnectionController&) = delete;
    ConnectionController& operator=(const ConnectionController&) = delete;

    void onConnectButtonPressed();
    void startLogging();
    void stopLogging();
    // A file is shown instead of a device: the next device starts afresh.
    void showingFile();
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
    LogSession& session_;
    Hooks hooks_;
    QPointer<DevicePickerSheet> picker_;
    QPointer<QMessageBox> currentAlert_;
    DeviceList pickerDevices_;  // what the picker's entries mean
    bool isDatasourceDevice_ = true;
    std::optional<QString> lastTitle_;
};

}  // namespace vf::ui
