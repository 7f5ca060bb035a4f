#include <gtest/gtest.h>

#include "core/log/pidnames.h"
#include "core/log/pstable.h"

namespace vf {
namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

TEST(PsTable, ReadsPidAndNameAndStopsAtTheTwoAbortingErrors) {
    const struct {
        const char* text;
        Entries entries;
        PsAbort abort;
    } cases[] = {
        {"USER PID PPID NAME\nu0_a12   1234  1  1000 S com.example.app\n", {{"1234", "com.example.app"}}, PsAbort::None},
        // The first surviving line is the header, whatever it holds.
        {"u0_a1 1 2 header-even-with-four-fields\r\n\r\n---- a separator\nerror: something else\n"
         "u0_a1 77 1 <pre-initialized>\nu0_a1 88 1\nu0_a1 x 123abc 0 named.by.letters\nu0_a1 00 ab cd no.integer\n",
         {{"123abc", "named.by.letters"}}, PsAbort::None},
        {"", {}, PsAbort::None},
        {"USER PID\nu 1 2 3 x\nerror: device not found\nu 4 5 6 y\n", {{"1", "x"}}, PsAbort::DeviceNotFound},
        {"error: more than one device and emulator\n", {}, PsAbort::MultipleDevices},
        {"H\nu 0 0 0 zero\n", {{"0", "zero"}}, PsAbort::None},
    };
    for (const auto& c : cases) {
        const PsTable table = parsePsText(c.text);
        EXPECT_EQ(table.entries, c.entries) << c.text;
        EXPECT_EQ(table.abort, c.abort) << c.text;
    }
}

RowPtr unnamedRow(RowArena& arena, uint64_t idx, const char* pid) {
    return arena.make(RowValues{idx, "01-01 00:00:00.000", "", pid, "1", "I", "Tag", "x"});
}

// A lookup ends however it ends (also without output); the second waiting
// row of a pid asks for one; a lookup asked for while one runs comes after.
TEST(PidNames, LookupsEndAlwaysAndNameWaitingRowsOnce) {
    RowArena arena;
    PidNames names;
    EXPECT_FALSE(names.holdUnnamed(unnamedRow(arena, 0, "7"), 100));
    EXPECT_TRUE(names.holdUnnamed(unnamedRow(arena, 1, "7"), 100));
    EXPECT_TRUE(names.beginLookup(200));
    EXPECT_FALSE(names.beginLookup(201));
    EXPECT_TRUE(names.endLookup(PsTable{}));  // no output: ended, and once more
    EXPECT_EQ(names.waitingRows(), 0);        // first seen before the lookup: given up
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
    names.endLookup(PsTable{{{"8", "com.example"}, {"9", "com.gone"}}, PsAbort::None});
    EXPECT_EQ(row->app(), "com.example");
    EXPECT_EQ(row->name(), "Tag");
    EXPECT_EQ(names.waitingRows(), 0);

    names.setUserName("10", "Mine");
    names.beginLookup(400);
    names.endLookup(PsTable{{{"8", "com.restarted"}, {"10", "com.device"}}, PsAbort::None});
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
