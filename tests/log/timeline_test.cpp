#include <gtest/gtest.h>

#include "core/log/timeline.h"

namespace vf::test {
namespace {

// Rows named by their text; a time of "-" is one that does not read.
RowList rowsAt(RowArena& arena, std::initializer_list<std::pair<const char*, const char*>> rows) {
    RowList list;
    uint64_t idx = 0;
    for (const auto& [time, text] : rows)
        list << arena.make(RowValues{idx++, time == std::string_view("-") ? "" : time, "", "1", "1", "I", "T", text});
    return list;
}

std::string order(const std::vector<TimelineRow>& merged) {
    std::string out;
    for (const TimelineRow& each : merged) out += std::string(each.row->text()) + std::to_string(each.source) + ' ';
    return out;
}

TEST(Timeline, MergesSourcesOnTheHostsClock) {
    RowArena arena;
    const RowList a = rowsAt(arena, {{"03-17 09:00:00.000", "a"}, {"03-17 09:00:00.100", "b"}, {"03-17 09:00:01.000", "c"}});
    // An hour ahead of the host: its 10:00:00.050 is the host's 09:00:00.050.
    const RowList ahead = rowsAt(arena, {{"03-17 10:00:00.050", "x"}, {"03-17 10:00:00.100", "y"}, {"03-17 10:00:02.000", "z"}});
    const RowList odd = rowsAt(arena, {{"03-17 09:00:00.500", "p"}, {"-", "q"}, {"03-17 09:00:00.200", "r"}});

    const struct {
        std::vector<TimelineSource> sources;
        std::string order;
    } cases[] = {
        {{{a, 0}, {ahead, 3'600'000}}, "a0 x1 b0 y1 c0 z1 "},  // equal times: the first source first
        {{{ahead, 3'600'000}, {a, 0}}, "a1 x0 y0 b1 c1 z0 "},
        {{{a, 0}, {ahead, 0}}, "a0 b0 c0 x1 y1 z1 "},           // without the offset an hour apart
        {{{a, 0}, {odd, 0}}, "a0 b0 p1 q1 r1 c0 "},             // a source's own order is kept
        {{{a, 0}, {{}, 0}}, "a0 b0 c0 "},
        {{}, ""},
    };
    for (const auto& c : cases) EXPECT_EQ(order(mergeByTime(c.sources)), c.order);
}

// Rows shown (by source) and rows owed per source: how many leave the
// front, and what stays owed.
TEST(Timeline, LetsGoOnlyTheLeadingRowsTheirSourcesLetGo) {
    using Case = std::tuple<std::deque<int>, std::vector<size_t>, size_t, std::vector<size_t>>;
    for (auto [shown, owed, gone, left] : {Case{{0, 1, 0, 1}, {1, 1}, 2, {0, 0}},
                                           Case{{0, 0, 1, 0}, {3, 0}, 2, {1, 0}},  // held behind a row still held
                                           Case{{1, 0, 0}, {2, 0}, 0, {2, 0}}, Case{{}, {1}, 0, {1}}}) {
        EXPECT_EQ(leadingLetGo(shown, owed), gone);
        EXPECT_EQ(owed, left);
    }
}

}  // namespace
}  // namespace vf::test
