#include <gtest/gtest.h>

#include <thread>

#include "filter/fakerow.h"

using namespace Qt::StringLiterals;

namespace vf {
namespace {

using test::FakeRow;
using test::holds;
using test::parsed;

FakeRow typed(const char* type) { return FakeRow{{RowKey::Type, type}}; }

TEST(FilterEvaluate, LevelPresetTakesItsLevelsInEitherCaseAndNothingElse) {
    const char* warn = "type IN[cd] 'W,E,F,A'";
    for (const char* level : {"W", "E", "F", "A", "w", "e", "f", "a"}) EXPECT_TRUE(holds(warn, typed(level))) << level;
    for (const char* level : {"V", "D", "I", "v", ""}) EXPECT_FALSE(holds(warn, typed(level))) << level;
    // The commas mean nothing: a comma, or a run of the list, is "in" it.
    EXPECT_TRUE(holds(warn, typed(",")));
    EXPECT_TRUE(holds(warn, typed("w,e")));
    EXPECT_FALSE(holds(warn, typed("WF")));
    // Without [c] case matters.
    EXPECT_FALSE(holds("type IN 'W,E'", typed("w")));
    EXPECT_TRUE(holds("type IN 'W,E'", typed("W")));
}

TEST(FilterEvaluate, EmptyTextIsFoundNowhereAndContainsNothing) {
    const FakeRow row{{RowKey::Text, "hello"}};
    EXPECT_FALSE(holds("text CONTAINS ''", row));
    EXPECT_FALSE(holds("text CONTAINS[cd] ''", row));
    EXPECT_FALSE(holds("text BEGINSWITH[c] ''", row));
    EXPECT_FALSE(holds("name IN 'abc'", row));
    EXPECT_TRUE(holds("name == ''", row));
    EXPECT_FALSE(holds("name != ''", row));
}

TEST(FilterEvaluate, EqualityAndCaseOptions) {
    const FakeRow row{{RowKey::App, "com.Example.App"}, {RowKey::Pid, "1234"}};
    EXPECT_TRUE(holds("app == 'com.Example.App'", row));
    EXPECT_FALSE(holds("app == 'com.example.app'", row));
    EXPECT_TRUE(holds("app ==[c] 'COM.EXAMPLE.APP'", row));
    EXPECT_TRUE(holds("app =[cd] 'com.example.app'", row));
    EXPECT_FALSE(holds("app ==[cd] 'com.example'", row));
    EXPECT_TRUE(holds("app !=[cd] 'com.example'", row));
    EXPECT_FALSE(holds("app <>[c] 'COM.EXAMPLE.APP'", row));
    // Values are text: no number conversion.
    EXPECT_TRUE(holds("pid == 1234", row));
    EXPECT_FALSE(holds("pid == '01234'", row));
    EXPECT_TRUE(holds("idx == '42'", FakeRow({}, 42)));
}

TEST(FilterEvaluate, SubstringOperators) {
    const FakeRow row{{RowKey::Text, "Connection TIMEOUT after 30s"}, {RowKey::Name, "NetTag"}};
    EXPECT_TRUE(holds("text CONTAINS[c] 'timeout'", row));
    EXPECT_FALSE(holds("text CONTAINS 'timeout'", row));
    EXPECT_TRUE(holds("text CONTAINS 'TIMEOUT'", row));
    EXPECT_TRUE(holds("text BEGINSWITH[cd] 'connection'", row));
    EXPECT_FALSE(holds("text BEGINSWITH 'connection'", row));
    EXPECT_TRUE(holds("text ENDSWITH[c] '30S'", row));
    EXPECT_FALSE(holds("text ENDSWITH[c] 'after'", row));
    EXPECT_TRUE(holds("name LIKE[c] 'net*'", row));
    EXPECT_TRUE(holds("name LIKE 'N?t*g'", row));
    EXPECT_FALSE(holds("name LIKE 'Net'", row));
    // Long texts take the wide scan; hits at the very start and end count.
    std::string longText(300, 'x');
    longText.replace(0, 4, "Ab12");
    longText.replace(longText.size() - 5, 5, "ZyXwV");
    const FakeRow big{{RowKey::Text, longText}};
    EXPECT_TRUE(holds("text CONTAINS[cd] 'ab12'", big));
    EXPECT_TRUE(holds("text CONTAINS[cd] 'xzyxwv'", big));
    EXPECT_FALSE(holds("text CONTAINS[cd] 'xab12'", big));
    EXPECT_FALSE(holds("text CONTAINS[cd] 'zyxwvx'", big));
}

TEST(FilterEvaluate, DiacriticsAndUnicodeCase) {
    const FakeRow cafe{{RowKey::Text, "Le Café est ouvert"}, {RowKey::Name, "É"}};
    EXPECT_TRUE(holds("text CONTAINS[cd] 'cafe'", cafe));
    EXPECT_TRUE(holds("text CONTAINS[d] 'Cafe'", cafe));
    EXPECT_FALSE(holds("text CONTAINS[c] 'cafe '", cafe));
    EXPECT_TRUE(holds("text CONTAINS[c] 'CAFÉ'", cafe));
    EXPECT_TRUE(holds("name ==[d] 'E'", cafe));
    EXPECT_FALSE(holds("name ==[c] 'E'", cafe));
    EXPECT_TRUE(holds("name ==[c] 'é'", cafe));
    EXPECT_FALSE(holds("name ==[d] 'e'", cafe));
    EXPECT_TRUE(holds("name ==[cd] 'e'", cafe));
    EXPECT_TRUE(holds("name ==[cd] 'ê'", cafe));
    // Decomposed and precomposed spellings are the same text once folded.
    EXPECT_TRUE(holds("name ==[c] 'E\\u0301'", cafe));
    // An ASCII row never holds a needle that stays non-ASCII after folding.
    EXPECT_FALSE(holds("text CONTAINS[c] 'ü'", FakeRow{{RowKey::Text, "u plain ascii text that is long enough"}}));
    EXPECT_TRUE(holds("text CONTAINS[c] 'ÜBER'", FakeRow{{RowKey::Text, "Grüße über alles"}}));
    EXPECT_TRUE(holds("type IN[cd] 'E,F,A'", typed("É")));
}

TEST(FilterEvaluate, PrecedenceAndNegation) {
    const FakeRow row{{RowKey::Type, "E"}, {RowKey::Name, "net"}, {RowKey::Text, "boom"}};
    // NOT binds tighter than AND, AND tighter than OR.
    EXPECT_TRUE(holds("type == 'W' AND name == 'x' OR text == 'boom'", row));
    EXPECT_FALSE(holds("type == 'W' AND (name == 'x' OR text == 'boom')", row));
    EXPECT_TRUE(holds("NOT type == 'W' AND name == 'net'", row));
    EXPECT_FALSE(holds("NOT (type == 'E' AND name == 'net')", row));
    EXPECT_TRUE(holds("!(type == 'W') && name == 'net' || FALSEPREDICATE", row));
    EXPECT_TRUE(holds("not not type == 'E'", row));
    EXPECT_TRUE(holds("TRUEPREDICATE", row));
    EXPECT_FALSE(holds("FALSEPREDICATE OR type == 'W'", row));
}

// A key rows lack used to parse and then fail every row silently: with an
// empty log nothing showed the mistake, and every later row was hidden.
TEST(FilterEvaluate, UnknownKeyIsAParseErrorAtTheKey) {
    struct Case {
        const char16_t* text;
        qsizetype position;
    };
    for (const Case& c : {Case{u"level == 'E'", 0}, Case{u"type == 'E' AND level == 'x'", 16},
                          Case{u"NOT (foo == 'x')", 5}, Case{u"Type == 'E'", 0}}) {
        const ParseResult result = Predicate::parse(c.text);
        EXPECT_FALSE(result.predicate) << QString::fromUtf16(c.text).toStdString();
        ASSERT_TRUE(result.error);
        EXPECT_EQ(result.error->position, c.position) << QString::fromUtf16(c.text).toStdString();
        EXPECT_TRUE(result.error->message.contains(u"Unknown key"_s)) << result.error->message.toStdString();
    }
    EXPECT_TRUE(Predicate::parse(u"idx == '3' AND time CONTAINS '10:'").predicate);
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

}  // namespace
}  // namespace vf
