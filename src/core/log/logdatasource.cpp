#include "core/log/logdatasource.h"

#include <QDateTime>
#include <QMutex>
#include <QTimer>

#include "core/adb/replyframing.h"
#include "core/log/filterpass.h"
#include "core/log/logparser.h"
#include "core/log/pidnames.h"
#include "core/log/pstable.h"
#include "core/log/rowstore.h"
#include "core/support/logger.h"
#include "core/support/threads.h"

namespace vf {

namespace {
constexpr int kQueueTimerMs = 500;
}  // namespace

struct LogDatasource::Impl {
    LogDatasourceDelegate* delegate = nullptr;
    std::shared_ptr<StoreConnector> connector;
    std::function<qint64()> clock = [] { return QDateTime::currentMSecsSinceEpoch(); };

    mutable QMutex deviceMutex;
    QString deviceId;
    std::atomic<bool> isLogging{false};
    std::atomic<uint64_t> counter{0};

    RowStore rows;
    PidNames names;
    FilterRunner filters;
    ConversationSlots conversations;
    RowIndexSource nextIndex;
    AppNameLookup appLookup;

    // Main thread only.
    QTimer* queueTimer = nullptr;  // a child of the store
    ListMark lastNotice;

    std::atomic<bool> updatePending{false};
    std::atomic<bool> closing{false};
};

LogDatasource::LogDatasource(std::shared_ptr<StoreConnector> connector, QObject* parent)
    : QObject(parent), d(std::make_unique<Impl>()) {
    d->connector = std::move(connector);
    d->nextIndex = [this] { return getIndex(); };
    d->appLookup = [this](std::string_view pid, std::string& out) { return d->names.lookup(pid, out); };
    d->queueTimer = new QTimer(this);
    d->queueTimer->setInterval(kQueueTimerMs);
    QObject::connect(d->queueTimer, &QTimer::timeout, this, [this] { onQueueCheckTimerTick(); });
}

LogDatasource::~LogDatasource() {
    d->closing = true;
    d->queueTimer->stop();
    d->filters.cancelAndWait();
    if (QCoreApplication::instance() == nullptr) return;
    // No callback may reach the store once it is gone: the conversations are
    // stopped and deleted on their own thread before the store's state goes.
    runOnIoThreadBlocking([this] { d->conversations.closeAll(); });
}

void LogDatasource::setDelegate(LogDatasourceDelegate* delegate) { d->delegate = delegate; }

void LogDatasource::setClock(std::function<qint64()> nowMs) { d->clock = std::move(nowMs); }

QString LogDatasource::deviceId() const {
    QMutexLocker lock(&d->deviceMutex);
    return d->deviceId;
}

void LogDatasource::setDeviceId(const QString& deviceId) {
    QMutexLocker lock(&d->deviceMutex);
    d->deviceId = deviceId;
}

bool LogDatasource::isLogging() const { return d->isLogging.load(); }

uint64_t LogDatasource::getIndex() { return d->counter.fetch_add(1, std::memory_order_relaxed); }

// ---------------------------------------------------------------------------
// Run lifecycle

void LogDatasource::startLogger() {
    VF_ASSERT_THREAD(this);
    if (d->isLogging) {
        VF_LOG("ERROR: startLogger called but it was already running.");
        return;
    }
    d->isLogging = true;
    d->rows.beginRun(d->clock());
    runOnIoThread([this] {
        if (!d->closing) internalStartLogger();
    });
    d->queueTimer->start();
}

void LogDatasource::internalStartLogger() {
    if (!d->connector) return;
    loadPID();
    const QString device = deviceId();
    d->conversations.install(ConversationSlots::LogReaderSlot, d->connector->connectLogReader(this, device));
    VF_LOG("connecting to:{}", device);
    postToMain([this] { notifyLoggerStarted(); });
}

void LogDatasource::stopLogger() {
    // Every end of a run stops the flush timer, also one that ended by itself.
    cancelQueueTimer();
    if (!d->isLogging) {
        VF_LOG("already stopped");
        return;
    }
    VF_LOG("isLogging:{}, deviceId:{}", int(d->isLogging.load()), deviceId());
    if (auto reader = d->conversations.current(ConversationSlots::LogReaderSlot)) reader->stop();
    d->isLogging = false;
}

void LogDatasource::cancelQueueTimer() {
    if (isMainThread()) {
        d->queueTimer->stop();
    } else {
        postToMain([this] { d->queueTimer->stop(); });
    }
}

void LogDatasource::onQueueCheckTimerTick() {
    if (!d->closing && d->rows.takePendingNotice(d->clock())) notifyDataChanged();
}

void LogDatasource::logReaderStopped() {
    VF_LOG("deviceId:{}", deviceId());
    d->isLogging = false;
    const QString device = deviceId();
    logMessage(device.isEmpty() ? QStringLiteral("Disconnected") : QStringLiteral("Disconnected. ") + device);
    postToMain([this] { notifyLoggerStopped(); });
    stopLogger();
}

void LogDatasource::logReaderStoppedWithError(const Error& error) {
    if (error.code == kUnexpectedReplyCode) logMessage(error.description, QStringLiteral("E"));
    if (error.failureReason.contains(QStringLiteral("more than one device"))) {
        runOnMainWaiting([this] {
            notifyMultipleDevicesConnected();
            stopLogger();
        });
    }
    logReaderStopped();
}

void LogDatasource::adbNotRunningError(const Error& error) {
    stopLogger();
    logMessage(QStringLiteral("ADB not running. In terminal run \"ADB start-server\""), QStringLiteral("E"));
    reportStoppedOnMain(error, true);
}

void LogDatasource::adbDeviceNotFound(const Error& error) {
    stopLogger();
    logMessage(QStringLiteral("No Android device found. Make sure it is connected and developer mode is enabled."),
               QStringLiteral("E"));
    reportStoppedOnMain(error, false);
}

void LogDatasource::reportStoppedOnMain(const Error& error, bool notRunning) {
    setDeviceId(QString());
    d->conversations.install(ConversationSlots::PidReaderSlot, nullptr);
    postToMain([this, error, notRunning] {
        if (d->delegate == nullptr) return;
        if (notRunning) d->delegate->adbNotRunningError(error);
        else d->delegate->adbDeviceNotFound(error);
    });
}

// ---------------------------------------------------------------------------
// Live lines and process names

void LogDatasource::logLineReceived(std::optional<std::string_view> line) {
    if (!line || line->empty()) return;
    RowArena& arena = d->rows.producerArena();
    const std::string_view text = arena.copyLine(*line);
    RowPtr row = parseThreadTimeLine(arena, text, LogLineFormat::ThreadTimeLive, d->nextIndex, d->appLookup);
    if (!row) return;
    const qint64 now = d->clock();
    const RowStore::Added added = d->rows.addLive(row, now);
    if (!added.stored) return;
    const bool wantLookup = row->app().empty() && d->names.holdUnnamed(row, now);
    if (added.notify) notifyDataChanged();
    if (wantLookup) loadPID();
}

void LogDatasource::loadPID() {
    if (!d->names.beginLookup(d->clock())) return;
    auto connect = [this, device = deviceId()] {
        if (d->closing || !d->connector) return;
        d->conversations.install(ConversationSlots::PidReaderSlot, d->connector->connectPidReader(this, device));
    };
    if (QThread::currentThread() == ioThread()) {
        connect();
    } else {
        runOnIoThread(connect);
    }
}

void LogDatasource::pidReceived(const QString& text) {
    const PsTable table = parsePsText(text);
    const bool again = d->names.endLookup(table);
    switch (table.abort) {
        case PsAbort::MultipleDevices:
            return stopForAbort(true);
        case PsAbort::DeviceNotFound:
            return stopForAbort(false);
        case PsAbort::None:
            break;
    }
    if (again) loadPID();
}

void LogDatasource::stopForAbort(bool multipleDevices) {
    d->isLogging = false;
    runOnMainWaiting([this, multipleDevices] {
        if (multipleDevices) {
            notifyMultipleDevicesConnected();
        } else {
            notifyDeviceNotFound();
        }
        stopLogger();
    });
}

QString LogDatasource::appNameForPid(const QString& pid) const { return d->names.appName(pid); }

void LogDatasource::setAppName(const QString& name, const QString& pid) {
    const std::string pidKey = pid.toStdString();
    const std::string nameValue = name.toStdString();
    d->names.setUserName(pidKey, nameValue);
    const int found = d->rows.setApp(pidKey, nameValue);
    VF_LOG("name:{}, pid:{}, found:{}", name, pid, found);
    runOnMainWaiting([this] { notifyLogUpdated(); });
}

// ---------------------------------------------------------------------------
// Contents

void LogDatasource::clearLog() {
    VF_LOG("clearLog");
    d->names.clear();
    d->rows.clear();
    if (isMainThread()) {
        notifyLogUpdated();
    } else {
        postToMain([this] { notifyLogUpdated(); });
    }
}

void LogDatasource::logMessage(const QString& text, const QString& level) {
    RowValues values;
    values.idx = getIndex();
    values.time = QDateTime::fromMSecsSinceEpoch(d->clock()).toString(QStringLiteral("MM-dd HH:mm:ss.zzz")).toStdString();
    values.app = "Vellumfox";
    values.pid = "---";
    values.tid = "---";
    values.type = level.toStdString();
    values.name = "---";
    values.text = text.toStdString();
    d->rows.addMessage(values);
    runOnMainWaiting([this] { notifyLogUpdated(); });
}

std::optional<RowList> LogDatasource::readTextFile(const QString& path) {
    clearLog();
    return vf::readTextFile(path, d->nextIndex);
}

void LogDatasource::setLogDataFromFile(RowList rows) {
    VF_ASSERT_THREAD(this);
    stopLogger();
    d->rows.loadRows(std::move(rows));  // the list is moved, not copied
    postToMain([this] { notifyLogUpdated(); });
}

RowList LogDatasource::getDataFiltered() const { return d->rows.filtered().rows; }
RowList LogDatasource::getDataAll() const { return d->rows.all().rows; }
MarkedRows LogDatasource::filteredRows() const { return d->rows.filtered(); }
MarkedRows LogDatasource::allRows() const { return d->rows.all(); }
qsizetype LogDatasource::logEventCount() const { return d->rows.count(); }

// ---------------------------------------------------------------------------
// Filtering

PredicatePtr LogDatasource::logDataFilter() const { return d->rows.filter(); }

void LogDatasource::setLogDataFilter(PredicatePtr filter) {
    d->filters.start([this, filter = std::move(filter)](const std::atomic<bool>& cancelled) {
        applyFilter(filter, cancelled);
    });
}

void LogDatasource::applyFilter(const PredicatePtr& filter, const std::atomic<bool>& cancelled) {
    if (!filter) {
        d->rows.clearFilter(cancelled);
        if (!cancelled) postToMain([this] { notifyLogUpdated(); });
        return;
    }
    const MarkedRows snapshot = d->rows.all();
    FullPassResult pass = runFullPass(snapshot.rows, *filter, cancelled);
    const QString error = d->rows.installFilter(filter, std::move(pass), snapshot.mark, cancelled);
    if (cancelled) return;
    if (error.isEmpty()) {
        postToMain([this] { notifyLogUpdated(); });
        return;
    }
    postToMain([this, error] {
        if (d->delegate != nullptr) d->delegate->onFilterCorrupt(error);
    });
}

// ---------------------------------------------------------------------------
// Notifications

void LogDatasource::postToMain(std::function<void()> fn) {
    // Bound to the store: calls still queued when it goes are dropped.
    QMetaObject::invokeMethod(
        this,
        [this, fn = std::move(fn)] {
            if (!d->closing) fn();
        },
        Qt::QueuedConnection);
}

void LogDatasource::runOnMainWaiting(const std::function<void()>& fn) {
    runOnMainThreadBlocking([this, &fn] {
        if (!d->closing) fn();
    });
}

void LogDatasource::notifyDataChanged() {
    if (d->updatePending.exchange(true)) return;
    postToMain([this] {
        d->updatePending = false;
        notifyLogUpdated();
    });
}

#define VF_ASSERT_MAIN() Q_ASSERT_X(isMainThread(), "LogDatasource", "Method can only be called on main thread!")

void LogDatasource::notifyLoggerStarted() {
    VF_ASSERT_MAIN();
    if (d->delegate != nullptr) d->delegate->onLoggerStarted();
}

void LogDatasource::notifyLoggerStopped() {
    VF_ASSERT_MAIN();
    if (d->delegate != nullptr) d->delegate->onLoggerStopped();
}

// The rows to show and what changed since the previous notice.
void LogDatasource::notifyLogUpdated() {
    VF_ASSERT_MAIN();
    MarkedRows shown = d->rows.filtered();
    const StoreChange change = changeBetween(d->lastNotice, shown.mark);
    d->lastNotice = shown.mark;
    if (d->delegate != nullptr) d->delegate->onLogUpdated(LogUpdate{std::move(shown.rows), change});
}

void LogDatasource::notifyMultipleDevicesConnected() {
    VF_ASSERT_MAIN();
    if (d->delegate != nullptr) d->delegate->onMultipleDevicesConnected();
}

void LogDatasource::notifyDeviceNotFound() {
    VF_ASSERT_MAIN();
    if (d->delegate != nullptr) d->delegate->onDeviceNotFound();
}

}  // namespace vf
