#include <gtest/gtest.h>

#include "core/log/boundedbuffer.h"

namespace vf {
namespace {

RowList makeRows(RowArena& arena, uint64_t first, qsizetype count) {
    RowList rows;
    for (qsizetype i = 0; i < count; ++i) {
        RowValues values;
        values.idx = first + uint64_t(i);
        values.text = "row";
        rows.append(arena.make(values));
    }
    return rows;
}

// Passes rows with an even idx; fails to evaluate the row with idx `broken`.
class EvenMatcher final : public RowMatcher {
public:
    explicit EvenMatcher(uint64_t broken = UINT64_MAX) : broken_(broken) {}
    bool matches(const Row& row, QString* error) const override {
        if (row.idx() == broken_) {
            *error = QStringLiteral("cannot evaluate");
            return false;
        }
        return row.idx() % 2 == 0;
    }

private:
    uint64_t broken_;
};

// Past the cap the pruneSize oldest rows go; capacity zero means no cap.
TEST(BoundedBuffer, PrunesThePruneSizeOldestOnlyWhenTheCapIsExceeded) {
    RowArena arena;
    BoundedBuffer buffer;
    EXPECT_FALSE(buffer.lastObject().has_value());
    for (const RowPtr& row : makeRows(arena, 0, 20000)) ASSERT_FALSE(buffer.addObject(row));
    EXPECT_TRUE(buffer.addObject(makeRows(arena, 20000, 1).first()));
    EXPECT_EQ(buffer.count(), 19001);
    EXPECT_EQ(buffer.dataArray().first()->idx(), 1000u);
    EXPECT_EQ((*buffer.lastObject())->idx(), 20000u);
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
    EXPECT_EQ(buffer.dataArray().first()->idx(), 0u);

    EXPECT_TRUE(buffer.addAllObjects(makeRows(arena, 0, 25)));
    EXPECT_EQ(buffer.count(), 22);
    EXPECT_EQ(buffer.dataArray().first()->idx(), 3u);
    EXPECT_TRUE(buffer.addObject(makeRows(arena, 25, 1).first()));
    EXPECT_EQ(buffer.count(), 20);
}

TEST(BoundedBuffer, ItemsForPredicateFiltersInOrderAndReportsEvaluationErrors) {
    RowArena arena;
    BoundedBuffer buffer;
    const EvenMatcher even;
    EXPECT_TRUE(buffer.itemsForPredicate(nullptr).isEmpty());
    EXPECT_TRUE(buffer.itemsForPredicate(&even).isEmpty());

    buffer.addAllObjects(makeRows(arena, 0, 6));
    EXPECT_EQ(buffer.itemsForPredicate(nullptr), buffer.dataArray());
    const RowList evens = buffer.itemsForPredicate(&even);
    ASSERT_EQ(evens.size(), 3);
    EXPECT_EQ(evens[0]->idx(), 0u);
    EXPECT_EQ(evens[2]->idx(), 4u);
    EXPECT_EQ(evens[1], buffer.dataArray()[2]);  // the same shared row

    QString error;
    const EvenMatcher broken(3);
    EXPECT_TRUE(buffer.itemsForPredicate(&broken, &error).isEmpty());
    EXPECT_EQ(error, QStringLiteral("cannot evaluate"));
    EXPECT_TRUE(buffer.itemsForPredicate(&broken).isEmpty());  // no error slot given
}

}  // namespace
}  // namespace vf
