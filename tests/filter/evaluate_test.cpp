#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "core/filter/foldtable.h"
#include "core/filter/textmatch.h"
#include "filter/fakerow.h"

using namespace Qt::StringLiterals;

namespace vf {
namespace {

using test::FakeRow;
using test::holds;
using test::parsed;

FakeRow typed(const char* type) { return FakeRow{{RowKey::Type, type}}; }

// Every filter in `pass` holds on `row`, none in `fail` does.
void expectOn(const FieldSource& row, std::initializer_list<const char*> pass, std::initializer_list<const char*> fail) {
    for (const char* text : pass) EXPECT_TRUE(holds(text, row)) << text;
    for (const char* text : fail) EXPECT_FALSE(holds(text, row)) << text;
}

TEST(FilterEvaluate, LevelPresetTakesItsLevelsInEitherCaseAndNothingElse) {
    const char* warn = "type IN[cd] 'W,E,F,A'";
    // The commas mean nothing: a comma, or a run of the list, is "in" it.
    for (const char* level : {"W", "E", "F", "A", "w", "e", "f", "a", ",", "w,e"})
        EXPECT_TRUE(holds(warn, typed(level))) << level;
    for (const char* level : {"V", "D", "I", "v", "", "WF"}) EXPECT_FALSE(holds(warn, typed(level))) << level;
    expectOn(typed("W"), {"type IN 'W,E'"}, {});
    expectOn(typed("w"), {}, {"type IN 'W,E'"});  // without [c] case matters
}

TEST(FilterEvaluate, EqualityAndEmptyText) {
    // Values are text: no number conversion. Empty text is found nowhere.
    expectOn(FakeRow{{RowKey::App, "com.Example.App"}, {RowKey::Pid, "1234"}, {RowKey::Text, "hello"}},
             {"app == 'com.Example.App'", "app ==[c] 'COM.EXAMPLE.APP'", "app =[cd] 'com.example.app'",
              "app !=[cd] 'com.example'", "pid == 1234", "name == ''"},
             {"app == 'com.example.app'", "app ==[cd] 'com.example'", "app <>[c] 'COM.EXAMPLE.APP'", "pid == '01234'",
              "text CONTAINS ''", "text CONTAINS[cd] ''", "text BEGINSWITH[c] ''", "name IN 'abc'", "name != ''"});
    EXPECT_TRUE(holds("idx == '42'", FakeRow({}, 42)));
}

TEST(FilterEvaluate, SubstringOperators) {
    expectOn(FakeRow{{RowKey::Text, "Connection TIMEOUT after 30s"}, {RowKey::Name, "NetTag"}},
             {"text CONTAINS[c] 'timeout'", "text CONTAINS 'TIMEOUT'", "text BEGINSWITH[cd] 'connection'",
              "text ENDSWITH[c] '30S'", "name LIKE[c] 'net*'", "name LIKE 'N?t*g'"},
             {"text CONTAINS 'timeout'", "text BEGINSWITH 'connection'", "text ENDSWITH[c] 'after'", "name LIKE 'Net'"});
    // Long texts take the wide scan; hits at the very start and end count.
    std::string longText(300, 'x');
    longText.replace(0, 4, "Ab12");
    longText.replace(longText.size() - 5, 5, "ZyXwV");
    expectOn(FakeRow{{RowKey::Text, longText}}, {"text CONTAINS[cd] 'ab12'", "text CONTAINS[cd] 'xzyxwv'"},
             {"text CONTAINS[cd] 'xab12'", "text CONTAINS[cd] 'zyxwvx'"});
}

TEST(FilterEvaluate, DiacriticsAndUnicodeCase) {
    // Decomposed and precomposed spellings are the same text once folded.
    expectOn(FakeRow{{RowKey::Text, "Le Café est ouvert"}, {RowKey::Name, "É"}},
             {"text CONTAINS[cd] 'cafe'", "text CONTAINS[d] 'Cafe'", "text CONTAINS[c] 'CAFÉ'", "name ==[d] 'E'",
              "name ==[c] 'é'", "name ==[cd] 'e'", "name ==[cd] 'ê'", "name ==[c] 'E\\u0301'"},
             {"text CONTAINS[c] 'cafe '", "name ==[c] 'E'", "name ==[d] 'e'"});
    // An ASCII row never holds a needle that stays non-ASCII after folding.
    EXPECT_FALSE(holds("text CONTAINS[c] 'ü'", FakeRow{{RowKey::Text, "u plain ascii text that is long enough"}}));
    EXPECT_TRUE(holds("text CONTAINS[c] 'ÜBER'", FakeRow{{RowKey::Text, "Grüße über alles"}}));
    EXPECT_TRUE(holds("type IN[cd] 'E,F,A'", typed("É")));
}

TEST(FilterEvaluate, PrecedenceAndNegation) {
    // NOT binds tighter than AND, AND tighter than OR.
    expectOn(FakeRow{{RowKey::Type, "E"}, {RowKey::Name, "net"}, {RowKey::Text, "boom"}},
             {"type == 'W' AND name == 'x' OR text == 'boom'", "NOT type == 'W' AND name == 'net'",
              "!(type == 'W') && name == 'net' || FALSEPREDICATE", "not not type == 'E'", "TRUEPREDICATE"},
             {"type == 'W' AND (name == 'x' OR text == 'boom')", "NOT (type == 'E' AND name == 'net')",
              "FALSEPREDICATE OR type == 'W'"});
}

TEST(FilterEvaluate, OnePredicateServesManyThreads) {
    const PredicatePtr predicate = parsed("type IN[cd] 'E,F,A' AND text CONTAINS[cd] 'café'");
    const FakeRow hit{{RowKey::Type, "e"}, {RowKey::Text, "au CAFE"}};
    const FakeRow miss{{RowKey::Type, "e"}, {RowKey::Text, "au bar"}};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i)
                if (!predicate->evaluate(hit, nullptr) || predicate->evaluate(miss, nullptr)) ++wrong;
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

using namespace textmatch;

std::string reference(const std::string& text, uint8_t options) {
    return foldString(QString::fromUtf8(text.data(), qsizetype(text.size())), options).toUtf8().toStdString();
}

TEST(TextMatch, FoldingByCharacterAgreesWithTheReference) {
    const std::vector<std::string> texts{
        "Caf\xC3\xA9 \xC3\x89T\xC3\x89",               // precomposed accents
        "e\xCC\x81 a\xCC\xA3\xCC\x81 a\xCC\x81\xCC\xA3",  // marks in and out of canonical order
        "\xC3\xA9\xCC\xA3",                             // a mark after a decomposed letter
        "\xE2\x84\xAA \xC3\x9F \xC5\xBF \xE1\xBA\x9E",      // Kelvin sign, sharp s, long s, capital sharp s
        "\xED\x95\x9C\xEA\xB8\x80 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x93\xB1 \xE2\x80\x94",  // Hangul, CJK, emoji, dash
        "\xC4\xB0stanbul \xCE\xA3\xCE\xA9\xCE\xA3",     // dotted capital I, Greek capitals
        "plain ascii"};
    for (int options : {1, 2, 3})  // [c], [d], [cd]
        for (const std::string& text : texts) EXPECT_EQ(fold(text, uint8_t(options)), reference(text, uint8_t(options))) << text;
    // Malformed UTF-8 still folds (the reference way) rather than failing.
    EXPECT_EQ(fold("a\xC3", kCaseInsensitive), reference("a\xC3", kCaseInsensitive));
    EXPECT_EQ(fold("x\xF0\x9F", kDiacriticInsensitive), reference("x\xF0\x9F", kDiacriticInsensitive));
    EXPECT_EQ(fold("ABC", kNoOptions), "ABC");
}

// The wide scan against a plain search, over needle positions that straddle
// its 16-byte steps and the scalar tail; and the search that also stops
// at the first byte other than ASCII.
TEST(TextMatch, SearcherFindsWhatANaiveSearchFinds) {
    std::mt19937 random(7);
    const std::string alphabet = "abAB-xyXY\xC3\xA9";
    for (int round = 0; round < 3000; ++round) {
        std::string text(random() % 70, 'a');
        for (char& c : text) c = alphabet[random() % alphabet.size()];
        std::string needle(1 + random() % 5, 'a');
        for (char& c : needle) c = "abxy-"[random() % 5];
        bool expected = false;
        size_t at = 0;
        for (; at + needle.size() <= text.size() && !expected; ++at) {
            size_t k = 0;
            while (k < needle.size() && lowerAscii(static_cast<unsigned char>(text[at + k])) == needle[k]) ++k;
            expected = k == needle.size();
        }
        // Whichever comes first: the match or a byte >= 0x80.
        const size_t high = firstNonAscii(text);
        const size_t first = std::min(expected ? at - 1 : std::string::npos, high);
        bool nonAscii = false;
        EXPECT_EQ(Searcher(needle, true).findOrNonAscii(text, nonAscii), first) << text << " / " << needle;
        EXPECT_EQ(nonAscii, first != std::string::npos && first == high) << text << " / " << needle;
        const Searcher::Result result = Searcher(needle, true).scan(text);
        EXPECT_EQ(result == Searcher::Result::Found, expected) << text << " / " << needle;
        if (!expected) {
            EXPECT_EQ(result == Searcher::Result::AbsentNonAscii, !isAscii(text)) << text << " / " << needle;
        }
        EXPECT_EQ(Searcher(needle, false).scan(text) == Searcher::Result::Found,
                  text.find(needle) != std::string::npos);
    }
}

}  // namespace
}  // namespace vf
