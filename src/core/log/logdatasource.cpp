#include "core/log/logdatasource.h"

#include <QDateTime>
#include <QTimer>
#include <chrono>
#include <utility>

#include "core/adb/logbuffer.h"
#include "core/log/filterpass.h"
#include "core/log/logparser.h"
#include "core/log/pidnames.h"
#include "core/log/processlines.h"
#include "core/log/rowstore.h"
#include "core/support/logger.h"
#include "core/support/threads.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
constexpr int kQueueTimerMs = 500;
// Rows of a file being opened go to the table at most this often after the
// first: each notice makes the table's copy of the list and the store's
// part ways once, a copy of every row read so far.
constexpr auto kFileNoticeInterval = std::chrono::milliseconds(400);
}  // namespace

struct LogDatasource::Impl {
    LogDatasourceDelegate* delegate = nullptr;
    std::function<qint64()> clock = [] { return QDateTime::currentMSecsSinceEpoch(); };
    std::atomic<uint64_t> counter{0};

    RowStore rows;
    PidNames names;
    FilterRunner filters;
    RowIndexSource nextIndex;
    AppNameLookup appLookup;

    // Main thread only.
    QTimer* queueTimer = nullptr;  // a child of the store
    ReportFacts facts;
    ListMark lastNotice;

    std::atomic<bool> updatePending{false};
    std::atomic<uint64_t> passes{0};             // numbers the full passes
    std::atomic<uint64_t> stoppedPass{0};        // the last pass cancelFilter() stopped
    std::atomic<bool> progressShown{false};      // a pass reported progress; no Done said since
    std::chrono::milliseconds progressDelay{300};
    // The buffer the stream's last marker named (the run's I/O thread).
    std::atomic<LogBuffer> liveBuffer{LogBuffer::None};
};

LogDatasource::LogDatasource(QObject* parent) : QObject(parent), d(std::make_unique<Impl>()) {
    d->nextIndex = [this] { return getIndex(); };
    // The row is made right after, at the next index.
    d->appLookup = [this](const RowFields& fields, std::string& out) {
        return d->names.nameLiveRow(fields, d->counter.load(std::memory_order_relaxed), out);
    };
    d->queueTimer = new QTimer(this);
    d->queueTimer->setInterval(kQueueTimerMs);
    QObject::connect(d->queueTimer, &QTimer::timeout, this, [this] { onQueueCheckTimerTick(); });
}

LogDatasource::~LogDatasource() {
    d->queueTimer->stop();
    d->filters.cancelAndWait();
}

void LogDatasource::setDelegate(LogDatasourceDelegate* delegate) { d->delegate = delegate; }

void LogDatasource::setClock(std::function<qint64()> nowMs) { d->clock = std::move(nowMs); }

RowIdx LogDatasource::getIndex() { return RowIdx(d->counter.fetch_add(1, std::memory_order_relaxed)); }

// ---------------------------------------------------------------------------
// A logging run

void LogDatasource::beginRun() {
    VF_ASSERT_THREAD(this);
    d->rows.beginRun(d->clock());
    d->facts = {};
    d->liveBuffer.store(LogBuffer::None, std::memory_order_relaxed);
    d->queueTimer->start();
}

void LogDatasource::endRun() {
    // Every end of a run stops the flush timer, also one that ended by itself.
    cancelQueueTimer();
}

void LogDatasource::cancelQueueTimer() {
    if (isMainThread()) {
        d->queueTimer->stop();
    } else {
        postToMain([this] { d->queueTimer->stop(); });
    }
}

void LogDatasource::onQueueCheckTimerTick() {
    if (d->rows.takePendingNotice(d->clock())) notifyDataChanged();
}

LogDatasource::LiveLine LogDatasource::addLiveLine(std::string_view line) {
    LiveLine result;
    if (line.empty()) return result;
    if (isBufferMarker(line)) {
        d->liveBuffer.store(bufferOfMarker(line).value_or(LogBuffer::None), std::memory_order_relaxed);
        return result;
    }
    // Said before the first row after the gap, where the lines are missing.
    if (const std::optional<int64_t> gap = d->rows.takeGap(line)) logMessage(lostLinesText(*gap), u"W"_s);
    RowArena& arena = d->rows.producerArena();
    const std::string_view text = arena.copyLine(line);
    RowPtr row = parseThreadTimeLine(arena, text, LogLineFormat::ThreadTimeLive, d->nextIndex, d->appLookup);
    if (!row) return result;
    row->setUnsharedBuffer(d->liveBuffer.load(std::memory_order_relaxed));
    result.row = true;
    result.wantsPackages = d->names.wantsPackages();
    const qint64 now = d->clock();
    const RowStore::Added added = d->rows.addLive(row, now);
    if (!added.stored) return result;
    if (row->app().empty() && d->names.holdUnnamed(row, now)) result.lookupPid = pidNumber(row->pid());
    if (added.notify) notifyDataChanged();
    return result;
}

void LogDatasource::beginDevice(const QString& deviceId) { d->names.beginDevice(deviceId.toStdString()); }

QString LogDatasource::resumeTime() const { return d->rows.resumeTime(); }

QString lostLinesText(int64_t ms) {
    const int64_t seconds = (ms + 500) / 1000;
    QString span;
    if (seconds < 1) {
        span = QString::number(ms) + u" ms"_s;
    } else if (seconds < 60) {
        span = QString::number(seconds) + u" s"_s;
    } else if (seconds < 3600) {
        span = QString::number(seconds / 60) + u" min "_s + QString::number(seconds % 60) + u" s"_s;
    } else {
        span = QString::number(seconds / 3600) + u" h "_s + QString::number(seconds / 60 % 60) + u" min"_s;
    }
    return u"Lines were lost while the device was away: "_s + span + u" of log"_s;
}

void LogDatasource::takeProcessTable(const ProcessTable& table) {
    d->names.takeProcessTable(table, d->counter.load(std::memory_order_relaxed));
}

void LogDatasource::takePackageList(const PackageListing& listing) {
    if (listing.listed) d->names.takePackages(listing.packages);
}

QString LogDatasource::appNameForPid(const QString& pid) const { return d->names.appName(pid); }

void LogDatasource::setAppName(const QString& name, const QString& pid) {
    const std::string pidKey = pid.toStdString();
    const std::string nameValue = name.toStdString();
    d->names.setUserName(pidKey, nameValue);
    const int found = d->rows.setApp(pidKey, nameValue);
    VF_LOG("name:{}, pid:{}, found:{}", name, pid, found);
    notifyLogUpdated();
}

// ---------------------------------------------------------------------------
// Contents

void LogDatasource::clearLog() {
    VF_LOG("clearLog");
    d->names.clear();
    d->rows.clear();
    notifyLogUpdatedFromAnyThread();
}

void LogDatasource::logMessage(const QString& text, const QString& level) {
    RowValues values;
    values.idx = getIndex().value();
    values.time = QDateTime::fromMSecsSinceEpoch(d->clock()).toString(QStringLiteral("MM-dd HH:mm:ss.zzz")).toStdString();
    values.app = "Vellumfox";
    values.pid = "---";
    values.tid = "---";
    values.type = level.toStdString();
    values.name = "---";
    values.text = text.toStdString();
    d->rows.addMessage(values);
    notifyLogUpdatedFromAnyThread();
}

void LogDatasource::beginFile() {
    VF_LOG("clearLog");
    d->names.clear();
    d->rows.beginFile();
    postToMain([this] { d->facts = {}; });  // until the file says something of its device
    cancelQueueTimer();
    notifyLogUpdatedFromAnyThread();
}

void LogDatasource::feedFile(TextFileReading& how, const FileFeed& read) {
    bool begun = false;
    RowList pending;
    std::optional<std::chrono::steady_clock::time_point> handed;
    const auto startOver = [&] {
        pending.clear();
        handed.reset();
        begun = false;
    };
    const auto handOver = [&] {
        if (d->rows.addFileRows(pending)) notifyDataChanged();
        pending.clear();
        handed = std::chrono::steady_clock::now();
    };
    how.rows = [&](RowList rows) {
        if (!std::exchange(begun, true)) beginFile();
        pending.append(std::move(rows));
        if (!handed || std::chrono::steady_clock::now() - *handed >= kFileNoticeInterval) handOver();
    };
    const FileFeedEnd end = read(how, startOver);
    if (!end.isFile) return;
    if (!begun) beginFile();
    handOver();
    if (end.namedLate) {
        // The apps came after the rows were shown: every reader takes the
        // list afresh, and the filter in force looks at the apps again.
        d->rows.loadRows(d->rows.all().rows);
        if (PredicatePtr filter = d->rows.filter()) setLogDataFilter(std::move(filter));
    }
    notifyLogUpdatedFromAnyThread();
}

TextFileRead LogDatasource::openTextFile(const QString& path, TextFileReading how) {
    TextFileRead read;  // the store is cleared even when the file cannot be read
    feedFile(how, [&](const TextFileReading& reading, const std::function<void()>&) {
        read = vf::readTextFile(path, d->nextIndex, reading);
        return FileFeedEnd{true, read.namedLate};
    });
    return read;
}

BugreportRead LogDatasource::openReport(const QString& path, TextFileReading how) {
    BugreportRead read;
    feedFile(how, [&](const TextFileReading& reading, const std::function<void()>&) {
        read = readBugreport(path, d->nextIndex, reading);
        return FileFeedEnd{read.outcome == BugreportRead::Outcome::Read, read.namedLate};
    });
    if (read.outcome == BugreportRead::Outcome::Read) postToMain([this, facts = read.facts] { d->facts = facts; });
    return read;
}

DocumentRead LogDatasource::openDocument(const QString& path, TextFileReading how) {
    DocumentRead read;
    feedFile(how, [&](const TextFileReading& reading, const std::function<void()>& startOver) {
        read = readVellumfoxFile(path, d->nextIndex, reading);
        if (read.renumber) {
            // Its numbers stopped ascending after rows went to the table:
            // it is read again, every row numbered afresh.
            startOver();
            read = readVellumfoxFile(path, d->nextIndex, reading, DocumentNumbers::Fresh);
        }
        return FileFeedEnd{read.read, false};
    });
    return read;
}

void LogDatasource::setSourceName(const QString& name) { d->rows.setSourceLabel(name.toStdString()); }

void LogDatasource::setLogDataFromFile(RowList rows, ReportFacts facts) {
    VF_ASSERT_THREAD(this);
    cancelQueueTimer();
    d->facts = std::move(facts);
    d->rows.loadRows(std::move(rows));  // the list is moved, not copied
    postToMain([this] { notifyLogUpdated(); });
}

void LogDatasource::appendRows(const RowList& rows, qsizetype dropped) {
    VF_ASSERT_THREAD(this);
    // Dropped first: the table removes old rows before it inserts new ones.
    const bool shrank = d->rows.dropFileRows(dropped);
    if (d->rows.addFileRows(rows) || shrank) notifyDataChanged();
}

const ReportFacts& LogDatasource::reportFacts() const {
    VF_ASSERT_THREAD(this);
    return d->facts;
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

void LogDatasource::cancelFilter() {
    d->stoppedPass = d->passes.load();
    d->filters.cancel();
    const std::optional<qsizetype> shown = d->rows.stopPartial();
    if (!d->progressShown.exchange(false)) return;
    FilterProgress stopped{FilterProgress::State::Stopped, 0, 0, shown};
    if (d->delegate != nullptr) d->delegate->onFilterProgress(stopped);
}

void LogDatasource::setFilterProgressDelay(std::chrono::milliseconds delay) { d->progressDelay = delay; }

void LogDatasource::applyFilter(const PredicatePtr& filter, const std::atomic<bool>& cancelled) {
    if (!filter) {
        d->rows.clearFilter(cancelled);
        if (!cancelled) postToMain([this] { notifyLogUpdated(); });
        endProgress(cancelled);
        return;
    }
    const MarkedRows snapshot = d->rows.all();
    const uint64_t number = ++d->passes;
    const auto started = std::chrono::steady_clock::now();
    RowList early;  // matched before the delay: shown at once when it ends
    FullPassOptions options;
    // Called one at a time, in order, on the pass's threads: hand-overs to
    // the main thread are posted, never waited for.
    options.progress = [&, total = snapshot.rows.size()](qsizetype covered, const RowList& matched) {
        // A pass that ends within the delay is shown once, when it lands.
        if (std::chrono::steady_clock::now() - started < d->progressDelay) {
            if (covered < total) early += matched;
            return;
        }
        const bool changed = d->rows.showPartial(number, filter, early + matched, snapshot.mark, cancelled);
        early.clear();
        if (cancelled) return;
        d->progressShown = true;
        postToMain([this, number, covered, total, changed] {
            if (changed) notifyLogUpdated();
            if (d->delegate != nullptr && d->stoppedPass < number)
                d->delegate->onFilterProgress({FilterProgress::State::Running, covered, total, {}});
        });
    };
    FullPassResult pass = runFullPass(snapshot.rows, *filter, cancelled, options);
    const QString error = d->rows.installFilter(filter, std::move(pass), snapshot.mark, cancelled, number);
    endProgress(cancelled);
    if (cancelled) return;
    if (error.isEmpty()) {
        postToMain([this] { notifyLogUpdated(); });
        return;
    }
    postToMain([this, error] {
        if (d->delegate != nullptr) d->delegate->onFilterCorrupt(error);
    });
}

// A pass that landed ends the progress shown (its own or a cancelled
// one's); one cancelled leaves it to the pass after it, or to cancelFilter().
void LogDatasource::endProgress(const std::atomic<bool>& cancelled) {
    if (cancelled || !d->progressShown.exchange(false)) return;
    postToMain([this] {
        if (d->delegate != nullptr) d->delegate->onFilterProgress({FilterProgress::State::Done, 0, 0, {}});
    });
}

// ---------------------------------------------------------------------------
// Notifications

void LogDatasource::postToMain(std::function<void()> fn) {
    // Bound to the store: calls still queued when it goes are dropped.
    QMetaObject::invokeMethod(this, std::move(fn), Qt::QueuedConnection);
}

// On the main thread at once; from elsewhere posted as a value, never
// waited for: the I/O thread must not wait for the GUI thread.
void LogDatasource::notifyLogUpdatedFromAnyThread() {
    if (isMainThread()) {
        notifyLogUpdated();
    } else {
        postToMain([this] { notifyLogUpdated(); });
    }
}

void LogDatasource::notifyDataChanged() {
    if (d->updatePending.exchange(true)) return;
    postToMain([this] {
        d->updatePending = false;
        notifyLogUpdated();
    });
}

#define VF_ASSERT_MAIN() Q_ASSERT_X(isMainThread(), "LogDatasource", "Method can only be called on main thread!")

// The rows to show and what changed since the previous notice.
void LogDatasource::notifyLogUpdated() {
    VF_ASSERT_MAIN();
    MarkedRows shown = d->rows.filtered();
    const StoreChange change = changeBetween(d->lastNotice, shown.mark);
    d->lastNotice = shown.mark;
    if (d->delegate != nullptr) d->delegate->onLogUpdated(LogUpdate{std::move(shown.rows), change});
}

}  // namespace vf
