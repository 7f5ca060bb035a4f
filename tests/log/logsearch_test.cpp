#include <gtest/gtest.h>

#include "core/log/logsearch.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

class SearchTest : public ::testing::Test {
protected:
    RowPtr row(const std::string& text, const std::string& type = "I") {
        return arena.make(RowValues{next++, "01-15 12:34:56.789", "com.example", "1234", "1235", type, "Tag", text});
    }
    RowList rows(std::initializer_list<const char*> texts) {
        RowList out;
        for (const char* text : texts) out.append(row(text));
        return out;
    }
    RowArena arena;
    uint64_t next = 0;
};

TEST_F(SearchTest, PatternsAreCaseSensitiveRegularExpressionsPerValue) {
    const RowPtr abc = row("abc");
    EXPECT_TRUE(RowSearch(u"a.c"_s).matches(*abc));
    EXPECT_FALSE(RowSearch(u"ABC"_s).matches(*abc));
    EXPECT_TRUE(RowSearch(u"^abc$"_s).matches(*abc));  // anchors hold for each value
    EXPECT_TRUE(RowSearch(u"^Tag$"_s).matches(*abc));
    EXPECT_TRUE(RowSearch(u"\\Aabc\\z"_s).matches(*abc));
    EXPECT_TRUE(RowSearch(u"b(?=c$)"_s).matches(*abc));
    EXPECT_FALSE(RowSearch(u"Tag\\sabc"_s).matches(*abc));  // no match across two values
    EXPECT_EQ(RowSearch(u"\\d{4}"_s).firstMatchingKey(*abc), RowKey::Pid);
    EXPECT_EQ(RowSearch(u"com"_s).firstMatchingKey(*abc), RowKey::App);
    EXPECT_TRUE(RowSearch(u"f\u00e9 ."_s).matches(*row("caf\u00e9 \xe2\x9c\x93")));  // one character, not one byte
    // Neither the level nor the index is searched; a bad pattern matches nothing.
    EXPECT_FALSE(RowSearch(u"W"_s).matches(*row("text", "W")));
    next = 987654;
    EXPECT_FALSE(RowSearch(u"987654"_s).matches(*row("x")));
    RowSearch invalid(u"(unclosed"_s);
    EXPECT_FALSE(invalid.isValid());
    EXPECT_FALSE(invalid.matches(*row("(unclosed")));
    EXPECT_FALSE(findNext(rows({"(unclosed"}), invalid, std::nullopt, 0).row);
}

TEST_F(SearchTest, WalkStartsWrapsAndBeepsAsDirected) {
    const auto pos = [](std::optional<qsizetype> at) { return at ? std::optional(ViewPos(*at)) : std::nullopt; };
    struct Case {
        std::optional<qsizetype> selected;
        int direction;
        std::optional<qsizetype> row;
        int beeps;
    };
    const RowSearch search(u"hit"_s);
    const RowList list = rows({"hit", "miss", "hit", "miss", "miss"});
    const Case cases[] = {
        {std::nullopt, 1, 2, 0}, {std::nullopt, 0, 2, 0},  // nothing selected: backward from the last row
        {2, 0, 2, 0}, {1, 0, 2, 0}, {0, 1, 2, 0},
        {2, 1, 0, 1}, {2, -1, 0, 0}, {0, -1, 2, 1},  // Find Next/Previous beep on the wrap
        {3, 0, 0, 0},                                // a typed search wraps silently
    };
    for (const Case& c : cases) {
        const SearchOutcome out = findNext(list, search, pos(c.selected), c.direction);
        EXPECT_EQ(out.row, pos(c.row)) << c.selected.value_or(-1) << " " << c.direction;
        EXPECT_EQ(out.beeps, c.beeps) << c.selected.value_or(-1) << " " << c.direction;
    }
    // The only match selected: the wrap, then the end without a match.
    const RowList one = rows({"hit"});
    EXPECT_EQ(findNext(one, search, ViewPos(0), 1).row, std::nullopt);
    EXPECT_EQ(findNext(one, search, ViewPos(0), 1).beeps, 2);
    EXPECT_EQ(findNext(one, search, ViewPos(0), 0).row, ViewPos(0));
    EXPECT_EQ(findNext(one, search, ViewPos(0), 0).beeps, 0);
    // No match, no rows or no text: no row, no beep.
    const SearchOutcome none = findNext(list, RowSearch(u"absent"_s), ViewPos(3), 0);
    EXPECT_FALSE(none.row);
    EXPECT_EQ(none.beeps, 0);
    EXPECT_FALSE(findNext(RowList(), search, std::nullopt, 1).row);
    EXPECT_FALSE(findNext(list, RowSearch(QString()), ViewPos(0), 1).row);
}

}  // namespace
}  // namespace vf
