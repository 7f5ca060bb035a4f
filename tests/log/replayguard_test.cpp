#include <gtest/gtest.h>

#include <string>

#include "core/log/replayguard.h"

namespace vf {
namespace {

uint64_t fp(const std::string& text) { return ReplayGuard::fingerprint("100", "101", "I", "Tag", text); }

// A run that stored device rows up to `lastTime`, dropped, and reconnected
// at `reconnectMs`; logcat replays the buffer and then sends fresh rows.
struct Replayed {
    std::string time;
    std::string text;
    bool replay;
};

void expectRun(ReplayGuard& guard, int64_t nowMs, const std::vector<Replayed>& rows) {
    for (const Replayed& r : rows) {
        const bool replay = guard.isReplay(r.time, fp(r.text), nowMs);
        EXPECT_EQ(replay, r.replay) << r.time << " " << r.text;
        if (!replay) guard.rowStored(r.time, fp(r.text));
    }
}

// The host's clock never enters: the same device times give the same
// answers whether the device is an hour behind or an hour ahead of the
// host (the host-stamped "Disconnected" row in between is not a device row).
TEST(ReplayGuard, DecidesOnTheDevicesClockWhateverTheHostsTime) {
    for (const char* hour : {"11", "13"}) {  // host at 12:00
        const std::string h = hour;
        ReplayGuard guard;
        guard.startRun(0);
        expectRun(guard, 100, {{"01-15 " + h + ":00:01.000", "a", false}, {"01-15 " + h + ":00:02.000", "b", false},
                               {"01-15 " + h + ":00:02.000", "c", false}});
        guard.startRun(5'000);  // reconnected
        expectRun(guard, 5'100,
                  {{"01-15 " + h + ":00:01.000", "a", true},
                   {"01-15 " + h + ":00:02.000", "b", true},
                   {"01-15 " + h + ":00:02.000", "c", true},
                   {"01-15 " + h + ":00:02.000", "d", false},  // fresh, same millisecond
                   {"01-15 " + h + ":00:06.000", "e", false},
                   {"01-15 " + h + ":00:01.000", "late", false}});  // the replay is over
    }
}

TEST(ReplayGuard, OnlyForThirtySecondsAndNotAfterClearing) {
    ReplayGuard guard;
    guard.startRun(0);
    expectRun(guard, 0, {{"12-31 23:59:59.000", "a", false}});
    guard.startRun(1'000);
    // Times compare as text: a January row sorts before a December one.
    expectRun(guard, 1'000, {{"01-01 00:00:01.000", "x", true}});
    expectRun(guard, 31'000, {{"01-01 00:00:02.000", "y", false}});

    guard.forget();
    guard.startRun(40'000);
    expectRun(guard, 40'000, {{"01-01 00:00:00.000", "z", false}});
}

TEST(ReplayGuard, FirstRunKeepsEverything) {
    ReplayGuard guard;
    guard.startRun(0);
    expectRun(guard, 0, {{"01-15 12:00:02.000", "a", false}, {"01-15 12:00:01.000", "b", false}});
}

// Only a run that carries on a log asks, and only for its first row: a
// first row later than the last one kept means the device lost lines.
TEST(ReplayGuard, AGapIsTheFirstRowOfACarriedOnRunBeingLater) {
    ReplayGuard guard;
    guard.startRun(0);
    EXPECT_FALSE(guard.awaitsFirstRow());
    EXPECT_EQ(guard.takeGap("03-17 09:41:12.300"), std::nullopt);
    guard.rowStored("03-17 09:41:12.300", fp("a"));
    EXPECT_EQ(guard.lastTime(), "03-17 09:41:12.300");
    const struct {
        const char* first;
        std::optional<int64_t> gap;
    } cases[] = {
        {"03-17 09:41:12.300", std::nullopt},  // the last row itself, asked for again
        {"03-17 09:40:00.000", std::nullopt},  // the whole buffer, from before it
        {"03-17 09:43:17.300", 125'000},
    };
    for (const auto& c : cases) {
        guard.startRun(1'000);
        EXPECT_TRUE(guard.awaitsFirstRow());
        EXPECT_EQ(guard.takeGap(c.first), c.gap) << c.first;
        EXPECT_EQ(guard.takeGap("03-17 10:00:00.000"), std::nullopt);  // the first row only
    }
    guard.forget();
    guard.startRun(2'000);
    EXPECT_EQ(guard.takeGap("03-17 10:00:00.000"), std::nullopt);
    EXPECT_EQ(guard.lastTime(), "");
}

}  // namespace
}  // namespace vf
