// The crash detector over small logs written to look like device output
// (tests/data/crashes): each form, interleaved reporters, CR LF, threadtime,
// brief and time layouts, blocks cut off by the end of the log.
#include <gtest/gtest.h>

#include <map>

#include "core/log/crashdetector.h"
#include "core/log/logparser.h"

namespace vf {
namespace {

// One "kind|app|pid|time|title|rows|first text|last text" line per crash (texts trimmed).
std::vector<std::string> detectIn(const char* name) {
    const auto rows = readTextFile(QStringLiteral(VF_TEST_DATA_DIR "/crashes/") + QString::fromLatin1(name), rowCounter());
    EXPECT_TRUE(rows.has_value()) << name;
    std::map<RowIdx, std::string> texts;
    CrashDetector detector;
    for (const RowPtr& row : rows.value_or(RowList())) {
        std::string_view text = row->text();
        while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
        texts[row->idx()] = text;
        detector.feed(*row);
    }
    detector.finish();
    std::vector<std::string> out;
    for (const CrashRecord& c : detector.crashes()) {
        out.push_back(std::string(crashKindName(c.kind)) + '|' + c.app + '|' + c.pid + '|' + c.time + '|' + c.title +
                      '|' + std::to_string(c.rows.size()) + '|' + texts[c.firstIdx()] + '|' + texts[c.lastIdx()]);
    }
    return out;
}

TEST(CrashDetector, FindsEveryFormInTheTestLogs) {
    const struct {
        const char* file;
        std::vector<std::string> expected;
    } cases[] = {
        // Two apps die at once (CR LF); an app's own "FATAL EXCEPTION" and a
        // logged exception without "at" lines are not crashes.
        {"java-threadtime.log",
         {"java|com.example.app|4242|03-17 16:13:40.101|java.lang.IllegalStateException: Could not execute method for "
          "android:onClick|8|FATAL EXCEPTION: main|... 11 more",
          "java|com.example.sync|5151|03-17 16:13:40.101|kotlin.NotImplementedError: An operation is not implemented: "
          "sync|5|FATAL EXCEPTION: DefaultDispatcher-worker-2|at "
          "kotlinx.coroutines.DispatchedTask.run(DispatchedTask.kt:106)"}},
        // libc's line takes in its dump; a second dump interleaves with the first.
        {"native-threadtime.log",
         {"native|com.example.game|6001|03-17 16:14:02.500|Fatal signal 11 (SIGSEGV), code 1 (SEGV_MAPERR), fault addr "
          "0x0|11|Fatal signal 11 (SIGSEGV), code 1 (SEGV_MAPERR), fault addr 0x0 in tid 6020 (RenderThread), pid 6001 "
          "(com.example.game)|#01 pc 0000000000012345  /data/app/com.example.game/lib/x86_64/libgame.so "
          "(render_frame+52)",
          "native|/system/bin/mediaserver|6300|03-17 16:14:02.641|signal 6 (SIGABRT), code -1 (SI_QUEUE), fault addr "
          "--------|5|*** *** *** *** *** *** *** *** *** *** *** *** *** *** *** ***|#00 pc 00000000000523a8  "
          "/apex/com.android.runtime/lib64/bionic/libc.so (abort+164)"}},
        {"native-brief-legacy.log",
         {"native|com.example.legacy|2345||signal 6 (SIGABRT), code -6 (SI_TKILL), fault addr --------|8|*** *** *** "
          "*** *** *** *** *** *** *** *** *** *** *** *** ***|#01  pc 00013171  /system/lib/libc.so "
          "(pthread_kill+48)"}},
        {"anr-time.log",
         {"anr|com.example.slow|7007|03-17 16:20:01.000|Input dispatching timed out (Waiting to send non-key event "
          "because the touched window has not finished processing)|6|ANR in com.example.slow "
          "(com.example.slow/.MainActivity)|45% 7007/com.example.slow: 40% user + 5% kernel / faults: 1200 minor",
          "anr|com.example.stuck|7110|03-17 16:25:11.300|executing service "
          "com.example.stuck/.SyncService|3|ANR (application not responding) in process: com.example.stuck|Reason: "
          "executing service com.example.stuck/.SyncService"}},
        // The log ends inside the last two blocks (no final line feed).
        {"system-cutoff-threadtime.log",
         {"system|system_server|1702|03-17 16:30:00.000|java.lang.NullPointerException: Attempt to read from field "
          "'int com.android.server.am.ProcessRecord.pid' on a null object reference|3|*** FATAL EXCEPTION IN SYSTEM "
          "PROCESS: android.bg|at com.android.server.am.ActiveServices.bringDownServiceLocked(ActiveServices.java:2101)",
          "java||8080|03-17 16:31:00.000|java.lang.RuntimeException: Unable to start activity "
          "ComponentInfo{com.example.bare/com.example.bare.Main}|2|java.lang.RuntimeException: Unable to start activity "
          "ComponentInfo{com.example.bare/com.example.bare.Main}|at "
          "android.app.ActivityThread.performLaunchActivity(ActivityThread.java:3449)",
          "native|com.example.cut|9000|03-17 16:31:00.000|native crash|2|*** *** *** *** *** *** *** *** *** *** *** "
          "*** *** *** *** ***|pid: 9000, tid: 9001, name: worker  >>> com.example.cut <<<"}},
    };
    for (const auto& c : cases) EXPECT_EQ(detectIn(c.file), c.expected) << c.file;
}

// Rows built directly, for the bounds and the tag the store overwrote.
class DetectorFeed : public ::testing::Test {
protected:
    void feed(std::string pid, std::string tid, char level, std::string tag, std::string text, std::string app = {}) {
        detector.feed(*arena_.make(RowValues{next_++, "03-17 10:00:00.000", std::move(app), std::move(pid),
                                             std::move(tid), std::string(1, level), std::move(tag), std::move(text)}));
    }
    // A row of another source (a second device in a merged timeline) with its own idx.
    void feedOther(uint64_t idx, std::string pid, char level, std::string tag, std::string text) {
        other_.setSourceLabel("other");
        detector.feed(*other_.make(RowValues{idx, "03-17 10:00:00.000", "", pid, std::move(pid), std::string(1, level),
                                             std::move(tag), std::move(text)}));
    }
    CrashDetector detector;

private:
    RowArena arena_, other_;
    uint64_t next_ = 0;
};

TEST_F(DetectorFeed, KeepsTheFirstRowsOfALongBlockAndTheNewestCrashes) {
    feed("10", "10", 'E', "AndroidRuntime", "FATAL EXCEPTION: main");
    for (int i = 0; i < 600; ++i) feed("10", "10", 'E', "AndroidRuntime", "\tat a.B.c(B.java:1)");
    ASSERT_EQ(detector.crashes().size(), 1u);
    EXPECT_EQ(detector.crashes()[0].rows.size(), CrashDetector::kMaxRowsPerCrash);
    EXPECT_EQ(detector.crashes()[0].droppedRows, 101u);
    EXPECT_EQ(detector.crashes()[0].lastIdx().value(), CrashDetector::kMaxRowsPerCrash - 1);

    for (int i = 0; i < 1000; ++i)
        feed(std::to_string(100 + i), "1", 'F', "libc", "Fatal signal 6 (SIGABRT), code -1 (SI_QUEUE) in tid 1 (a), pid 1 (a)");
    EXPECT_EQ(detector.crashes().size(), CrashDetector::kMaxCrashes);
    EXPECT_EQ(detector.crashes().front().id, 2u);
    EXPECT_EQ(detector.detectedCount(), 1001u);
    EXPECT_EQ(detector.droppedCount(), 1u);
    // The long block's crash is gone: its reporter's next lines start nothing.
    feed("10", "10", 'E', "AndroidRuntime", "\tat a.B.c(B.java:2)");
    EXPECT_EQ(detector.crashes().back().id, 1001u);
}

TEST_F(DetectorFeed, EndsABlockWhoseReporterFellSilent) {
    feed("30", "31", 'E', "AndroidRuntime", "FATAL EXCEPTION: main");
    for (int i = 0; i < 2'001; ++i) feed("40", "41", 'I', "Other", "busy");
    feed("30", "31", 'E', "AndroidRuntime", "\tat a.B.c(B.java:1)");
    ASSERT_EQ(detector.crashes().size(), 1u);
    EXPECT_EQ(detector.crashes()[0].rows.size(), 1u);
}

TEST_F(DetectorFeed, TakesAStartLineUnderAReplacedTagOnlyAtAnErrorLevel) {
    feed("20", "20", 'I', "com.example.named", "FATAL EXCEPTION: main");
    EXPECT_TRUE(detector.crashes().empty());
    feed("20", "20", 'E', "com.example.named", "FATAL EXCEPTION: main");
    feed("20", "20", 'E', "com.example.named", "Process: com.example.named, PID: 20");
    ASSERT_EQ(detector.crashes().size(), 1u);
    EXPECT_EQ(detector.crashes()[0].app, "com.example.named");
    EXPECT_EQ(detector.crashes()[0].rows.size(), 2u);
    const uint64_t revision = detector.revision();
    detector.clear();
    EXPECT_TRUE(detector.crashes().empty());
    EXPECT_NE(detector.revision(), revision);
}

TEST_F(DetectorFeed, ADeathCompletesItsCrashWhichShowsItsUser) {
    feed("4567", "4567", 'E', "AndroidRuntime", "java.lang.IllegalStateException: boom", "com.flash@10");
    feed("4567", "4567", 'E', "AndroidRuntime", "\tat com.flash.M.onCreate(M.java:1)", "com.flash@10");
    feed("900", "900", 'I', "Other", "busy");
    ASSERT_EQ(detector.crashes().size(), 1u);
    EXPECT_EQ(detector.crashes()[0].app, "com.flash@10");
    EXPECT_TRUE(detector.isOpen(detector.crashes()[0].id));
    feed("1102", "1133", 'I', "ActivityManager", "Process com.flash (pid 4567) has died: fg TOP");
    EXPECT_FALSE(detector.isOpen(detector.crashes()[0].id)) << "complete when its process is gone, not 2,000 rows later";

    // The block's own name, with the user its rows show; a native dump is
    // about another pid than its reporter's.
    feed("4600", "4600", 'E', "AndroidRuntime", "FATAL EXCEPTION: main", "com.work:ui@10");
    feed("4600", "4600", 'E', "AndroidRuntime", "Process: com.work:ui, PID: 4600", "com.work:ui@10");
    EXPECT_EQ(detector.crashes().back().app, "com.work:ui@10");
    feed("700", "700", 'F', "DEBUG", "*** *** *** *** *** *** *** *** *** *** *** *** *** *** *** ***", "crash_dump64");
    feed("700", "700", 'F', "DEBUG", "pid: 4700, tid: 4701, name: x  >>> com.native <<<", "crash_dump64");
    EXPECT_EQ(detector.crashes().back().app, "com.native");
    feed("1102", "1133", 'I', "ActivityManager ", "Process com.native (pid 4700) has died");
    EXPECT_TRUE(detector.isOpen(detector.crashes()[1].id)) << "another process";
    EXPECT_FALSE(detector.isOpen(detector.crashes().back().id));
}

// Sources of a merged timeline share pids: a row joins only its own source's
// block, and only its own source's death ends one.
TEST_F(DetectorFeed, KeepsTheBlocksOfSourcesSharingAPidApart) {
    feed("50", "50", 'E', "AndroidRuntime", "FATAL EXCEPTION: main");
    feedOther(1, "50", 'E', "AndroidRuntime", "\tat other.Device.run(D.java:1)");
    feedOther(2, "1102", 'I', "ActivityManager", "Process com.other (pid 50) has died");
    feed("50", "50", 'E', "AndroidRuntime", "\tat a.B.c(B.java:1)");
    ASSERT_EQ(detector.crashes().size(), 1u);
    EXPECT_EQ(detector.crashes()[0].rows, (std::vector{RowIdx(0), RowIdx(1)}));
    EXPECT_TRUE(detector.isOpen(detector.crashes()[0].id));
}

struct IdxRow final : FieldSource {
    uint64_t idx;
    std::string source;
    explicit IdxRow(uint64_t i, std::string from = {}) : idx(i), source(std::move(from)) {}
    std::string_view field(RowKey key, FieldScratch& scratch) const override {
        if (key == RowKey::Source) return source;
        if (key != RowKey::Idx) return {};
        const int n = std::snprintf(scratch.data(), scratch.size(), "%llu", static_cast<unsigned long long>(idx));
        return {scratch.data(), size_t(n)};
    }
};

TEST(CrashRowsPredicate, PassesExactlyItsRowsAndPrintsAnEquivalentFilter) {
    const PredicatePtr rows = rowsPredicate({RowIdx(12), RowIdx(3), RowIdx(120)});
    const PredicatePtr reparsed = Predicate::parse(rows->format()).predicate;
    ASSERT_TRUE(reparsed);
    for (const uint64_t idx : {0, 1, 2, 3, 12, 20, 120, 1203}) {
        const bool wanted = idx == 3 || idx == 12 || idx == 120;
        EXPECT_EQ(rows->evaluate(IdxRow(idx), nullptr), wanted) << idx;
        EXPECT_EQ(reparsed->evaluate(IdxRow(idx), nullptr), wanted) << idx;
    }
    // In a merged timeline the crash's source counts too.
    const PredicatePtr ofA = rowsPredicate({RowIdx(3)}, "dev \"a\"");
    for (const PredicatePtr& each : {ofA, Predicate::parse(ofA->format()).predicate}) {
        ASSERT_TRUE(each) << ofA->format().toStdString();
        EXPECT_TRUE(each->evaluate(IdxRow(3, "dev \"a\""), nullptr));
        EXPECT_FALSE(each->evaluate(IdxRow(3, "b"), nullptr));
    }
}

}  // namespace
}  // namespace vf
