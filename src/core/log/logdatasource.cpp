#include "core/log/logdatasource.h"

#include <QDateTime>
#include <QFuture>
#include <QMutex>
#include <QThreadPool>
#include <QTimer>
#include <QtConcurrent/QtConcurrentMap>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <vector>
#include <atomic>
#include <mutex>
#include <string>
#include <unordered_map>

#include "core/adb/replyframing.h"
#include "core/adb/logreader.h"
#include "core/adb/pidreader.h"
#include "core/log/boundedbuffer.h"
#include "core/log/logparser.h"
#include "core/support/logger.h"
#include "core/support/strings.h"
#include "core/support/threads.h"

namespace vf {

namespace {

constexpr qint64 kReplayGuardMs = 30000;
constexpr qint64 kNotifyIntervalMs = 250;
constexpr int kQueueTimerMs = 500;
constexpr qsizetype kLiveCapacity = 20000;
// A superseded filter pass gives up at the next check; checks are this far apart.
constexpr qsizetype kCancelCheckRows = 4096;
// Smaller passes run on one thread.
constexpr qsizetype kMinChunkRows = 32768;

struct StringHash {
    using is_transparent = void;
    size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>{}(s); }
};
using PidMap = std::unordered_map<std::string, std::string, StringHash, std::equal_to<>>;

// Rows of a pid whose application is not known yet, and when the pid was first seen.
struct UnknownPid {
    qint64 firstSeenMs = 0;
    RowList rows;
};
using UnknownLogs = std::unordered_map<std::string, UnknownPid, StringHash, std::equal_to<>>;

std::string toStd(const QString& s) { return s.toStdString(); }

// The real ADB conversations behind the store's seam. Destroying one on its
// own thread closes it without any further report.
template <class Reader, class Delegate>
class AdbConversation final : public StoreConversation {
public:
    AdbConversation(Delegate* delegate, const QString& deviceId) : reader_(new Reader()) {
        reader_->setDelegate(delegate);
        reader_->setDeviceId(deviceId);
        reader_->connect();
    }
    void stop() override { reader_->stop(); }

private:
    std::unique_ptr<Reader> reader_;
};

class AdbConnector final : public StoreConnector {
public:
    std::unique_ptr<StoreConversation> connectLogReader(LogReaderDelegate* delegate,
                                                        const QString& deviceId) override {
        return std::make_unique<AdbConversation<LogReader, LogReaderDelegate>>(delegate, deviceId);
    }
    std::unique_ptr<StoreConversation> connectPidReader(PidReaderDelegate* delegate,
                                                        const QString& deviceId) override {
        return std::make_unique<AdbConversation<PidReader, PidReaderDelegate>>(delegate, deviceId);
    }
};

// Conversations are deleted on the I/O thread only.
std::shared_ptr<StoreConversation> shareConversation(std::unique_ptr<StoreConversation> conversation) {
    return std::shared_ptr<StoreConversation>(conversation.release(), [](StoreConversation* c) {
        if (QThread::currentThread() == ioThread()) {
            delete c;
        } else {
            runOnIoThread([c] { delete c; });
        }
    });
}

// Replaced conversations wait here until the I/O thread's queue gets to
// them, so that none is deleted inside one of its own callbacks; the store's
// destructor empties it at once.
struct Graveyard {
    std::mutex mutex;
    std::vector<std::shared_ptr<StoreConversation>> conversations;

    void retire(const std::shared_ptr<Graveyard>& self, std::shared_ptr<StoreConversation> conversation) {
        if (!conversation) return;
        StoreConversation* raw = conversation.get();
        {
            std::lock_guard lock(mutex);
            conversations.push_back(std::move(conversation));
        }
        runOnIoThread([self, raw] { self->bury(raw); });
    }
    void bury(StoreConversation* raw) {
        std::shared_ptr<StoreConversation> dead;
        std::lock_guard lock(mutex);
        const auto it = std::find_if(conversations.begin(), conversations.end(),
                                     [raw](const auto& c) { return c.get() == raw; });
        if (it == conversations.end()) return;
        dead = std::move(*it);
        conversations.erase(it);
    }
    std::vector<std::shared_ptr<StoreConversation>> takeAll() {
        std::lock_guard lock(mutex);
        return std::exchange(conversations, {});
    }
};

bool isNewline(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

}  // namespace

struct LogDatasource::Impl {
    LogDatasourceDelegate* delegate = nullptr;
    std::shared_ptr<StoreConnector> connector = std::make_shared<AdbConnector>();
    std::function<qint64()> clock = [] { return QDateTime::currentMSecsSinceEpoch(); };

    mutable QMutex deviceMutex;
    QString deviceId;
    std::atomic<bool> isLogging{false};
    std::atomic<qint64> startTimeMs{0};
    std::atomic<bool> hasStartTime{false};
    std::atomic<uint64_t> counter{0};

    // Pid-map lock: the two maps and the lookup fields.
    mutable std::mutex pidMutex;
    PidMap pidMap;
    PidMap userDefinedPidMap;
    bool pidLookupRunning = false;
    bool pidNeedsLookup = false;
    qint64 pidLookupTime = 0;

    // Row lock: the buffers, unknownLogs, the filter and the notification counters.
    mutable std::mutex rowMutex;
    BoundedBuffer logData;
    BoundedBuffer viewData;
    UnknownLogs unknownLogs;
    PredicatePtr filter;
    qint64 lastUpdateResetTimeMs = 0;
    quint64 numUpdatesSinceLastReset = 0;
    RowArena messageArena;  // synthetic rows
    RowArena viewArena;     // copies of filtered rows that left logData
    qsizetype viewCompacted = 0;  // leading rows of viewData that are such copies

    void resetView() {
        viewData.reset();
        viewCompacted = 0;
    }
    void compactOrphans();

    // The producer's own state (one producer at a time).
    RowArena arena;
    PredicatePtr cachedFilter;
    uint64_t cachedFilterVersion = 0;
    std::atomic<uint64_t> filterVersion{0};  // bumped under the row lock
    RowIndexSource nextIndex;
    AppNameLookup appLookup;

    std::atomic<uint64_t> filterGeneration{0};

    std::mutex conversationMutex;
    std::shared_ptr<StoreConversation> logReader;
    std::shared_ptr<StoreConversation> pidReader;
    std::shared_ptr<Graveyard> graveyard = std::make_shared<Graveyard>();

    QTimer* queueTimer = nullptr;
    std::atomic<bool> updatePending{false};
    std::atomic<bool> closing{false};

    QMutex futuresMutex;
    QList<QFuture<void>> futures;

    void track(QFuture<void> future) {
        QMutexLocker lock(&futuresMutex);
        futures.removeIf([](const QFuture<void>& f) { return f.isFinished(); });
        futures.append(std::move(future));
    }

    void install(std::shared_ptr<StoreConversation>& slot, std::unique_ptr<StoreConversation> conversation) {
        std::shared_ptr<StoreConversation> old;
        {
            std::lock_guard lock(conversationMutex);
            old = std::move(slot);
            slot = conversation ? shareConversation(std::move(conversation)) : nullptr;
        }
        graveyard->retire(graveyard, std::move(old));
    }

    std::shared_ptr<StoreConversation> current(const std::shared_ptr<StoreConversation>& slot) {
        std::lock_guard lock(conversationMutex);
        return slot;
    }
};

// A row of the filtered view that logData no longer holds would keep the
// whole segment and text chunk it was made in alive; with a sparse filter the
// view spans far more lines than logData keeps. Such rows are copied into
// compact storage of their own as they leave logData.
void LogDatasource::Impl::compactOrphans() {
    if (logData.count() == 0 || viewData.count() == viewCompacted) return;
    const uint64_t firstKept = logData.dataArray().constFirst()->idx();
    RowList view = viewData.dataArray();
    viewData.setDataArray(RowList());  // `view` is now the only owner: edits do not copy
    std::string buffer;
    for (; viewCompacted < view.size() && view.at(viewCompacted)->idx() < firstKept; ++viewCompacted) {
        const Row& row = *view.at(viewCompacted);
        buffer.clear();
        std::array<size_t, 8> ends{};
        for (int k = 1; k < kRowKeyCount; ++k) {
            buffer.append(row.view(RowKey(k)));
            ends[size_t(k)] = buffer.size();
        }
        const std::string_view line = viewArena.copyLine(buffer);
        std::array<std::string_view, 7> fields;
        for (int k = 1; k < kRowKeyCount; ++k) fields[size_t(k - 1)] = line.substr(ends[size_t(k - 1)], ends[size_t(k)] - ends[size_t(k - 1)]);
        view[viewCompacted] = viewArena.make(row.idx(), line, fields);
    }
    viewData.setDataArray(std::move(view));
}

LogDatasource::LogDatasource(QObject* parent) : QObject(parent), d(std::make_unique<Impl>()) {
    d->nextIndex = [this] { return getIndex(); };
    d->appLookup = [this](std::string_view pid, std::string& out) {
        std::lock_guard lock(d->pidMutex);
        const auto it = d->pidMap.find(pid);
        if (it == d->pidMap.end()) return false;
        out = it->second;
        return true;
    };
}

LogDatasource::~LogDatasource() {
    d->closing = true;
    if (d->queueTimer != nullptr) d->queueTimer->stop();
    ++d->filterGeneration;  // superseded passes give up early
    QList<QFuture<void>> futures;
    {
        QMutexLocker lock(&d->futuresMutex);
        futures = d->futures;
    }
    for (QFuture<void>& future : futures) future.waitForFinished();
    if (QCoreApplication::instance() == nullptr) return;
    // No callback may reach the store once it is gone: the conversations are
    // stopped and deleted on their own thread before the store's state goes.
    runOnIoThreadBlocking([this] {
        std::shared_ptr<StoreConversation> logReader, pidReader;
        {
            std::lock_guard lock(d->conversationMutex);
            logReader = std::move(d->logReader);
            pidReader = std::move(d->pidReader);
        }
        if (logReader) logReader->stop();
        if (pidReader) pidReader->stop();
        d->graveyard->takeAll();
    });
}

void LogDatasource::setDelegate(LogDatasourceDelegate* delegate) { d->delegate = delegate; }

void LogDatasource::setConnector(std::shared_ptr<StoreConnector> connector) { d->connector = std::move(connector); }

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
    if (d->isLogging) {
        VF_LOG("ERROR: startLogger called but it was already running.");
        return;
    }
    d->isLogging = true;
    d->startTimeMs = d->clock();
    d->hasStartTime = true;
    runOnIoThread([this] {
        if (!d->closing) internalStartLogger();
    });
    // A timer of a run that ended by itself is left running (see logReaderStopped).
    d->queueTimer = new QTimer(this);
    d->queueTimer->setInterval(kQueueTimerMs);
    QObject::connect(d->queueTimer, &QTimer::timeout, this, [this] { onQueueCheckTimerTick(); });
    d->queueTimer->start();
}

void LogDatasource::internalStartLogger() {
    loadPID();
    {
        std::lock_guard lock(d->rowMutex);
        d->logData.setCapacity(kLiveCapacity);
    }
    const QString device = deviceId();
    d->install(d->logReader, d->connector->connectLogReader(this, device));
    VF_LOG("connecting to:{}", device);
    postToMain([this] { notifyLoggerStarted(); });
}

void LogDatasource::stopLogger() {
    if (!d->isLogging) {
        VF_LOG("already stopped");
        return;
    }
    VF_LOG("isLogging:{}, deviceId:{}", int(d->isLogging.load()), deviceId());
    if (auto reader = d->current(d->logReader)) reader->stop();
    d->isLogging = false;
    auto cancelTimer = [this] {
        if (d->queueTimer == nullptr) return;
        d->queueTimer->stop();
        d->queueTimer->deleteLater();
        d->queueTimer = nullptr;
    };
    if (isMainThread()) {
        cancelTimer();
    } else {
        postToMain(cancelTimer);
    }
}

void LogDatasource::onQueueCheckTimerTick() {
    if (d->closing) return;
    bool notify = false;
    {
        std::lock_guard lock(d->rowMutex);
        if (d->numUpdatesSinceLastReset != 0) {
            d->numUpdatesSinceLastReset = 0;
            d->lastUpdateResetTimeMs = d->clock();
            notify = true;
        }
    }
    if (notify) notifyDataChanged();
}

void LogDatasource::logReaderStopped() {
    VF_LOG("deviceId:{}", deviceId());
    d->isLogging = false;
    {
        // Taken under the pid-map lock (not the row lock): the map is read
        // under that lock by the parser and written by setAppName.
        std::lock_guard lock(d->pidMutex);
        d->pidMap = d->userDefinedPidMap;
    }
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
    if (d->delegate != nullptr) d->delegate->adbNotRunningError(error);
    setDeviceId(QString());
    d->install(d->pidReader, nullptr);
}

void LogDatasource::adbDeviceNotFound(const Error& error) {
    stopLogger();
    logMessage(QStringLiteral("No Android device found. Make sure it is connected and developer mode is enabled."),
               QStringLiteral("E"));
    if (d->delegate != nullptr) d->delegate->adbDeviceNotFound(error);
    setDeviceId(QString());
    d->install(d->pidReader, nullptr);
}

// ---------------------------------------------------------------------------
// Live lines

void LogDatasource::logLineReceived(std::optional<std::string_view> line) {
    if (!line || line->empty()) return;
    const std::string_view text = d->arena.copyLine(*line);
    RowPtr row = parseThreadTimeLine(d->arena, text, LogLineFormat::ThreadTimeLive, d->nextIndex, d->appLookup);
    if (!row) return;

    if (d->filterVersion.load(std::memory_order_acquire) != d->cachedFilterVersion) {
        std::lock_guard lock(d->rowMutex);
        d->cachedFilter = d->filter;
        d->cachedFilterVersion = d->filterVersion.load(std::memory_order_relaxed);
    }
    auto test = [&row](const PredicatePtr& filter) {
        QString error;
        return filter && filter->evaluate(RowFieldSource(*row), &error);
    };
    bool accepted = test(d->cachedFilter);

    const qint64 now = d->clock();
    bool notify = false;
    bool wantLookup = false;
    {
        std::lock_guard lock(d->rowMutex);
        if (d->filterVersion.load(std::memory_order_relaxed) != d->cachedFilterVersion) {
            // The filter changed while this row was tested: test it against the new one.
            d->cachedFilter = d->filter;
            d->cachedFilterVersion = d->filterVersion.load(std::memory_order_relaxed);
            accepted = test(d->cachedFilter);
        }
        // Reconnecting makes the device send its buffer again: keep the replay out.
        if (d->hasStartTime && now - d->startTimeMs < kReplayGuardMs && d->logData.count() > 0 &&
            row->time() < d->logData.dataArray().constLast()->time()) {
            return;
        }
        bool pruned = d->logData.addObject(row);
        if (pruned) d->compactOrphans();
        if (accepted) {
            pruned = d->viewData.addObject(row);
            if (pruned) d->viewCompacted = qMax<qsizetype>(0, d->viewCompacted - d->viewData.pruneSize());
        }
        if (row->app().empty()) {
            auto it = d->unknownLogs.find(row->pid());
            if (it == d->unknownLogs.end()) it = d->unknownLogs.emplace(std::string(row->pid()), UnknownPid{now, {}}).first;
            it->second.rows.append(row);
            wantLookup = it->second.rows.size() > 1;
        }
        if (pruned || accepted || !d->cachedFilter) {
            ++d->numUpdatesSinceLastReset;
            if (now - d->lastUpdateResetTimeMs > kNotifyIntervalMs) {
                d->numUpdatesSinceLastReset = 0;
                d->lastUpdateResetTimeMs = now;
                notify = true;
            }
        }
    }
    if (notify) notifyDataChanged();
    if (wantLookup) loadPID();
}

// ---------------------------------------------------------------------------
// Process names

void LogDatasource::loadPID() {
    {
        std::lock_guard lock(d->pidMutex);
        if (d->pidLookupRunning) {
            d->pidNeedsLookup = true;
            return;
        }
        d->pidLookupTime = d->clock();
        d->pidLookupRunning = true;
        d->pidNeedsLookup = false;
    }
    auto connect = [this, device = deviceId()] {
        if (d->closing) return;
        d->install(d->pidReader, d->connector->connectPidReader(this, device));
    };
    if (QThread::currentThread() == ioThread()) {
        connect();
    } else {
        runOnIoThread(connect);
    }
}

void LogDatasource::pidReceived(const QString& text) {
    bool headerPending = true;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !isNewline(text.at(i))) continue;
        const QString line = text.mid(start, i - start);
        start = i + 1;
        if (!takeInPsLine(line, headerPending)) return;
    }
    qint64 lookupTime = 0;
    {
        std::lock_guard lock(d->pidMutex);
        lookupTime = d->pidLookupTime;
    }
    {
        std::lock_guard lock(d->rowMutex);
        std::erase_if(d->unknownLogs, [lookupTime](const auto& entry) { return entry.second.firstSeenMs < lookupTime; });
    }
    bool again = false;
    {
        std::lock_guard lock(d->pidMutex);
        d->pidLookupRunning = false;
        again = d->pidNeedsLookup;
    }
    if (again) loadPID();
}

// One line of ps output; false when the output says logging must stop.
bool LogDatasource::takeInPsLine(const QString& line, bool& headerPending) {
    if (line.isEmpty() || line.startsWith(u'-')) return true;
    if (line.startsWith(QStringLiteral("error:"))) {
        VF_LOG("parsePID: {}", line);
        if (line == QStringLiteral("error: more than one device and emulator")) {
            VF_LOG("Multiple devices. Abort. (1)");
            stopForAbort(true);
            return false;
        }
        if (line == QStringLiteral("error: device not found")) {
            VF_LOG("Device not found. Abort. (1)");
            stopForAbort(false);
            return false;
        }
        return true;
    }
    const QStringList fields = line.split(u' ');
    if (headerPending) {
        headerPending = false;
        return true;
    }
    if (fields.size() < 4) return true;
    const QString* pid = nullptr;
    for (const QString& field : fields) {
        if (isInteger(field)) {
            pid = &field;
            break;
        }
    }
    const QString& name = fields.constLast();
    if (pid == nullptr || name == QStringLiteral("<pre-initialized>")) return true;
    const std::string pidKey = toStd(*pid);
    const std::string nameValue = toStd(name);
    bool hadEntry = false;
    {
        std::lock_guard lock(d->pidMutex);
        if (d->userDefinedPidMap.contains(pidKey)) return true;
        auto [it, inserted] = d->pidMap.try_emplace(pidKey, nameValue);
        hadEntry = !inserted;
        it->second = nameValue;
    }
    if (!hadEntry) {
        std::lock_guard lock(d->rowMutex);
        const auto it = d->unknownLogs.find(pidKey);
        if (it != d->unknownLogs.end()) {
            // The tag column gets the name, not the app column: the program has always done so.
            for (const RowPtr& row : it->second.rows) row->setName(nameValue);
            d->unknownLogs.erase(it);
        }
    }
    return true;
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

void LogDatasource::pidFailedWithError(const Error& error) { VF_LOG("TODO: handled: {}", error.toString()); }

QString LogDatasource::appNameForPid(const QString& pid) const {
    std::lock_guard lock(d->pidMutex);
    const auto it = d->pidMap.find(toStd(pid));
    return it == d->pidMap.end() ? QString() : QString::fromStdString(it->second);
}

void LogDatasource::setAppName(const QString& name, const QString& pid) {
    const std::string pidKey = toStd(pid);
    const std::string nameValue = toStd(name);
    {
        std::lock_guard lock(d->pidMutex);
        d->pidMap[pidKey] = nameValue;
        d->userDefinedPidMap[pidKey] = nameValue;
    }
    int found = 0;
    {
        std::lock_guard lock(d->rowMutex);
        d->unknownLogs.erase(pidKey);
        for (const RowPtr& row : d->logData.dataArray()) {
            if (row->pid() != pidKey) continue;
            row->setApp(nameValue);
            ++found;
        }
    }
    VF_LOG("name:{}, pid:{}, found:{}", name, pid, found);
    runOnMainWaiting([this] { notifyLogUpdated(); });
}

// ---------------------------------------------------------------------------
// Contents

void LogDatasource::clearLog() {
    VF_LOG("clearLog");
    {
        std::lock_guard lock(d->pidMutex);
        d->pidMap = d->userDefinedPidMap;
        d->pidLookupRunning = false;
        d->pidNeedsLookup = false;
        d->pidLookupTime = 0;
    }
    {
        std::lock_guard lock(d->rowMutex);
        d->logData.reset();
        d->resetView();
    }
    if (isMainThread()) {
        notifyLogUpdated();
    } else {
        postToMain([this] { notifyLogUpdated(); });
    }
}

void LogDatasource::logMessage(const QString& text, const QString& level) {
    RowValues values;
    values.idx = getIndex();
    values.time = toStd(QDateTime::fromMSecsSinceEpoch(d->clock()).toString(QStringLiteral("MM-dd HH:mm:ss.zzz")));
    values.app = "Vellumfox";
    values.pid = "---";
    values.tid = "---";
    values.type = toStd(level);
    values.name = "---";
    values.text = toStd(text);
    {
        std::lock_guard lock(d->rowMutex);
        d->logData.addObject(d->messageArena.make(values));
    }
    runOnMainWaiting([this] { notifyLogUpdated(); });
}

std::optional<RowList> LogDatasource::readTextFile(const QString& path) {
    clearLog();
    return vf::readTextFile(path, d->nextIndex);
}

void LogDatasource::setLogDataFromFile(RowList rows) {
    stopLogger();
    d->track(QtConcurrent::run(QThreadPool::globalInstance(), [this, rows = std::move(rows)]() mutable {
        {
            std::lock_guard lock(d->rowMutex);
            d->logData.setCapacity(0);
            d->logData.addAllObjects(std::move(rows));
        }
        postToMain([this] { notifyLogUpdated(); });
    }));
}

RowList LogDatasource::getDataFiltered() const {
    std::lock_guard lock(d->rowMutex);
    return d->filter ? d->viewData.dataArray() : d->logData.dataArray();
}

RowList LogDatasource::getDataAll() const {
    std::lock_guard lock(d->rowMutex);
    return d->logData.dataArray();
}

qsizetype LogDatasource::logEventCount() const {
    std::lock_guard lock(d->rowMutex);
    return d->logData.count();
}

// ---------------------------------------------------------------------------
// Filtering

PredicatePtr LogDatasource::logDataFilter() const {
    std::lock_guard lock(d->rowMutex);
    return d->filter;
}

void LogDatasource::setLogDataFilter(PredicatePtr filter) {
    const uint64_t generation = ++d->filterGeneration;
    d->track(QtConcurrent::run(QThreadPool::globalInstance(),
                               [this, filter = std::move(filter), generation] { applyFilter(filter, generation); }));
}

void LogDatasource::applyFilter(PredicatePtr filter, uint64_t generation) {
    // The last filter requested wins, whichever pass finishes first.
    auto superseded = [this, generation] { return d->filterGeneration.load() != generation; };
    if (!filter) {
        {
            std::lock_guard lock(d->rowMutex);
            if (superseded()) return;
            d->filter.reset();
            d->resetView();
            ++d->filterVersion;
        }
        postToMain([this] { notifyLogUpdated(); });
        return;
    }
    RowList snapshot;
    {
        std::lock_guard lock(d->rowMutex);
        snapshot = d->logData.dataArray();
    }
    // The pass is split into ordered chunks that the pool's threads share.
    struct Chunk {
        qsizetype begin = 0, end = 0;
        RowList accepted;
        QString error;
        bool cancelled = false;
    };
    const qsizetype chunkCount =
        std::clamp<qsizetype>(snapshot.size() / kMinChunkRows, 1, 4 * qMax(1, QThread::idealThreadCount()));
    std::vector<Chunk> chunks(static_cast<size_t>(chunkCount));
    for (qsizetype c = 0; c < chunkCount; ++c) {
        chunks[size_t(c)].begin = snapshot.size() * c / chunkCount;
        chunks[size_t(c)].end = snapshot.size() * (c + 1) / chunkCount;
    }
    auto pass = [&filter, &snapshot, &superseded](Chunk& chunk) {
        for (qsizetype i = chunk.begin; i < chunk.end; ++i) {
            if ((i - chunk.begin) % kCancelCheckRows == 0 && superseded()) {
                chunk.cancelled = true;
                return;
            }
            const RowPtr& row = snapshot.at(i);
            if (filter->evaluate(RowFieldSource(*row), &chunk.error)) {
                chunk.accepted.append(row);
            } else if (!chunk.error.isEmpty()) {
                return;
            }
        }
    };
    if (chunkCount == 1) {
        pass(chunks.front());
    } else {
        QtConcurrent::blockingMap(QThreadPool::globalInstance(), chunks, pass);
    }
    RowList accepted;
    QString error;
    for (Chunk& chunk : chunks) {
        if (chunk.cancelled) return;
        if (!chunk.error.isEmpty()) {
            error = chunk.error;
            break;
        }
        accepted.append(std::move(chunk.accepted));
    }
    auto test = [&](const RowPtr& row) {
        if (filter->evaluate(RowFieldSource(*row), &error)) accepted.append(row);
        return error.isEmpty();
    };
    if (error.isEmpty()) {
        std::lock_guard lock(d->rowMutex);
        if (superseded()) return;
        // Rows that arrived during the pass were tested against the old filter.
        const RowList& now = d->logData.dataArray();
        // Indexes grow in arrival order; the snapshot's last row may have been pruned since.
        qsizetype from = now.size();
        if (!snapshot.isEmpty()) {
            const uint64_t lastTested = snapshot.constLast()->idx();
            while (from > 0 && now.at(from - 1)->idx() > lastTested) --from;
        } else {
            from = 0;
        }
        for (qsizetype i = from; i < now.size() && error.isEmpty(); ++i) test(now.at(i));
        if (error.isEmpty()) {
            const qsizetype count = accepted.size();
            d->resetView();
            d->viewData.addAllObjects(std::move(accepted));
            d->filter = filter;
            ++d->filterVersion;
            VF_LOG("setLogDataFilter: {}, #{}", filter->format(), count);
        }
    }
    if (!error.isEmpty()) {
        {
            std::lock_guard lock(d->rowMutex);
            if (superseded()) return;
            d->filter.reset();
            d->resetView();
            ++d->filterVersion;
        }
        postToMain([this, error] {
            if (d->delegate != nullptr) d->delegate->onFilterCorrupt(error);
        });
        return;
    }
    postToMain([this] { notifyLogUpdated(); });
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
    QMetaObject::invokeMethod(
        this,
        [this] {
            d->updatePending = false;
            if (!d->closing) Q_EMIT logDataUpdated();
        },
        Qt::QueuedConnection);
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

void LogDatasource::notifyLogUpdated() {
    VF_ASSERT_MAIN();
    if (d->delegate != nullptr) d->delegate->onLogUpdated();
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
