#include "core/session/logrun.h"

#include <chrono>

#include "core/adb/devicestate.h"
#include "core/adb/replyframing.h"
#include "core/log/logdatasource.h"
#include "core/log/pstable.h"
#include "core/support/logger.h"
#include "core/support/threads.h"

namespace vf {

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

LogRun::LogRun(LogDatasource& store, std::shared_ptr<StoreConnector> connector, QObject* parent)
    : QObject(parent), store_(store), connector_(std::move(connector)), clock_(steadyNowMs) {
    lookupTimer_.setSingleShot(true);
    QObject::connect(&lookupTimer_, &QTimer::timeout, this, [this] { pollLookup(); });
}

LogRun::~LogRun() {
    closing_ = true;
    lookupTimer_.stop();
    if (QCoreApplication::instance() == nullptr) return;
    // Stopped and deleted on their own thread before the run's state goes;
    // lambdas queued there before this one run first and see closing_.
    runOnIoThreadBlocking([this] { conversations_.closeAll(); });
}

QString LogRun::deviceId() const {
    std::lock_guard lock(mutex_);
    return deviceId_;
}

void LogRun::start(const QString& deviceId) {
    VF_ASSERT_THREAD(this);
    if (logging_) {
        VF_LOG("ERROR: startLogger called but it was already running.");
        return;
    }
    logging_ = true;
    {
        std::lock_guard lock(mutex_);
        deviceId_ = deviceId;
        ended_ = false;
        limiter_.reset();
    }
    store_.beginRun();
    runOnIoThread([this] {
        if (!closing_) connectReader();
    });
}

void LogRun::stop() {
    VF_ASSERT_THREAD(this);
    if (!logging_) {
        VF_LOG("already stopped");
        return;
    }
    VF_LOG("deviceId:{}", deviceId());
    logging_ = false;
    if (auto reader = conversations_.current(ConversationSlots::LogReaderSlot)) reader->stop();
}

void LogRun::connectReader() {
    if (!connector_) return;
    if (!logging_) {
        end(RunEnd::Closed, {});  // stopped before it was connected
        return;
    }
    // The names first: the first rows then find most of them known.
    wantNames();
    const QString device = deviceId();
    conversations_.install(ConversationSlots::LogReaderSlot, connector_->connectLogReader(this, device));
    VF_LOG("connecting to:{}", device);
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (delegate_ != nullptr) delegate_->onRunStarted();
        },
        Qt::QueuedConnection);
}

// ---------------------------------------------------------------------------
// The stream

void LogRun::logLineReceived(std::string_view line) {
    if (store_.addLiveLine(line)) wantNames();
}

void LogRun::logReaderFinished(const AdbResult& result) {
    const Error error = result.error.value_or(Error{});
    switch (result.outcome) {
        case AdbOutcome::Done:
        case AdbOutcome::Stopped:
            return end(RunEnd::Closed, {});
        case AdbOutcome::AdbNotRunning:
            return end(RunEnd::AdbNotRunning, error);
        case AdbOutcome::UnexpectedReply:
            statusRow(error.description, QStringLiteral("E"));
            return end(RunEnd::UnexpectedReply, error);
        case AdbOutcome::Refused:
            return end(endOfRefusal(error), error);
    }
}

void LogRun::end(RunEnd how, const Error& error, bool fromTable) {
    QString device;
    {
        std::lock_guard lock(mutex_);
        if (ended_) return;
        ended_ = true;
        device = deviceId_;
    }
    VF_LOG("deviceId:{}, end:{}", device, int(how));
    logging_ = false;
    switch (how) {
        case RunEnd::AdbNotRunning:
            statusRow(QStringLiteral("ADB not running. In terminal run \"ADB start-server\""), QStringLiteral("E"));
            break;
        case RunEnd::DeviceNotFound:
            statusRow(QStringLiteral("No Android device found. Make sure it is connected and developer mode is enabled."),
                      QStringLiteral("E"));
            break;
        default:
            statusRow(device.isEmpty() ? QStringLiteral("Disconnected") : QStringLiteral("Disconnected. ") + device);
    }
    conversations_.install(ConversationSlots::PidReaderSlot, nullptr);
    // The stream is stopped only when the end came from elsewhere: a reader
    // reporting its own end is closing already, and is not re-entered.
    if (fromTable)
        if (auto reader = conversations_.current(ConversationSlots::LogReaderSlot)) reader->stop();
    store_.endRun();
    QMetaObject::invokeMethod(this, [this, how, error] { reportEnd(how, error); }, Qt::QueuedConnection);
}

void LogRun::reportEnd(RunEnd how, const Error& error) {
    lookupTimer_.stop();
    if (delegate_ != nullptr) delegate_->onRunEnded(how, error);
}

void LogRun::statusRow(const QString& text, const QString& level) {
    if (!closing_) store_.logMessage(text, level);
}

// ---------------------------------------------------------------------------
// Process names

void LogRun::wantNames() {
    lookupStep([](ProcessLookupLimiter& limiter, int64_t now) { return limiter.request(now); });
}

// Asks the limiter under the lock, then starts the lookup it allows or
// waits for the time it names.
void LogRun::lookupStep(const std::function<bool(ProcessLookupLimiter&, int64_t)>& decide) {
    bool start = false;
    std::optional<int64_t> due;
    {
        std::lock_guard lock(mutex_);
        if (ended_) return;
        start = decide(limiter_, clock_());
        due = limiter_.dueAt();
    }
    if (start) startLookup();
    else scheduleLookup(due);
}

void LogRun::startLookup() {
    if (closing_ || !connector_) return;
    store_.beginNameLookup();
    conversations_.install(ConversationSlots::PidReaderSlot, connector_->connectPidReader(this, deviceId()));
}

void LogRun::scheduleLookup(std::optional<int64_t> dueAt) {
    if (!dueAt) return;
    const int delay = int(std::max<int64_t>(0, *dueAt - clock_()));
    QMetaObject::invokeMethod(
        this,
        [this, delay] {
            if (!lookupTimer_.isActive()) lookupTimer_.start(delay);
        },
        Qt::QueuedConnection);
}

void LogRun::pollLookup() {
    runOnIoThread([this] {
        if (!closing_) lookupStep([](ProcessLookupLimiter& limiter, int64_t now) { return limiter.pollDue(now); });
    });
}

void LogRun::pidReceived(const QByteArray& output) {
    const PsTable table = parsePsText(output);
    store_.takeProcessTable(table);
    switch (table.abort) {
        case PsAbort::MultipleDevices:
            return end(RunEnd::MultipleDevices, {}, true);
        case PsAbort::DeviceNotFound:
            return end(RunEnd::DeviceNotFound, {}, true);
        case PsAbort::None:
            break;
    }
    lookupStep([](ProcessLookupLimiter& limiter, int64_t now) { return limiter.finished(now); });
}

}  // namespace vf
