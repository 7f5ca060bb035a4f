#include <gtest/gtest.h>

#include "filter/fakerow.h"

using namespace Qt::StringLiterals;

namespace vf {
namespace {

using test::FakeRow;
using test::parsed;

QString formatted(const char* text) {
    const PredicatePtr predicate = parsed(text);
    return predicate ? predicate->format() : u"<parse error>"_s;
}

// parse(format(p)) prints the same text again.
void expectStable(const PredicatePtr& predicate) {
    ASSERT_TRUE(predicate);
    const QString once = predicate->format();
    const ParseResult again = Predicate::parse(once);
    ASSERT_TRUE(again.predicate) << once.toStdString() << ": " << again.error->message.toStdString();
    EXPECT_EQ(again.predicate->format(), once);
}

ParseError errorOf(QStringView text) {
    const ParseResult result = Predicate::parse(text);
    EXPECT_FALSE(result.predicate) << text.toString().toStdString();
    return result.error.value_or(ParseError{u"<parsed>"_s, -1});
}

TEST(FilterLanguage, CanonicalTextOfCommonShapes) {
    EXPECT_EQ(formatted("type IN[cd] 'V,D,I,W,E,F,A'"), u"type IN[cd] \"V,D,I,W,E,F,A\"");
    EXPECT_EQ(formatted("(app ==[cd] 'YOUR_APP_NAME') AND ((type ==[cd] 'E') OR (type ==[cd] 'W'))"),
              u"app ==[cd] \"YOUR_APP_NAME\" AND (type ==[cd] \"E\" OR type ==[cd] \"W\")");
    EXPECT_EQ(formatted("not name contains 'x'"), u"NOT name CONTAINS \"x\"");
    EXPECT_EQ(formatted("NOT (app == 'x' || name = 'y')"), u"NOT (app == \"x\" OR name == \"y\")");
    EXPECT_EQ(formatted("app <> 'x' && name beginswith[dc] 'y'"), u"app != \"x\" AND name BEGINSWITH[cd] \"y\"");
    EXPECT_EQ(formatted("pid == 1234"), u"pid == \"1234\"");
    EXPECT_EQ(formatted("text == 'say \"hi\"\\\\'"), u"text == \"say \\\"hi\\\"\\\\\"");
    EXPECT_EQ(formatted("#type == 'x'"), u"type == \"x\"");
}

TEST(FilterLanguage, PrintingThenParsingIsAFixedPoint) {
    for (const FilterPreset& preset : kLogLevelPresets) expectStable(parsed(preset.text));
    for (const char* text :
         {"app == 'x' AND (name == 'y' AND text == 'z')", "(app == 'x' OR name == 'y') AND NOT (text == 'z' OR tid == 'w')",
          "app == 'tab\\there\\nnew\\u0001'", "TRUEPREDICATE", "NOT NOT app LIKE[c] '*x?'", "text ENDSWITH[d] 'é'"})
        expectStable(parsed(text));
    // Compounds built in code: one part, nested ANDs, nothing at all.
    const PredicatePtr preset = parsed(kLogLevelPresets[4].text);
    const PredicatePtr either = parsed("name == 'a' OR name == 'b'");
    EXPECT_EQ(Predicate::makeAnd({either})->format(), u"name == \"a\" OR name == \"b\"");
    EXPECT_EQ(Predicate::makeAnd({preset, either})->format(),
              u"type IN[cd] \"E,F,A\" AND (name == \"a\" OR name == \"b\")");
    const PredicatePtr nested = Predicate::makeAnd({Predicate::makeAnd({preset, either}), Predicate::makeAnd({either})});
    EXPECT_EQ(nested->format(),
              u"(type IN[cd] \"E,F,A\" AND (name == \"a\" OR name == \"b\")) AND (name == \"a\" OR name == \"b\")");
    expectStable(nested);
    EXPECT_EQ(Predicate::makeAnd({})->format(), u"TRUEPREDICATE");
}

TEST(FilterLanguage, ParseErrorsSayWhereAndWhy) {
    // A key rows lack used to parse and then fail every row silently: with an
    // empty log nothing showed the mistake, and every later row was hidden.
    const struct {
        const char16_t* text;
        qsizetype position;  // in UTF-16 units
        const char16_t* says = u"";
    } cases[] = {
        {u"name == 'abc", 8, u"nterminated"}, {u"type == 'E' AND", 15}, {u"type ==", 7}, {u"type FOO 'x'", 5, u"FOO"},
        {u"type < 'x'", 5}, {u"type == 'E' 'F'", 12}, {u"(type == 'E'", 12}, {u"type ==[x] 'E'", 8}, {u"   ", 3},
        {u"AND == 'x'", 0}, {u"type == 'E' @", 12}, {u"text == '\U0001F600' x", 13},
        {u"level == 'E'", 0, u"Unknown key"}, {u"type == 'E' AND level == 'x'", 16, u"Unknown key"},
        {u"NOT (foo == 'x')", 5, u"text, uid, package, buffer and source."},
        {u"Type == 'E'", 0, u"did you mean 'type'?"}, {u"typ == 'E'", 0, u"did you mean 'type'?"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(QString::fromUtf16(c.text).toStdString());
        const ParseError error = errorOf(c.text);
        EXPECT_EQ(error.position, c.position);
        EXPECT_TRUE(error.message.contains(QString::fromUtf16(c.says))) << error.message.toStdString();
    }
    EXPECT_TRUE(Predicate::parse(u"idx == '3' AND time CONTAINS '10:'").predicate);
    // Deep nesting is refused, not a stack overflow.
    EXPECT_FALSE(Predicate::parse(QString(100000, u'(')).predicate);
    EXPECT_FALSE(Predicate::parse(QString(u"NOT "_s.repeated(100000) + u"app == 'x'"_s)).predicate);
    EXPECT_TRUE(Predicate::parse(QString(QString(50, u'(') + u"app == 'x'"_s + QString(50, u')'))).predicate);
}

TEST(FilterLanguage, TemplatesQuoteValuesSafely) {
    const QString nasty = uR"(it's "quoted" \ back)"_s;
    const ParseResult result = Predicate::fromTemplate(u"%K ==[cd] %@", {u"text"_s, nasty});
    ASSERT_TRUE(result.predicate) << result.error->message.toStdString();
    EXPECT_TRUE(result.predicate->evaluate(FakeRow{{RowKey::Text, R"(IT'S "QUOTED" \ BACK)"}}, nullptr));
    EXPECT_FALSE(result.predicate->evaluate(FakeRow{{RowKey::Text, "its quoted back"}}, nullptr));
    expectStable(result.predicate);
    const PredicatePtr exclude = Predicate::fromTemplate(u"%K !=[cd] %@", {u"app"_s, u"x"_s}).predicate;
    ASSERT_TRUE(exclude);
    EXPECT_EQ(exclude->format(), u"app !=[cd] \"x\"");
    EXPECT_EQ(Predicate::fromTemplate(u"pid == %@", {u"42"_s}).predicate->format(), u"pid == \"42\"");
    EXPECT_FALSE(Predicate::fromTemplate(u"%K == %@", {u"pid"_s}).predicate);
}

TEST(FilterLanguage, QuickFilterText) {
    EXPECT_FALSE(quickFilterPredicate(QString()).predicate);
    EXPECT_FALSE(quickFilterPredicate(QString()).error);
    // "p: " and five characters or more: a predicate of its own.
    const ParseResult typed = quickFilterPredicate(u"p: type == 'E'"_s);
    ASSERT_TRUE(typed.predicate);
    EXPECT_EQ(typed.predicate->format(), u"type == \"E\"");
    // Shorter: a plain search for the text itself, in five fields.
    const ParseResult plain = quickFilterPredicate(u"p: x"_s);
    ASSERT_TRUE(plain.predicate);
    EXPECT_TRUE(plain.predicate->evaluate(FakeRow{{RowKey::Text, "a P: X b"}}, nullptr));
    EXPECT_FALSE(plain.predicate->evaluate(FakeRow{{RowKey::Text, "x"}}, nullptr));
    const PredicatePtr digits = quickFilterPredicate(u"123"_s).predicate;
    ASSERT_TRUE(digits);
    for (RowKey key : {RowKey::Name, RowKey::Text, RowKey::App, RowKey::Pid, RowKey::Tid})
        EXPECT_TRUE(digits->evaluate(FakeRow{{key, "a123b"}}, nullptr)) << rowKeyName(key);
    for (RowKey key : {RowKey::Time, RowKey::Type})
        EXPECT_FALSE(digits->evaluate(FakeRow{{key, "a123b"}}, nullptr)) << rowKeyName(key);
    // A quote is pasted verbatim and breaks the parse; errors in "p: " text
    // point into the field's own text.
    const ParseResult quote = quickFilterPredicate(u"it's"_s);
    EXPECT_FALSE(quote.predicate);
    EXPECT_TRUE(quote.error);
    EXPECT_EQ(quickFilterPredicate(u"p: type =="_s).error->position, 10);
}

TEST(FilterLanguage, CombiningFilters) {
    EXPECT_FALSE(combineFilters({}, nullptr));
    const PredicatePtr info = parsed(kLogLevelPresets[2].text);
    const PredicatePtr error = parsed(kLogLevelPresets[4].text);
    // Saved filters narrow each other.
    EXPECT_EQ(combineFilters({info, error}, nullptr)->format(), u"type IN[cd] \"I,W,E,F,A\" AND type IN[cd] \"E,F,A\"");
    EXPECT_EQ(combineFilters({info}, nullptr)->format(), info->format());
}

}  // namespace
}  // namespace vf
