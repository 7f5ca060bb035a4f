#include "core/session/logrunworker.h"

#include <chrono>

#include "core/adb/devicestate.h"
#include "core/log/logdatasource.h"
#include "core/support/logger.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {

int64_t steadyNowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// What a refusal of the stream request means for the run.
RunEnd endOfRefusal(const Error& error) {
    switch (adbFailureKind(error.failureReason)) {
        case AdbFailureKind::DeviceNotFound:
            return RunEnd::DeviceNotFound;
        case AdbFailureKind::Unauthorized:
            return RunEnd::Unauthorized;
        case AdbFailureKind::Offline:
            return RunEnd::Offline;
        case AdbFailureKind::MoreThanOneDevice:
            return RunEnd::MultipleDevices;
        case AdbFailureKind::Other:
            break;
    }
    return RunEnd::Failed;
}

}  // namespace

LogRunWorker::LogRunWorker(LogDatasource& store, std::shared_ptr<StoreConnector> connector)
    : store_(store), connector_(std::move(connector)), clock_(steadyNowMs), lookup_([this] { return clock_(); }),
      lookupTimer_(this) {
    lookupTimer_.setSingleShot(true);
    QObject::connect(&lookupTimer_, &QTimer::timeout, this, [this] { send(lookup_.poll()); });
}

// The conversations' readers are children: they go with this object.
LogRunWorker::~LogRunWorker() = default;

void LogRunWorker::begin(quint64 run, const QString& deviceId, const QString& since) {
    if (running_) finish(RunEnd::Closed, {});  // stopped, its end not in yet
    run_ = run;
    deviceId_ = deviceId;
    running_ = true;
    lookup_.beginRun(deviceId);
    // The names first: the first rows then find most of them known.
    send(lookup_.want());
    stream_ = connector_->connectLogReader(this, deviceId, since, this);
    VF_LOG("connecting to:{}, since:{}", deviceId, since);
    Q_EMIT started(run);
}

void LogRunWorker::stop(quint64 run) {
    if (run == run_ && running_ && stream_) stream_->stop();
}

void LogRunWorker::logLineReceived(std::string_view line) {
    if (running_ && store_.addLiveLine(line)) send(lookup_.want());
}

void LogRunWorker::logReaderFinished(const AdbResult& result) {
    const Error error = result.error.value_or(Error{});
    switch (result.outcome) {
        case AdbOutcome::Done:
        case AdbOutcome::Stopped:
            return finish(RunEnd::Closed, {});
        case AdbOutcome::AdbNotRunning:
            return finish(RunEnd::AdbNotRunning, error);
        case AdbOutcome::UnexpectedReply:
            if (running_) store_.logMessage(error.description, u"E"_s);
            return finish(RunEnd::UnexpectedReply, error);
        case AdbOutcome::Refused:
            return finish(endOfRefusal(error), error);
    }
}

void LogRunWorker::shellCommandFinished(const QString&, const QByteArray& output, const AdbResult&) {
    if (!running_) return;
    const std::optional<ProcessTable> table =
        output.isEmpty() ? std::nullopt : std::optional<ProcessTable>(parseProcessTable(output));
    store_.takeProcessTable(table.value_or(ProcessTable{}));
    if (table && table->abort != PsAbort::None) {
        finish(table->abort == PsAbort::MultipleDevices ? RunEnd::MultipleDevices : RunEnd::DeviceNotFound, {});
        // The stream ends too; its report comes to a run that has ended.
        if (stream_) stream_->stop();
        return;
    }
    send(lookup_.finished(table));
}

// Sends the request the policy gave, or waits for the time it names.
void LogRunWorker::send(const std::optional<LookupRequest>& request) {
    if (!running_) return;
    if (!request) {
        if (const std::optional<int64_t> due = lookup_.dueInMs(); due && !lookupTimer_.isActive())
            lookupTimer_.start(int(*due));
        return;
    }
    store_.beginNameLookup();
    table_ = connector_->connectShellCommand(this, deviceId_, request->service, this);
}

void LogRunWorker::finish(RunEnd how, const Error& error) {
    if (!running_) return;
    running_ = false;
    VF_LOG("deviceId:{}, end:{}", deviceId_, int(how));
    switch (how) {
        case RunEnd::AdbNotRunning:
            store_.logMessage(u"ADB not running. In terminal run \"ADB start-server\""_s, u"E"_s);
            break;
        case RunEnd::DeviceNotFound:
            store_.logMessage(u"No Android device found. Make sure it is connected and developer mode is enabled."_s,
                              u"E"_s);
            break;
        default:
            store_.logMessage(deviceId_.isEmpty() ? u"Disconnected"_s : u"Disconnected. "_s + deviceId_);
    }
    lookupTimer_.stop();
    table_.reset();
    store_.endRun();
    Q_EMIT ended(run_, how, error);
}

}  // namespace vf
