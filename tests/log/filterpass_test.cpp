#include <gtest/gtest.h>

#include "core/filter/query.h"
#include "core/log/filterpass.h"
#include "core/log/logparser.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

PredicatePtr quick(const char* text) { return quickFilterPredicate(QString::fromUtf8(text)).predicate; }

// Rows of every kind a pass meets: parsed lines (ASCII or not), apps from
// the pid map, main-thread tids shown as "-", names the user gave, rows
// made from plain values.
RowList sampleRows(RowArena& arena) {
    const AppNameLookup apps = [](const RowFields& fields, std::string& out) {
        if (fieldOf(fields, RowKey::Pid) != "300") return false;
        out = "com.TimeOut.app";
        return true;
    };
    RowList rows;
    const RowIndexSource next = rowCounter();
    for (const char* line : {
             "03-17 16:13:38.811  1702  2395 D Tag: a read timeout here",
             "03-17 16:13:38.812  1702  2395 D Tag: a read TIMEOUT here",
             "03-17 16:13:38.813  1702  2395 E Net: T\xC3\x8EMEOUT with a diacritic",
             "03-17 16:13:38.814  1702  2395 W Net: \xEF\xAC\x81le not found",
             "03-17 16:13:38.815   300   300 I App: main thread of a named app",
             "03-17 16:13:38.816   300   301 I TimeoutTag: the word is in the tag",
             "03-17 16:13:38.817  1702  2395 I Tag: nothing to see",
             "03-17 16:13:38.818  1702  2395 E Tag: exact",
         }) {
        const std::string_view text = arena.copyLine(line);
        rows.append(parseThreadTimeLine(arena, text, LogLineFormat::ThreadTimeLive, next, apps));
    }
    rows.append(arena.make(RowValues{100, "01-15 11:00:00.000", "", "7", "8", "I", "Tag", "values timeout"}));
    rows.append(arena.make(RowValues{101, "01-15 11:00:00.000", "", "7", "8", "I", "Tag", "values only"}));
    rows[6]->setName("TimeOut named by the user");
    return rows;
}

// A pass that scans the rows' bytes for a text its filter needs keeps
// exactly the rows that evaluating every row keeps.
TEST(FilterPass, ScanningForANeededTextKeepsWhatEvaluationKeeps) {
    RowArena arena;
    const RowList rows = sampleRows(arena);
    for (const char* text : {"timeout", "TimeOut", "-", "com.timeout", "\xEF\xAC\x81", "file", "1702", "nothing",
                             "p: text CONTAINS 'TIMEOUT'", "p: text ==[c] 'EXACT'", "p: NOT text CONTAINS[c] 'timeout'",
                             "p: name BEGINSWITH[c] 'time' AND text ENDSWITH[cd] 'tag'",
                             "p: text CONTAINS[c] 'timeout' OR name CONTAINS[c] 'timeout'",
                             "p: text CONTAINS[c] 'timeout' OR name CONTAINS[c] 'net'", "p: type == 'E'"}) {
        const PredicatePtr filter = quick(text);
        ASSERT_TRUE(filter) << text;
        std::vector<uint64_t> expected, got;
        for (const RowPtr& row : rows)
            if (acceptsRow(filter, *row)) expected.push_back(row->idx().value());
        std::atomic<bool> cancelled{false};
        const PredicatePtr combined = combineFilters({quick("p: type IN[cd] 'V,D,I,W,E,F,A'")}, filter);
        for (const PredicatePtr& applied : {filter, combined}) {
            got.clear();
            for (const RowPtr& row : runFullPass(rows, *applied, cancelled).accepted) got.push_back(row->idx().value());
            EXPECT_EQ(got, expected) << text;
        }
    }
}

// What a filter tells a pass to search for, joined by '|': words, "=word"
// for words in the bytes as they are, "<pattern>" for a pattern.
TEST(FilterPass, NeededTexts) {
    const auto told = [](const PredicatePtr& filter) {
        const HeldText held = filter->heldText();
        std::string text;
        for (const std::string& word : held.words) text += (text.empty() ? "" : "|") + word;
        for (const std::string& word : held.byteWords) text += (text.empty() ? "=" : "|=") + word;
        for (size_t i = 0; i < held.patterns.size(); ++i) text += (text.empty() ? "" : "|") + std::string("<pattern>");
        return text;
    };
    const auto query = [](const char* text) { return compileQuery(QString::fromUtf8(text)).predicate; };
    const std::pair<PredicatePtr, const char*> cases[] = {
        {quick("TimeOut"), "timeout"},
        {combineFilters({quick("p: type == 'E'")}, quick("ab")), "ab"},
        {quick("p: text CONTAINS 'Abc' AND name CONTAINS 'x'"), "abc"},          // the longest
        {quick("p: text CONTAINS[c] 'a' OR name CONTAINS[c] 'b'"), "a|b"},       // either
        {quick("p: text CONTAINS 'timeouts' OR name CONTAINS 'Time'"), "time"},  // the part will do
        {quick("p: text CONTAINS 'a' OR type == 'E'"), ""},
        {quick("p: NOT text CONTAINS 'a'"), ""},
        {quick("p: text LIKE 'a*'"), ""},
        {quick("p: type == 'E'"), ""},            // the level letter is not scanned
        {quick("\xC3\xA9t\xC3\xA9"), "ete"},      // folded as the fields are
        {quick("p: text CONTAINS '\xC3\xA9t\xC3\xA9'"), ""},
        {query("timeout | error"), "error|timeout"},
        {query("msg:timeout msg:error -tag:x"), "error|timeout"},
        {query("message~:\"timeout|Error\""), "=error|=timeout"},
        {query("message~:\"(?i)desk|Error\""), "desk|=error"},  // 'k' also matches the Kelvin sign
        {query("message~:\"^Net.*fail(ed)?$\" age:5m"), "=fail"},
        {query("message~:\\d+ms"), "<pattern>"},  // a short word: the pattern
        {query("message~:\"(?=x)y\""), "=y"},           // not searchable whole: its word
        {query("message~:a* | msg:abc"), ""},        // matches anything
        {query("buffer~:main"), ""},               // not a piece of the line
        {query("tag:ab message~:\\d+ms"), "<pattern>"},
        {query("tag:abcd message~:\\d+ms"), "abcd"}, {query("msg:ab message~:\\d+ms"), "ab|<pattern>"},
    };
    for (const auto& [filter, expected] : cases) {
        ASSERT_TRUE(filter) << expected;
        EXPECT_EQ(told(filter), expected) << filter->format().toStdString();
    }
}

}  // namespace
}  // namespace vf
