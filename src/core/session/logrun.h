#pragma once
// LogRun: logging runs on one store. A run streams one device's log into the
// store and reads the device's process table whenever the store meets rows
// of processes it cannot name (at most one lookup in flight, and at most
// one started a second: ProcessLookup). Each run reports its start and
// exactly one end.
//
// Threads: start(), stop(), the accessors and every LogRunDelegate call are
// on the run's own thread (the main thread). The run owns an I/O thread on
// which its conversations live and the store takes in the lines
// (LogRunWorker); hand-overs both ways are queued calls.

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

#include "core/session/conversations.h"
#include "core/session/logrunworker.h"
#include "core/support/error.h"
#include "core/support/threads.h"

namespace vf {

class LogDatasource;

class LogRunDelegate {
public:
    virtual ~LogRunDelegate() = default;
    // The run's thread.
    virtual void onRunStarted() = 0;
    // The run's thread; `error` is the server's refusal when there was one.
    virtual void onRunEnded(RunEnd how, const Error& error) = 0;
};

class LogRun final : public QObject {
    Q_OBJECT
public:
    // `store` outlives the run. The destructor ends the I/O thread (its
    // conversations are deleted there); nothing reaches the store or the
    // delegate after it.
    LogRun(LogDatasource& store, std::shared_ptr<StoreConnector> connector, QObject* parent = nullptr);
    ~LogRun() override;

    // Non-owning; the delegate outlives the run.
    void setDelegate(LogRunDelegate* delegate) { delegate_ = delegate; }
    // Replaces the monotonic clock (milliseconds) of the lookup rate (tests).
    // It is called on the I/O thread.
    void setClock(std::function<int64_t()> nowMs);

    // Streams `deviceId` (it must not be empty); with `since` (a device
    // time) only the lines logged from then on. Ignored while a run goes on.
    void start(const QString& deviceId, const QString& since = {});
    // Ends the run in progress; onRunEnded(Closed) follows.
    void stop();
    bool isLogging() const { return logging_; }
    // The device of the run in progress, or of the last one.
    QString deviceId() const { return deviceId_; }

private:
    void runStarted(quint64 run);
    void runEnded(quint64 run, RunEnd how, const Error& error);

    LogDatasource& store_;
    LogRunDelegate* delegate_ = nullptr;
    OwnedThread thread_;
    LogRunWorker* worker_;  // lives on thread_, deleted there
    QString deviceId_;
    quint64 run_ = 0;
    bool logging_ = false;
};

}  // namespace vf
