#pragma once
// LogRunWorker: the I/O side of a LogRun. It lives on the run's own I/O
// thread, holds the run's conversations (the stream and the process-table
// lookups), hands the lines and the tables to the store there, asks for
// process names as the ProcessLookup policy allows, and reports the start
// and the one end of each run with queued signals.
//
// Threads: made on the run's thread, then adopted by the I/O thread; every
// member runs there (LogRun queues its calls) and it is deleted there when
// the thread ends. It never waits for another thread.

#include <QObject>
#include <QString>
#include <QTimer>
#include <functional>
#include <memory>

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

class LogRunWorker final : public QObject, private LogReaderDelegate, private ShellCommandDelegate {
    Q_OBJECT
public:
    LogRunWorker(LogDatasource& store, std::shared_ptr<StoreConnector> connector);
    ~LogRunWorker() override;

    // Replaces the monotonic clock (milliseconds) of the lookup rate.
    void setClock(std::function<int64_t()> nowMs) { clock_ = std::move(nowMs); }
    // Streams `deviceId` as run `run` (from the device time `since` when it
    // is given); a run still going ends first.
    void begin(quint64 run, const QString& deviceId, const QString& since = {});
    // Ends run `run` when it is the one going; ended() follows.
    void stop(quint64 run);

Q_SIGNALS:
    void started(quint64 run);
    // Once per run. `error` is the server's refusal when there was one.
    void ended(quint64 run, vf::RunEnd how, const vf::Error& error);

private:
    // LogReaderDelegate and ShellCommandDelegate.
    void logLineReceived(std::string_view line) override;
    void logReaderFinished(const AdbResult& result) override;
    void shellCommandFinished(const QString& deviceId, const QByteArray& output, const AdbResult& result) override;

    void send(const std::optional<LookupRequest>& request);
    void finish(RunEnd how, const Error& error);

    LogDatasource& store_;
    const std::shared_ptr<StoreConnector> connector_;
    std::function<int64_t()> clock_;
    ProcessLookup lookup_;
    QTimer lookupTimer_;  // a lookup that waits for the rate
    std::unique_ptr<StoreConversation> stream_;
    std::unique_ptr<StoreConversation> table_;
    QString deviceId_;
    quint64 run_ = 0;
    bool running_ = false;  // run_ has not ended
};

}  // namespace vf
