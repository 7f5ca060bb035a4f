#include <gtest/gtest.h>

#include "core/log/pidnames.h"

namespace vf {
namespace {

RowPtr unnamedRow(RowArena& arena, uint64_t idx, const char* pid) {
    return arena.make(RowValues{idx, "01-01 00:00:00.000", "", pid, "1", "I", "Tag", "x"});
}

// The second waiting row of a pid, not the first, asks for a lookup; one
// that ends without output still gives up the rows that waited since
// before it.
TEST(PidNames, TheSecondRowAsksAndALookupEndsAlways) {
    RowArena arena;
    PidNames names;
    EXPECT_FALSE(names.holdUnnamed(unnamedRow(arena, 0, "7"), 100));
    EXPECT_TRUE(names.holdUnnamed(unnamedRow(arena, 1, "7"), 100));
    names.beginLookup(200);
    names.endLookup(ProcessTable{});
    EXPECT_EQ(names.waitingRows(), 0);
}

// A late name fills the app column of the rows that waited for it (their
// tag stays); a new table updates changed pids and keeps those that are
// gone; only clearing forgets the device's names, never the user's.
TEST(PidNames, LateNamesFillTheAppAndStayUntilCleared) {
    RowArena arena;
    PidNames names;
    const RowPtr row = unnamedRow(arena, 0, "8");
    names.holdUnnamed(row, 300);
    names.beginLookup(300);
    names.endLookup(ProcessTable{PsFlavor::Unknown, {{"8", "com.example"}, {"9", "com.gone"}}, PsAbort::None});
    EXPECT_EQ(row->app(), "com.example");
    EXPECT_EQ(row->name(), "Tag");
    EXPECT_EQ(names.waitingRows(), 0);

    names.setUserName("10", "Mine");
    names.beginLookup(400);
    names.endLookup(ProcessTable{PsFlavor::Unknown, {{"8", "com.restarted"}, {"10", "com.device"}}, PsAbort::None});
    const auto app = [&](const char* pid) { return names.appName(QString::fromLatin1(pid)).toStdString(); };
    EXPECT_EQ(app("8") + ' ' + app("9") + ' ' + app("10"), "com.restarted com.gone Mine");
    names.clear();
    EXPECT_EQ(app("8") + ' ' + app("9") + ' ' + app("10"), "  Mine");
}

// Rows of pids that never get a name do not pile up.
TEST(PidNames, WaitingRowsAreBounded) {
    RowArena arena;
    PidNames names;
    for (int i = 0; i < int(PidNames::kMaxWaitingRows) + 5000; ++i) {
        const std::string pid = std::to_string(i % 50);
        names.holdUnnamed(unnamedRow(arena, uint64_t(i), pid.c_str()), i);
    }
    EXPECT_LE(names.waitingRows(), PidNames::kMaxWaitingRows);
    EXPECT_GT(names.waitingRows(), PidNames::kMaxWaitingRows - 1000);
}

}  // namespace
}  // namespace vf
