#pragma once
// LogSession: one logging session seen whole, for the viewer and the
// companion alike. It lists the devices (with their model names), chooses
// the one to stream, runs the log of that device into the store (LogRun),
// starts the ADB server once when none answers, and reconnects every 5.0 s
// to the device it had when that one goes away. While reconnecting only the
// remembered device is taken, never another one that happens to be there.
// With `trackDevices` it follows the server's listing from the first start
// on: the list is news to the front end at every change, and while the user
// wants a device (started, not stopped) the first one that becomes ready is
// streamed without being asked for again.
// What the user must be told or asked goes to the front end through
// LogSessionDelegate; the front end words it.
//
// Threads: the session's own thread (the main thread); every delegate call
// arrives there. Its run owns an I/O thread and its device listing another
// (see LogRun, DeviceListDatasource); a session shares no thread with
// another session, so several run side by side in one process.

#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>

#include "core/adb/delegates.h"
#include "core/adb/endpoint.h"
#include "core/session/adbstart.h"
#include "core/session/conversations.h"
#include "core/session/logrun.h"

namespace vf {

class LogDatasource;

// What the session asks of the ADB server outside a run. Main thread.
class SessionAdb {
public:
    virtual ~SessionAdb() = default;
    // Ends in the delegate's onDevicesConnected or onDeviceListFailed, and
    // later onDeviceModel calls, on the main thread.
    virtual void loadDeviceList(DeviceListDelegate* delegate) = 0;
    // Completion on the main thread: whether the server now runs.
    virtual void startAdb(std::function<void(bool)> completion) = 0;
    // From now on every change of the listing ends in the delegate's
    // onDevicesConnected too. Without it the session sees listings it asked for only.
    virtual void trackDevices(DeviceListDelegate* delegate) { (void)delegate; }
};

// The real thing: the device listing and "adb start-server" for the
// endpoint that `endpoint` gives at each call (a changed server takes
// effect at the next listing).
std::unique_ptr<SessionAdb> makeAdbSessionAdb(std::function<AdbEndpoint()> endpoint);

// What the front end is told. `deviceId` names the device concerned (empty
// when none); `record` is its listing when there is one.
struct SessionNotice {
    enum Kind {
        StartingAdb,      // no server answered: starting one
        AdbStarted,       // it started; the session goes on
        AdbNotRunning,    // none answers, and starting one did not help
        NoDevice,         // nothing attached
        SerialNotListed,  // the device asked for is not attached
        DeviceNotFound,   // the server no longer knows the device
        NotAuthorized,    // allow debugging on the device
        NoPermissions,    // the host may not open the USB device
        NotStreamable,    // recovery, sideload, bootloader ...: no log
        DeviceOffline,    // listed but not answering: waiting for it
        UnexpectedReply,  // the server's reply made no sense
    };
    Kind kind;
    QString deviceId;
    std::optional<DeviceRecord> record;
};

class LogSessionDelegate {
public:
    virtual ~LogSessionDelegate() = default;
    // Main thread: a run started on `deviceId` (the store was cleared first
    // when it is not the device of the run before).
    virtual void onLoggerStarted(const QString& deviceId) = 0;
    // Main thread: the run ended; isWaiting() says whether the session
    // reconnects.
    virtual void onLoggerStopped() = 0;
    // Main thread: several devices are attached; answer with useDevice(),
    // or not at all.
    virtual void chooseDevice(const DeviceList& devices) = 0;
    // Main thread.
    virtual void onDeviceModel(const QString& deviceId, const QString& model) = 0;
    // Main thread: the attached devices changed (devices()).
    virtual void onDevicesChanged() {}
    // Main thread. A notice is given once until something changes (a run
    // starts, or the user starts the session again).
    virtual void onSessionNotice(const SessionNotice& notice) = 0;
};

class LogSession final : public QObject, private DeviceListDelegate, private LogRunDelegate {
    Q_OBJECT
public:
    struct Settings {
        QString serial;                 // the device to stream; empty: the rule decides
        bool reconnect = true;          // follow a lost device
        int reconnectIntervalMs = 5000;
        bool trackDevices = false;      // follow devices as they come and go
    };

    // `store` and the delegate outlive the session. The destructor ends the
    // run's and the listing's threads; nothing is reported after it.
    LogSession(LogDatasource& store, std::unique_ptr<SessionAdb> adb, std::shared_ptr<StoreConnector> connector,
               Settings settings, QObject* parent = nullptr);
    ~LogSession() override;

    void setDelegate(LogSessionDelegate* delegate) { delegate_ = delegate; }

    // The user starts streaming: the device in hand, else the one the
    // listing gives.
    void startLogging();
    // Stops, and stops reconnecting.
    void stopLogging();
    // Ends the run only: a session that follows its device reconnects to it
    // as after a lost stream.
    void interruptRun() { run_.stop(); }
    // The Run/Stop button: stops a run, gives up waiting for a lost device,
    // or starts.
    void toggle();
    // The user's choice among several devices.
    void useDevice(const QString& deviceId);
    // Lists the devices again (a changed server, a replugged device).
    void loadDeviceList() { adb_->loadDeviceList(this); }

    bool isLogging() const { return run_.isLogging(); }
    // A device went away, and the session waits for it to come back.
    bool isWaiting() const { return autoReconnect_ && !run_.isLogging(); }
    bool autoReconnect() const { return autoReconnect_; }
    // The user started and no device has been streamed since: the first
    // ready device listed will be.
    bool isSeeking() const { return seeking_ && !run_.isLogging(); }
    // No ADB server answered, and starting one did not help; the next
    // listing that comes through clears it.
    bool isAdbDown() const { return adbDown_; }
    // The device being streamed (or about to be); empty when none.
    QString deviceId() const;
    std::optional<QString> lastDeviceId() const { return lastDeviceId_; }
    std::optional<DeviceRecord> device(const QString& deviceId) const;
    QList<DeviceRecord> devices() const { return devices_.values(); }
    QTimer* reconnectTimer() { return &reconnectTimer_; }
    // A file replaced the log: the next device starts a fresh one.
    void forgetLastDevice() { lastDeviceId_.reset(); }

private:
    // DeviceListDelegate.
    void onDevicesConnected(const DeviceList& devices) override;
    void onDeviceModel(const QString& deviceId, const QString& model) override;
    void onDeviceListFailed(DeviceListFailure failure) override;
    // LogRunDelegate.
    void onRunStarted() override;
    void onRunEnded(RunEnd how, const Error& error) override;

    // Lists the devices again, or starts the device in hand: the retry
    // timer's and the started server's way on.
    void resume();
    void startRun(const QString& deviceId);
    void waitFor(const QString& deviceId);
    void adbNotRunning();
    void tell(SessionNotice::Kind kind, const QString& deviceId = {});
    void keepWaiting();

    LogDatasource& store_;
    std::unique_ptr<SessionAdb> adb_;
    Settings settings_;
    LogRun run_;
    LogSessionDelegate* delegate_ = nullptr;
    QTimer reconnectTimer_;

    QMap<QString, DeviceRecord> devices_;
    QString nextDevice_;                  // chosen, run not yet started
    std::optional<QString> lastDeviceId_;  // the device of the last run
    bool autoReconnect_ = false;
    bool seeking_ = false;  // the user started and no run has begun since
    bool tracking_ = false;
    bool adbDown_ = false;
    AdbStartOnce adbStart_;
    std::optional<std::pair<int, QString>> lastNotice_;  // said once until something changes
};

}  // namespace vf
