#pragma once
// LogRun: the ADB conversations of logging runs on one store. A run streams
// one device's log into the store and reads the device's process table
// whenever the store meets rows of processes it cannot name: at most one
// lookup in flight, and at most one started a second. The first report of
// a run's end wins; later ones (a refused request is followed by the
// connection's close) are ignored.
//
// Threads: start(), stop() and the accessors run on the main thread (the
// run's own thread). The conversations report on the I/O thread, where the
// reader delegate calls run; the run hands the lines to the store there.
// Every LogRunDelegate call arrives on the main thread.

#include <QObject>
#include <QString>
#include <QTimer>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "core/adb/delegates.h"
#include "core/adb/processtable.h"
#include "core/session/conversations.h"
#include "core/support/error.h"

namespace vf {

class LogDatasource;

// How a run ended.
enum class RunEnd {
    Closed,           // the stream closed (unplugged, stopped, server gone)
    AdbNotRunning,    // no server to connect to
    DeviceNotFound,   // the server does not know the device
    MultipleDevices,  // a request without a serial met several devices
    Unauthorized,     // the device has not allowed debugging from this host
    Offline,          // the device is listed but does not answer
    UnexpectedReply,  // the server's reply broke off or made no sense
    Failed,           // any other refusal
};

class LogRunDelegate {
public:
    virtual ~LogRunDelegate() = default;
    // Main thread.
    virtual void onRunStarted() = 0;
    // Main thread; `error` is the server's refusal when there was one.
    virtual void onRunEnded(RunEnd how, const Error& error) = 0;
};

class LogRun final : public QObject, private LogReaderDelegate, private PidReaderDelegate {
    Q_OBJECT
public:
    // Main thread. The destructor stops and deletes the conversations on the
    // I/O thread (waiting); no report reaches the store or the delegate
    // after it.
    LogRun(LogDatasource& store, std::shared_ptr<StoreConnector> connector, QObject* parent = nullptr);
    ~LogRun() override;

    // Non-owning; the delegate outlives the run.
    void setDelegate(LogRunDelegate* delegate) { delegate_ = delegate; }
    // Replaces the monotonic clock (milliseconds) of the lookup rate (tests).
    void setClock(std::function<int64_t()> nowMs) { clock_ = std::move(nowMs); }

    // Streams `deviceId` (it must not be empty). Ignored while a run goes on.
    void start(const QString& deviceId);
    // Ends the run in progress; onRunEnded(Closed) follows.
    void stop();
    bool isLogging() const { return logging_; }
    // The device of the run in progress, or of the last one.
    QString deviceId() const;

private:
    // LogReaderDelegate and PidReaderDelegate: the I/O thread.
    void logLineReceived(std::string_view line) override;
    void logReaderFinished(const AdbResult& result) override;
    void pidReceived(const QByteArray& output) override;

    // I/O thread.
    void connectReader();
    void wantNames();
    void lookupStep(const std::function<bool(ProcessLookupLimiter&, int64_t)>& decide);
    void startLookup();
    void scheduleLookup(std::optional<int64_t> dueAt);
    void end(RunEnd how, const Error& error, bool fromTable = false);
    void statusRow(const QString& text, const QString& level = QStringLiteral("I"));
    // Main thread.
    void pollLookup();
    void reportEnd(RunEnd how, const Error& error);

    LogDatasource& store_;
    const std::shared_ptr<StoreConnector> connector_;
    LogRunDelegate* delegate_ = nullptr;
    std::function<int64_t()> clock_;
    ConversationSlots conversations_;
    QTimer lookupTimer_;  // main thread: a lookup that has to wait for the rate

    mutable std::mutex mutex_;  // guards the members below
    QString deviceId_;
    ProcessLookupLimiter limiter_;
    bool ended_ = true;  // the current run has reported its end

    std::atomic<bool> logging_{false};
    std::atomic<bool> closing_{false};
};

}  // namespace vf
