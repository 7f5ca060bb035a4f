#include <gtest/gtest.h>

#include <future>
#include <thread>
#include <utility>

#include "core/log/filterpass.h"
#include "core/log/rowstore.h"

namespace vf {
namespace {

PredicatePtr parse(const char* text) { return Predicate::parse(QString::fromUtf8(text)).predicate; }

// Rows arrive on one thread (a device's, one at a time, or a file's, a
// stretch at a time) while full passes of changing filters run and install
// on another (the runner's): the view ends up as the last filter over every
// stored row, each row once and in order. Plain threads and standard locks
// only, so ThreadSanitizer sees every hand-over.
TEST(RowStore, RowsArrivingDuringOverlappingPassesLandOnceUnderTheLastFilter) {
    for (const bool file : {false, true}) {
        RowStore store;
        file ? store.beginFile() : store.beginRun(0);
        FilterRunner runner;
        const PredicatePtr errors = parse("type == 'E'");
        std::promise<void> lastDone;
        std::thread producer([&] {
            RowList stretch;
            for (uint64_t i = 0; i < 15000; ++i) {
                RowValues values{i, "01-01 00:00:00.000", "a", "1", "1", i % 3 == 0 ? "E" : "I", "n", "x"};
                RowPtr row = store.producerArena().make(values);
                if (!file) store.addLive(row, 1000);
                if (file) stretch.append(row);
                if (file && stretch.size() == 500) store.addFileRows(std::exchange(stretch, {}));
            }
        });
        for (int i = 0; i < 20; ++i) {
            const PredicatePtr filter = i == 19 ? errors : parse(i % 2 ? "type == 'I'" : "type == 'W'");
            runner.start([&store, &lastDone, filter, i](const std::atomic<bool>& cancelled) {
                const MarkedRows snapshot = store.all();
                const QString error = store.installFilter(filter, runFullPass(snapshot.rows, *filter, cancelled),
                                                          snapshot.mark, cancelled);
                EXPECT_TRUE(error.isEmpty());
                if (i == 19) lastDone.set_value();  // nothing newer can cancel the last one
            });
        }
        producer.join();
        ASSERT_EQ(lastDone.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
        EXPECT_EQ(store.filter(), errors);
        // Rows after the install were tested as they came; all of them passed exactly once.
        const MarkedRows view = store.filtered();
        EXPECT_EQ(view.rows.size(), 5000) << (file ? "file" : "live");
        for (qsizetype i = 0; i < view.rows.size(); ++i) ASSERT_EQ(view.rows.at(i)->idx(), RowIdx(3 * i));
    }
}

// A merged timeline lets its oldest rows go: the view loses those it shows.
TEST(RowStore, FileRowsLetGoLeaveTheViewToo) {
    RowStore store;
    RowArena arena;
    RowList rows;
    for (uint64_t i = 0; i < 10; ++i)
        rows << arena.make(RowValues{i, "01-01 00:00:00.000", "a", "1", "1", i % 3 == 0 ? "E" : "I", "n", "x"});
    store.loadRows(rows);
    const PredicatePtr errors = parse("type == 'E'");
    const std::atomic<bool> going{false};
    const MarkedRows snapshot = store.all();
    store.installFilter(errors, runFullPass(snapshot.rows, *errors, going), snapshot.mark, going);
    EXPECT_TRUE(store.dropFileRows(4));  // rows 0-3, of which 0 and 3 shown
    EXPECT_EQ(store.filtered().rows, (RowList{rows.at(6), rows.at(9)}));
    EXPECT_EQ(changeBetween(snapshot.mark, store.all().mark), (StoreChange{false, 4, 0}));
    EXPECT_FALSE(store.dropFileRows(1));  // row 4 was not shown
}

// A device whose clock is an hour behind the host's (12:00) drops and
// reconnects: its replayed buffer is not stored twice and its fresh lines
// are not lost. The host-stamped status row in between, later than every
// device row, is not taken for one; clearing forgets what the device sent.
// (Either side of the host's clock is ReplayGuard's case.)
TEST(RowStore, AReconnectedDevicesReplayIsKeptOutOnItsOwnClock) {
    RowStore store;
    uint64_t idx = 0;
    const auto add = [&](const char* seconds, const char* text, qint64 nowMs) {
        const RowValues values{idx++, std::string("01-15 11:00:") + seconds, "", "7", "8", "I", "Tag", text};
        return store.addLive(store.producerArena().make(values), nowMs).stored;
    };
    store.beginRun(0);
    EXPECT_TRUE(add("01.000", "a", 10));
    EXPECT_TRUE(add("02.000", "b", 10));
    store.addMessage(RowValues{idx++, "01-15 12:00:03.000", "Vellumfox", "---", "---", "I", "---", "off"});
    store.beginRun(5'000);
    EXPECT_FALSE(add("01.000", "a", 5'010));
    EXPECT_FALSE(add("02.000", "b", 5'010));
    EXPECT_TRUE(add("02.000", "c", 5'010));  // fresh, in the same millisecond
    EXPECT_TRUE(add("04.000", "d", 5'010));
    std::string texts;
    for (const RowPtr& row : store.all().rows) texts += std::string(row->text()) + ' ';
    EXPECT_EQ(texts, "a b off c d ");

    store.clear();
    store.beginRun(9'000);
    EXPECT_TRUE(add("01.000", "a", 9'010));
}

}  // namespace
}  // namespace vf
