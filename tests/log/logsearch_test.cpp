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

TEST_F(SearchTest, PatternsAreCaseSensitiveRegularExpressions) {
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
    const RowPtr accented = row("caf\u00e9 \xe2\x9c\x93");
    EXPECT_TRUE(RowSearch(u"f\u00e9 ."_s).matches(*accented));  // one character, not one byte
}

TEST_F(SearchTest, LevelAndIndexAreNotSearchedAndBadPatternsMatchNothing) {
    const RowPtr r = row("text", "W");
    EXPECT_FALSE(RowSearch(u"W"_s).matches(*r));
    next = 987654;
    EXPECT_FALSE(RowSearch(u"987654"_s).matches(*row("x")));
    RowSearch invalid(u"(unclosed"_s);
    EXPECT_FALSE(invalid.isValid());
    EXPECT_FALSE(invalid.matches(*row("(unclosed")));
    EXPECT_FALSE(findNext(rows({"(unclosed"}), invalid, std::nullopt, 0).row);
}

TEST_F(SearchTest, FindNextOnTheOnlyMatchWrapsToItselfAndReportsNoMatch) {
    const RowList list = rows({"hit"});
    const RowSearch search(u"hit"_s);
    const SearchOutcome next = findNext(list, search, 0, 1);
    EXPECT_FALSE(next.row);
    EXPECT_EQ(next.beeps, 2);  // the wrap, then the end without a match
    const SearchOutcome here = findNext(list, search, 0, 0);
    EXPECT_EQ(here.row, 0);
    EXPECT_EQ(here.beeps, 0);
}

TEST_F(SearchTest, WalkStartsAndWrapsAsDirected) {
    const RowList list = rows({"hit", "miss", "hit", "miss", "miss"});
    const RowSearch search(u"hit"_s);
    // Nothing selected: backward from the last row, whatever was asked.
    EXPECT_EQ(findNext(list, search, std::nullopt, 1).row, 2);
    EXPECT_EQ(findNext(list, search, std::nullopt, 0).row, 2);
    EXPECT_EQ(findNext(list, search, 2, 0).row, 2);
    EXPECT_EQ(findNext(list, search, 1, 0).row, 2);
    EXPECT_EQ(findNext(list, search, 0, 1).row, 2);
    const SearchOutcome wrapped = findNext(list, search, 2, 1);
    EXPECT_EQ(wrapped.row, 0);
    EXPECT_EQ(wrapped.beeps, 1);
    EXPECT_EQ(findNext(list, search, 2, -1).row, 0);
    const SearchOutcome back = findNext(list, search, 0, -1);
    EXPECT_EQ(back.row, 2);
    EXPECT_EQ(back.beeps, 1);
    // A typed search wraps silently.
    const SearchOutcome typed = findNext(list, search, 3, 0);
    EXPECT_EQ(typed.row, 0);
    EXPECT_EQ(typed.beeps, 0);
    const SearchOutcome none = findNext(list, RowSearch(u"absent"_s), 3, 0);
    EXPECT_FALSE(none.row);
    EXPECT_EQ(none.beeps, 0);
    EXPECT_FALSE(findNext(RowList(), search, std::nullopt, 1).row);
    EXPECT_FALSE(findNext(list, RowSearch(QString()), 0, 1).row);
}

}  // namespace
}  // namespace vf
