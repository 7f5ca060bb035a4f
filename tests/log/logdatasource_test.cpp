#include <gtest/gtest.h>

#include <QSemaphore>
#include <QThreadPool>
#include <QTimer>
#include <atomic>
#include <mutex>
#include <thread>

#include "core/filter/nodes.h"
#include "core/log/logdatasource.h"
#include "core/support/threads.h"
#include "helpers.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::waitForPostedCalls;
using test::waitUntil;

struct Delegate final : LogDatasourceDelegate {
    void onLogUpdated(const LogUpdate& update) override {
        ++updated;
        last = update;
    }
    void onFilterCorrupt(const QString& reason) override { corrupt.append(reason); }
    void onFilterProgress(const FilterProgress& report) override { progress.push_back(report); }
    int updated = 0;
    QStringList corrupt;
    LogUpdate last;
    std::vector<FilterProgress> progress;
};

std::string line(const char* time, int pid, const char* level, const char* tag, const char* text) {
    return std::string(time) + "  " + std::to_string(pid) + "  " + std::to_string(pid + 1) + " " + level + " " +
           tag + ": " + text + "\n";
}

PredicatePtr parse(const char* text) {
    ParseResult result = Predicate::parse(QString::fromUtf8(text));
    EXPECT_TRUE(result.predicate) << text;
    return result.predicate;
}

// `count` rows as a loaded file holds them; odd rows are errors when `mixed`.
RowList fileRows(RowArena& arena, int count, bool mixed) {
    RowList rows;
    for (int i = 0; i < count; ++i)
        rows.append(arena.make(RowValues{uint64_t(i), "01-01 00:00:00.000", "a", "1", "1", mixed && i % 2 ? "E" : "I", "n", "x"}));
    return rows;
}

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        store.setDelegate(&delegate);
        store.setClock([this] { return now.load(); });
    }
    LogDatasource::LiveLine feed(const std::string& text) { return store.addLiveLine(text); }
    void start() { store.beginRun(); }
    // Sets the filter and waits for its notice (a notice of new rows may
    // come before it).
    void applyFilter(const PredicatePtr& filter) {
        const int before = delegate.updated;
        store.setLogDataFilter(filter);
        ASSERT_TRUE(waitUntil([&] { return store.logDataFilter() == filter && delegate.updated > before; }));
        ASSERT_TRUE(waitForPostedCalls());
    }
    static QStringList texts(const RowList& rows) {
        QStringList out;
        for (const RowPtr& row : rows) out.append(row->string(RowKey::Text).trimmed());  // the message keeps its blank
        return out;
    }

    std::atomic<qint64> now{1'700'000'000'000};
    Delegate delegate;
    LogDatasource store;
};

// Markers make no rows; each row keeps the buffer of the marker before it.
// A run that carries on the log starts from its last row's time, and says
// how much log the device lost when its first row is later than that.
TEST_F(StoreTest, RowsKnowTheirBufferAndACarriedOnRunSaysWhatWasLost) {
    start();
    EXPECT_EQ(store.resumeTime(), u""_s);
    feed(line("03-17 09:41:10.000", 100, "I", "Tag", "before any marker"));
    feed("--------- beginning of main\n");
    feed(line("03-17 09:41:11.000", 100, "I", "Tag", "m"));
    feed("--------- beginning of crash\n");
    feed(line("03-17 09:41:12.300", 100, "E", "AndroidRuntime", "c"));
    feed("--------- switch to main\n");
    feed(line("03-17 09:41:12.300", 100, "I", "Tag", "m2"));
    std::vector<std::string> buffers;
    for (const RowPtr& row : store.getDataAll()) buffers.emplace_back(row->view(RowKey::Buffer));
    EXPECT_EQ(buffers, (std::vector<std::string>{"", "main", "crash", "main"}));
    EXPECT_EQ(store.resumeTime(), u"03-17 09:41:12.300"_s);

    store.endRun();
    start();  // nothing lost: the last row comes again first and is dropped
    feed("--------- beginning of main\n");
    feed(line("03-17 09:41:12.300", 100, "I", "Tag", "m2"));
    feed(line("03-17 09:41:13.000", 100, "I", "Tag", "m3"));
    EXPECT_EQ(texts(store.getDataAll()), (QStringList{u"before any marker"_s, u"m"_s, u"c"_s, u"m2"_s, u"m3"_s}));

    store.endRun();
    start();  // the buffer wrapped while the device was away
    feed("--------- beginning of main\n");
    feed(line("03-17 09:43:18.000", 100, "I", "Tag", "m4"));
    const RowList rows = store.getDataAll();
    ASSERT_EQ(rows.size(), 7);
    EXPECT_EQ(rows[5]->string(RowKey::Text), u"Lines were lost while the device was away: 2 min 5 s of log"_s);
    EXPECT_EQ(rows[5]->string(RowKey::App), u"Vellumfox"_s);
    EXPECT_EQ(rows[6]->string(RowKey::Text).trimmed(), u"m4"_s);

    store.clearLog();
    EXPECT_EQ(store.resumeTime(), u""_s);
    EXPECT_EQ(lostLinesText(400), u"Lines were lost while the device was away: 400 ms of log"_s);
    EXPECT_EQ(lostLinesText(3'725'000), u"Lines were lost while the device was away: 1 h 2 min of log"_s);
}

// Who wrote each live row, as the log goes on: a start line names the pid
// from its line on (and the rows of it that waited), a pid's next start
// line is another process; the uid column with the package listing names
// rows (another user with "@user"); the process table names only the pids
// nothing else names; the pid's second unnamed row asks for the table.
TEST_F(StoreTest, LiveRowsAreNamedByTheLogThePackagesAndLastTheTable) {
    const auto withUid = [](int uid, int pid, const char* text) {
        return "01-01 10:00:00.000 " + std::to_string(uid) + "  " + std::to_string(pid) + "  " + std::to_string(pid) +
               " I Tag: " + text + "\n";
    };
    const auto start = [](int pid, const char* process) {
        return line("01-01 10:00:00.000", 600, "I", "ActivityManager",
                    ("Start proc " + std::to_string(pid) + ":" + process + "/u0a87 for activity {x/.A}").c_str());
    };
    EXPECT_FALSE(feed("").row || feed("\n").row);  // empty lines make no row and ask nothing
    EXPECT_EQ(feed(line("01-01 10:00:00.000", 1234, "I", "Tag", "early")).lookupPid, std::nullopt);
    EXPECT_EQ(feed(line("01-01 10:00:00.001", 1234, "I", "Tag", "early 2")).lookupPid, 1234u);
    feed(start(1234, "com.example"));
    feed(line("01-01 10:00:00.002", 1234, "I", "Tag", "first life"));
    EXPECT_TRUE(feed(withUid(10152, 4000, "by uid")).wantsPackages);
    feed(withUid(1010152, 4001, "by uid, user 10"));
    feed(line("01-01 10:00:00.003", 77, "I", "Tag", "daemon"));
    store.takePackageList(parsePackageList("package:com.listed uid:10152\n"));
    store.takeProcessTable(parseProcessTable("USER PID PPID VSZ RSS WCHAN ADDR S NAME\n"
                                             "root 77 1 0 0 0 0 S daemond\n"
                                             "u0_a87 1234 1 0 0 0 0 S com.stale\n"));
    feed(start(1234, "com.reused"));
    feed(line("01-01 10:00:00.004", 1234, "I", "Tag", "second life"));
    QStringList apps;
    for (const RowPtr& row : store.getDataAll())
        if (row->name() == "Tag") apps.append(QString::fromUtf8(row->app()));
    EXPECT_EQ(apps, QStringList({u"com.example"_s, u"com.example"_s, u"com.example"_s, u"com.listed"_s,
                                 u"com.listed@10"_s, u"daemond"_s, u"com.reused"_s}));
    EXPECT_EQ(store.appNameForPid(u"1234"_s), u"com.reused"_s);
    EXPECT_FALSE(feed(line("01-01 10:00:01.000", 77, "I", "Tag", "known")).lookupPid);
}

TEST_F(StoreTest, FilteredRowsOlderThanAllRowsKeepTheirValues) {
    store.setAppName(u"app"_s, u"10"_s);
    applyFilter(parse("type == 'E'"));
    for (int i = 0; i < 30000; ++i) {
        const std::string text = "row " + std::to_string(i);
        feed(line("01-01 10:00:00.000", 10, i % 100 == 0 ? "E" : "I", "Tag", text.c_str()));
    }
    const RowList view = store.getDataFiltered();
    ASSERT_EQ(view.size(), 300);
    const RowIdx firstKept = store.getDataAll().constFirst()->idx();
    EXPECT_LT(view.constFirst()->idx(), firstKept);
    for (int i = 0; i < 300; ++i)
        EXPECT_EQ(test::fields(*view.at(i)), "01-01 10:00:00.000|app|10|11|E|Tag|row " + std::to_string(i * 100));
}

TEST_F(StoreTest, SyntheticRowsAreNotInTheFilteredViewUntilTheFilterIsSetAgain) {
    feed(line("01-01 10:00:00.000", 10, "I", "T", "device row"));
    applyFilter(parse("app ==[cd] 'Vellumfox' OR text CONTAINS 'device'"));
    store.logMessage(u"status"_s);
    const RowPtr synthetic = store.getDataAll().constLast();
    EXPECT_EQ(synthetic->app(), "Vellumfox");
    EXPECT_EQ(synthetic->time().size(), 18u);
    EXPECT_EQ(texts(store.getDataFiltered()), QStringList({u"device row"_s}));
    applyFilter(store.logDataFilter());
    EXPECT_EQ(texts(store.getDataFiltered()), QStringList({u"device row"_s, u"status"_s}));
}

// Each notice carries what changed since the one before; a burst gives one
// notice, and the rest of it is flushed by the timer of a run.
TEST_F(StoreTest, ABurstOfLinesGivesOneNoticeThatSaysWhatWasAppended) {
    for (int i = 0; i < 500; ++i) feed(line("01-01 10:00:00.000", 10, "I", "T", "x"));
    ASSERT_TRUE(waitForPostedCalls());
    EXPECT_EQ(delegate.updated, 1);
    EXPECT_EQ(delegate.last.change, (StoreChange{true, 0, 0}));  // the first notice
    EXPECT_EQ(delegate.last.rows.size(), 500);
    start();
    ASSERT_TRUE(waitUntil([&] { return delegate.updated == 2; }, 2000));  // the flush
    EXPECT_EQ(delegate.last.change, (StoreChange{false, 0, 0}));
    store.setAppName(u"app"_s, u"10"_s);
    // Later than the lines before the run: not a replay of them (and, as
    // the last of those did not come again, a row says a second of log was lost).
    for (int i = 0; i < 20001 - 500; ++i) feed(line("01-01 10:00:01.000", 10, "I", "T", "x"));
    const int before = delegate.updated;
    ASSERT_TRUE(waitUntil([&] { return delegate.updated > before; }, 2000));
    const StoreChange change = delegate.last.change;
    EXPECT_FALSE(change.reset);
    EXPECT_EQ(change.dropped, 1000);
    EXPECT_EQ(delegate.last.rows.size(), 19002);
}

TEST_F(StoreTest, AFilterNamingAMissingKeyIsReportedAndLeavesNoFilter) {
    feed(line("01-01 10:00:00.000", 10, "I", "T", "x"));
    applyFilter(parse("type ==[cd] 'I'"));
    // The parser refuses such keys; a predicate built directly still can name one.
    store.setLogDataFilter(std::make_shared<filter::ComparisonPredicate>(u"nosuchkey"_s, filter::CompareOp::Equal,
                                                                         textmatch::kNoOptions, u"x"_s));
    ASSERT_TRUE(waitUntil([&] { return !delegate.corrupt.isEmpty(); }));
    EXPECT_FALSE(store.logDataFilter());
    EXPECT_EQ(store.getDataFiltered().size(), 1);  // falls back to all rows
}

TEST_F(StoreTest, LevelPresetAndQuickFilterCombine) {
    store.setAppName(u"app"_s, u"10"_s);
    feed(line("01-01 10:00:00.000", 10, "E", "Net", "Read TIMEOUT"));
    feed(line("01-01 10:00:00.001", 10, "W", "Net", "read timeout"));
    feed(line("01-01 10:00:00.002", 10, "f", "Timeouts", "fatal"));
    feed(line("01-01 10:00:00.003", 10, "E", "Net", "refused"));
    const PredicatePtr level = parse(kLogLevelPresets[4].text);
    applyFilter(combineFilters({level}, quickFilterPredicate(u"timeout"_s).predicate));
    EXPECT_EQ(texts(store.getDataFiltered()), QStringList({u"Read TIMEOUT"_s, u"fatal"_s}));
    // New rows are tested once as they arrive.
    feed(line("01-01 10:00:00.004", 10, "A", "T", "timeout again"));
    feed(line("01-01 10:00:00.005", 10, "I", "T", "timeout info"));
    EXPECT_EQ(store.getDataFiltered().size(), 3);
    applyFilter(nullptr);
    EXPECT_EQ(store.getDataFiltered().size(), 6);
}

// Holds the first evaluation until the test opens the gate.
struct GatedErrorLevel final : Predicate {
    bool evaluate(const FieldSource& row, QString*) const override {
        if (!entered.exchange(true)) gate.acquire();
        FieldScratch scratch;
        return row.field(RowKey::Type, scratch) == "E";
    }
    QString format() const override { return QStringLiteral("gated"); }
    mutable std::atomic<bool> entered{false};
    mutable QSemaphore gate;
};

TEST_F(StoreTest, RowsArrivingDuringAFilterPassAreTestedOnce) {
    store.setAppName(u"app"_s, u"10"_s);
    auto feedMany = [&](int count) {
        for (int i = 0; i < count; ++i) feed(line("01-01 10:00:00.000", 10, i % 10 == 0 ? "E" : "I", "T", "x"));
    };
    feedMany(20000);
    auto gated = std::make_shared<GatedErrorLevel>();
    store.setFilterProgressDelay(std::chrono::hours(1));  // no partial view: the filter is set when it lands
    store.setLogDataFilter(gated);
    ASSERT_TRUE(waitUntil([&] { return gated->entered.load(); }));
    feedMany(1500);  // the list of all rows prunes meanwhile
    gated->gate.release();
    ASSERT_TRUE(waitUntil([&] { return store.logDataFilter() == gated; }));
    const RowList view = store.getDataFiltered();
    EXPECT_EQ(view.size(), 2000 + 150);
    for (qsizetype i = 1; i < view.size(); ++i) ASSERT_LT(view.at(i - 1)->idx(), view.at(i)->idx());
}

// A loaded file keeps every row, and no late line of the run before, until
// the next run; then the cap applies again.
TEST_F(StoreTest, ALoadedFileHasNoCapUntilTheNextRun) {
    RowArena arena;
    store.setLogDataFromFile(fileRows(arena, 25000, false));
    ASSERT_TRUE(waitUntil([&] { return store.logEventCount() == 25000; }));
    feed(line("01-01 09:59:59.000", 10, "I", "T", "late line of the run before"));
    EXPECT_EQ(store.logEventCount(), 25000);
    start();
    feed(line("01-01 10:00:00.000", 10, "I", "T", "live"));
    EXPECT_EQ(store.logEventCount(), 24001);
}

// Runs that end by themselves (the stream closes) leave no flush timer running.
TEST_F(StoreTest, EveryEndOfARunStopsItsFlushTimer) {
    for (int run = 1; run <= 3; ++run) {
        store.beginRun();
        std::thread([&] { store.endRun(); }).join();  // the stream's thread
    }
    ASSERT_TRUE(waitForPostedCalls());  // the stops they posted
    int running = 0;
    for (const QTimer* timer : store.findChildren<QTimer*>()) running += timer->isActive() ? 1 : 0;
    EXPECT_EQ(running, 0);
}

// Overlapping full passes over large logs (split into chunks on the global
// pool) must not wait on that pool: the last filter lands, and later work
// queued to the pool still runs.
TEST_F(StoreTest, OverlappingLargeFilterPassesNeverStallThePool) {
    RowArena arena;
    store.setLogDataFromFile(fileRows(arena, 70000, true));
    ASSERT_TRUE(waitUntil([&] { return store.logEventCount() == 70000; }));
    QThreadPool* pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    pool->setMaxThreadCount(2);
    for (int i = 0; i < 6; ++i) store.setLogDataFilter(parse(i % 2 ? "type == 'E'" : "type == 'I'"));
    const PredicatePtr last = parse("type == 'E'");
    store.setLogDataFilter(last);
    EXPECT_TRUE(waitUntil([&] { return store.logDataFilter() == last; }, 20000));
    EXPECT_EQ(store.getDataFiltered().size(), 35000);  // a file's view has no cap either
    std::atomic<bool> ran{false};
    pool->start([&] { ran = true; });
    EXPECT_TRUE(waitUntil([&] { return ran.load(); }, 20000));
    pool->setMaxThreadCount(threads);
}

// Error rows; the evaluation of row `gateAt` waits for the test's gate.
struct GatedAt final : Predicate {
    explicit GatedAt(int at) : gateAt(at) {}
    bool evaluate(const FieldSource& row, QString*) const override {
        FieldScratch scratch;
        if (row.field(RowKey::Idx, scratch) == std::to_string(gateAt)) gate.acquire();
        return row.field(RowKey::Type, scratch) == "E";
    }
    QString format() const override { return QStringLiteral("gated"); }
    int gateAt;
    mutable QSemaphore gate;
};

// A long pass shows the rows its first chunks matched while the rest is
// tested: what it shows is a prefix of its result, which then follows the
// rows shown. Stopped, the view keeps that prefix and says so, and rows
// that arrive later join it as they would any view.
TEST_F(StoreTest, ALongPassShowsAPrefixOfItsResultAndStopsConsistently) {
    QThreadPool* pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    pool->setMaxThreadCount(qMax(2, threads));  // the gated chunk holds one thread
    store.setFilterProgressDelay(std::chrono::milliseconds(0));
    RowArena arena;
    store.setLogDataFromFile(fileRows(arena, 70000, true));
    ASSERT_TRUE(waitUntil([&] { return store.logEventCount() == 70000; }));
    for (const bool stop : {false, true}) {
        SCOPED_TRACE(stop ? "stopped" : "landed");
        auto gated = std::make_shared<GatedAt>(69000);
        delegate.progress.clear();
        store.setLogDataFilter(gated);
        ASSERT_TRUE(waitUntil([&] { return !delegate.progress.empty(); }));
        const RowList partial = store.getDataFiltered();
        EXPECT_EQ(partial.size(), 17500);
        if (stop) store.cancelFilter();
        gated->gate.release();
        ASSERT_TRUE(waitUntil([&] { return delegate.progress.back().state != FilterProgress::State::Running; }));
        const RowList shown = store.getDataFiltered();
        if (stop) {
            EXPECT_EQ(delegate.progress.back().state, FilterProgress::State::Stopped);
            EXPECT_EQ(delegate.progress.back().shown, partial.size());
            ASSERT_TRUE(waitForPostedCalls());
            EXPECT_EQ(shown, partial) << "the prefix stays";
            const RowList later{arena.make(RowValues{70000, "01-01 00:00:01.000", "a", "1", "1", "E", "n", "x"}),
                                arena.make(RowValues{70001, "01-01 00:00:01.000", "a", "1", "1", "I", "n", "x"})};
            store.appendRows(later);
            EXPECT_EQ(store.getDataFiltered(), partial + later.mid(0, 1)) << "rows arriving later are filtered";
        } else {
            EXPECT_EQ(delegate.progress.back().state, FilterProgress::State::Done);
            ASSERT_EQ(shown.size(), 35000);
            EXPECT_EQ(shown.mid(0, partial.size()), partial);
            ASSERT_TRUE(waitUntil([&] { return delegate.last.rows.size() == 35000; }));
            EXPECT_FALSE(delegate.last.change.reset) << "the rest is appended to the rows shown";
        }
        EXPECT_EQ(store.logDataFilter(), gated);
    }
    pool->setMaxThreadCount(threads);
}

}  // namespace
}  // namespace vf
