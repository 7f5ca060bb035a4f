#include <gtest/gtest.h>

#include <thread>

#include "core/log/logrow.h"
#include "helpers.h"

namespace vf {
namespace {

TEST(LogRow, FieldsInsideTheLineAreStoredAsOffsetsAndOthersCopied) {
    RowArena arena;
    const std::string_view line = arena.copyLine("01-15 12:34:56.789  1234  1234 I Tag     : hello\n");
    const RowFields fields{
        line.substr(0, 18), "com.example.app", line.substr(20, 4), "-", line.substr(31, 1),
        line.substr(33, 8), line.substr(42, 6)};
    const RowPtr row = arena.make(RowIdx(7), line, fields);
    EXPECT_EQ(test::fields(*row), "01-15 12:34:56.789|com.example.app|1234|-|I|Tag     | hello");
    EXPECT_EQ(row->idx().value(), 7u);
    EXPECT_EQ(row->string(RowKey::Idx), QStringLiteral("7"));

    // Adopted text is not copied.
    const std::string_view text = arena.adopt(std::string("a b c\nd e f"));
    const RowPtr adopted =
        arena.make(RowIdx(0), text.substr(6), RowFields{{{}, {}, text.substr(6, 1), {}, {}, {}, text.substr(8)}});
    EXPECT_EQ(adopted->pid().data(), text.data() + 6);
    EXPECT_EQ(adopted->text(), "e f");
}

TEST(LogRow, LaterWritesShowInEveryCopyAndOldViewsStayValid) {
    RowArena arena;
    RowPtr row = arena.make(RowValues{1, "", "", "42", "", "", "", std::string(70000, 'x')});  // longer than any offset
    RowList list{row, row};
    const std::string_view before = list[0]->name();
    row->setName("com.example");
    row->setApp("app");
    EXPECT_EQ(list[1]->name(), "com.example");
    EXPECT_EQ(list[1]->app(), "app");
    EXPECT_EQ(list[1]->text().size(), 70000u);
    EXPECT_TRUE(before.empty());
}

TEST(LogRow, RowsOutliveTheirArenaAndSegmentsAcrossThreads) {
    RowList rows;
    {
        RowArena arena;
        for (int i = 0; i < 20000; ++i) {
            const std::string_view line = arena.copyLine("line " + std::to_string(i));
            rows.append(arena.make(RowIdx(i), line, RowFields{{{}, {}, {}, {}, {}, {}, line}}));
        }
    }
    RowList copy = rows;
    std::thread reader([copy] {
        for (const RowPtr& row : copy) ASSERT_FALSE(row->text().empty());
    });
    rows.remove(0, 10000);
    reader.join();
    EXPECT_EQ(copy.size(), 20000);
    EXPECT_EQ(copy.last()->text(), "line 19999");
    EXPECT_EQ(rows.first()->text(), "line 10000");
}

TEST(LogRow, PositionOfFindsARowByItsNumber) {
    RowArena arena;
    RowList rows;
    for (const uint64_t idx : {3, 4, 7, 20}) rows.append(arena.make(RowValues{idx, "", "", "", "", "", "", "x"}));
    const struct {
        uint64_t idx;
        std::optional<qsizetype> at;
    } cases[] = {{3, 0}, {7, 2}, {20, 3}, {0, std::nullopt}, {5, std::nullopt}, {21, std::nullopt}};
    for (const auto& c : cases) {
        const std::optional<ViewPos> found = positionOf(rows, RowIdx(c.idx));
        EXPECT_EQ(found ? std::optional(found->value()) : std::nullopt, c.at) << c.idx;
    }
    EXPECT_FALSE(positionOf(RowList(), RowIdx(0)));
}

}  // namespace
}  // namespace vf
