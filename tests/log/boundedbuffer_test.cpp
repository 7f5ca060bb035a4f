#include <gtest/gtest.h>

#include "core/log/boundedbuffer.h"

namespace vf {
namespace {

RowList makeRows(RowArena& arena, uint64_t first, qsizetype count) {
    RowList rows;
    for (qsizetype i = 0; i < count; ++i)
        rows.append(arena.make(RowValues{first + uint64_t(i), "", "", "", "", "", "", "row"}));
    return rows;
}

// Past the cap the pruneSize oldest rows go; capacity zero means no cap.
TEST(BoundedBuffer, PrunesThePruneSizeOldestOnlyWhenTheCapIsExceeded) {
    RowArena arena;
    BoundedBuffer buffer;
    for (const RowPtr& row : makeRows(arena, 0, 20000)) ASSERT_FALSE(buffer.addObject(row));
    EXPECT_TRUE(buffer.addObject(makeRows(arena, 20000, 1).first()));
    EXPECT_EQ(buffer.count(), 19001);
    EXPECT_EQ(buffer.dataArray().first()->idx().value(), 1000u);
    EXPECT_EQ(buffer.dataArray().last()->idx().value(), 20000u);
    buffer.reset();
    EXPECT_EQ(buffer.count(), 0);
    EXPECT_EQ(buffer.capacity(), 20000);

    BoundedBuffer uncapped(0);
    uncapped.setPruneSize(10);
    for (const RowPtr& row : makeRows(arena, 0, 2500)) ASSERT_FALSE(uncapped.addObject(row));
    EXPECT_FALSE(uncapped.addAllObjects(makeRows(arena, 0, 5000)));
    EXPECT_EQ(uncapped.count(), 5000);
}

// addAllObjects replaces the contents and checks the cap once, so a large
// set stays above the cap until later additions prune it further.
TEST(BoundedBuffer, AddAllReplacesAndChecksOnce) {
    RowArena arena;
    BoundedBuffer buffer(10);
    buffer.setPruneSize(3);
    buffer.addAllObjects(makeRows(arena, 100, 5));
    EXPECT_FALSE(buffer.addAllObjects(makeRows(arena, 0, 4)));
    EXPECT_EQ(buffer.count(), 4);
    EXPECT_EQ(buffer.dataArray().first()->idx().value(), 0u);

    EXPECT_TRUE(buffer.addAllObjects(makeRows(arena, 0, 25)));
    EXPECT_EQ(buffer.count(), 22);
    EXPECT_EQ(buffer.dataArray().first()->idx().value(), 3u);
    EXPECT_TRUE(buffer.addObject(makeRows(arena, 25, 1).first()));
    EXPECT_EQ(buffer.count(), 20);
}

// The mark counts what was appended and dropped; replacing starts a new epoch,
// and the change between two marks says exactly that.
TEST(BoundedBuffer, ItsMarkTellsWhatChanged) {
    RowArena arena;
    BoundedBuffer buffer(4);
    buffer.setPruneSize(2);
    const ListMark empty = buffer.mark();
    for (const RowPtr& row : makeRows(arena, 0, 5)) buffer.addObject(row);
    const ListMark five = buffer.mark();
    buffer.addObject(makeRows(arena, 5, 1).first());
    buffer.reset();
    const ListMark cleared = buffer.mark();
    buffer.addAllObjects(makeRows(arena, 0, 3));
    const struct {
        ListMark from, to;
        StoreChange change;
    } cases[] = {
        {empty, five, {false, 2, 5}},
        {five, five, {}},
        {five, cleared, {true, 0, 0}},
        {cleared, buffer.mark(), {true, 0, 0}},
        {five, empty, {true, 0, 0}},  // going back is never a diff
    };
    for (const auto& c : cases) EXPECT_EQ(changeBetween(c.from, c.to), c.change);
}

}  // namespace
}  // namespace vf
