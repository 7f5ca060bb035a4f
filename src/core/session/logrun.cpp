#include "core/session/logrun.h"

#include "core/log/logdatasource.h"
#include "core/support/logger.h"

namespace vf {

LogRun::LogRun(LogDatasource& store, std::shared_ptr<StoreConnector> connector, QObject* parent)
    : QObject(parent), store_(store), thread_(startOwnedThread(QStringLiteral("vf-run"))),
      worker_(adoptWorker(*thread_, new LogRunWorker(store, std::move(connector)))) {
    QObject::connect(worker_, &LogRunWorker::started, this, &LogRun::runStarted);
    QObject::connect(worker_, &LogRunWorker::ended, this, &LogRun::runEnded);
}

LogRun::~LogRun() = default;

void LogRun::setClock(std::function<int64_t()> nowMs) {
    QMetaObject::invokeMethod(
        worker_, [worker = worker_, nowMs = std::move(nowMs)] { worker->setClock(nowMs); }, Qt::QueuedConnection);
}

void LogRun::start(const QString& deviceId, const QString& since) {
    VF_ASSERT_THREAD(this);
    if (logging_) {
        VF_LOG("ERROR: startLogger called but it was already running.");
        return;
    }
    logging_ = true;
    deviceId_ = deviceId;
    const quint64 run = ++run_;
    store_.beginRun();
    QMetaObject::invokeMethod(
        worker_, [worker = worker_, run, deviceId, since] { worker->begin(run, deviceId, since); },
        Qt::QueuedConnection);
}

void LogRun::stop() {
    VF_ASSERT_THREAD(this);
    if (!logging_) {
        VF_LOG("already stopped");
        return;
    }
    VF_LOG("deviceId:{}", deviceId_);
    logging_ = false;
    QMetaObject::invokeMethod(worker_, [worker = worker_, run = run_] { worker->stop(run); }, Qt::QueuedConnection);
}

void LogRun::runStarted(quint64 run) {
    if (run == run_ && delegate_ != nullptr) delegate_->onRunStarted();
}

void LogRun::runEnded(quint64 run, RunEnd how, const Error& error) {
    // An earlier run's end still counts for the delegate; only the current
    // run's end stops the logging.
    if (run == run_) logging_ = false;
    if (delegate_ != nullptr) delegate_->onRunEnded(how, error);
}

}  // namespace vf
