#include "core/support/strings.h"

#include <QUrl>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace vf {
namespace {

TEST(StringsTest, IsIntegerReadsTheLeadingValue) {
    for (const QString& yes : {u"42"_s, u"-7"_s, u" 12"_s, u"12ab"_s, u"0"_s, u"+5"_s, u"\t\n 3x"_s,
                               u"007"_s, u"99999999999999999999"_s}) {
        EXPECT_TRUE(isInteger(yes)) << yes.toStdString();
    }
    for (const QString& no : {u""_s, u"abc"_s, u"00"_s, u"0x1"_s, u"-0"_s, u" 0"_s, u"-"_s, u"- 3"_s}) {
        EXPECT_FALSE(isInteger(no)) << no.toStdString();
    }
}

TEST(StringsTest, ContainsAndIndexOfNeverFindTheEmptyString) {
    EXPECT_TRUE(contains(u"Hello World", u"World"));
    EXPECT_FALSE(contains(u"Hello World", u"world"));
    EXPECT_TRUE(contains(u"Hello World", u"world", true));
    EXPECT_FALSE(contains(u"abc", u""));
    EXPECT_FALSE(contains(u"", u""));

    EXPECT_EQ(indexOfString(u"abcabc", u"ca"), 2);
    EXPECT_EQ(indexOfString(u"abc", u"x"), kNotFound);
    EXPECT_EQ(indexOfString(u"abc", u""), kNotFound);
    EXPECT_EQ(indexOfString(u"ABC", u"bc", true), 1);
    // Positions count UTF-16 units: the emoji takes two.
    EXPECT_EQ(indexOfString(u"\U0001F600a"_s, u"a"), 2);
}

TEST(StringsTest, TrimRemovesBlanksAndTabsButKeepsLineBreaks) {
    EXPECT_EQ(trim(u" \t a b \t "), u"a b"_s);
    EXPECT_EQ(trim(u" \n a \n "), u"\n a \n"_s);
    EXPECT_EQ(trim(u"\u00A0x\u3000"), u"x"_s);
    EXPECT_EQ(trim(u"   "), u""_s);
}

TEST(StringsTest, SafeCharacterAtIndexIsZeroOutsideTheString) {
    EXPECT_EQ(safeCharacterAtIndex(u"abcde", 4), QChar(u'e'));
    EXPECT_EQ(safeCharacterAtIndex(u"abcde", 5), QChar(0));
    EXPECT_EQ(safeCharacterAtIndex(u"abcde", -1), QChar(0));
    EXPECT_EQ(safeCharacterAtIndex(u"", 0), QChar(0));
}

TEST(StringsTest, RemoveSubstringBetweenKeepsItsEdgeRules) {
    QString removed = u"stale"_s;
    EXPECT_EQ(removeSubstringBetween(u"abc[xyz]de"_s, u"[", u"]", &removed), u"abcde"_s);
    EXPECT_EQ(removed, u"xyz"_s);
    // Exactly one character after the end marker is dropped with it.
    EXPECT_EQ(removeSubstringBetween(u"abc[xyz]d"_s, u"[", u"]", &removed), u"abc"_s);
    EXPECT_EQ(removeSubstringBetween(u"abc[xyz]"_s, u"[", u"]"), u"abc"_s);
    EXPECT_EQ(removeSubstringBetween(u"[xyz]de"_s, u"[", u"]"), u"de"_s);
    EXPECT_EQ(removeSubstringBetween(u"**app**tag"_s, u"**", u"**", &removed), u"tag"_s);
    EXPECT_EQ(removed, u"app"_s);

    // Fewer than two characters after the start marker: no result at all.
    EXPECT_EQ(removeSubstringBetween(u"ab[x"_s, u"[", u"]", &removed), std::nullopt);
    EXPECT_TRUE(removed.isNull());
    EXPECT_EQ(removeSubstringBetween(u"ab["_s, u"[", u"]"), std::nullopt);

    removed = u"stale"_s;
    EXPECT_EQ(removeSubstringBetween(u"ab[xyz"_s, u"[", u"]", &removed), u"ab[xyz"_s);
    EXPECT_TRUE(removed.isNull());
    EXPECT_EQ(removeSubstringBetween(u"abc"_s, u"[", u"]", &removed), u"abc"_s);
    EXPECT_TRUE(removed.isNull());
}

TEST(ScannerTest, WalksAThreadtimeLineFieldByField) {
    Scanner scanner(u"01-15 12:34:56.789  1234  5678 I Tag: text"_s);
    EXPECT_EQ(scanner.scanUpToString(u" "), u"01-15"_s);
    EXPECT_EQ(scanner.scanUpToString(u" "), u"12:34:56.789"_s);
    EXPECT_EQ(scanner.scanUpToString(u" "), u"1234"_s);
    EXPECT_EQ(scanner.scanUpToString(u" "), u"5678"_s);
    EXPECT_EQ(scanner.scanUpToString(u" "), u"I"_s);
    EXPECT_EQ(scanner.scanUpToString(u":"), u"Tag"_s);
    EXPECT_EQ(scanner.scanUpToString(u"\n"), u" text"_s);
    EXPECT_TRUE(scanner.isAtEnd());
    EXPECT_EQ(scanner.scanUpToString(u"\n"), std::nullopt);
}

TEST(ScannerTest, NothingTakenLeavesTheCursorButRemembersTheDelimiter) {
    Scanner scanner(u"  \u2028\u00A0:a,b"_s);
    // Unicode white space and line breaks are skipped, then the delimiter
    // is right there: nothing taken, cursor not moved.
    EXPECT_EQ(scanner.scanUpToString(u":"), std::nullopt);
    EXPECT_EQ(scanner.location(), 0);
    // ":" is remembered although nothing was taken, so it is cut here.
    EXPECT_EQ(scanner.scanUpToString(u","), u"a"_s);
    EXPECT_EQ(scanner.scanUpToString(u";"), u"b"_s);
}

TEST(ScannerTest, CutsOnlyOneCopyOfThePreviousDelimiter) {
    Scanner scanner(u"a::b"_s);
    EXPECT_EQ(scanner.scanUpToString(u":"), u"a"_s);
    EXPECT_EQ(scanner.scanUpToString(u"\n"), u":b"_s);

    Scanner mixed(u"keyXvalue"_s);
    EXPECT_EQ(mixed.scanUpToString(u"x"), u"key"_s);  // matching ignores case by default
    mixed.setLocation(0);
    mixed.setCaseSensitive(true);
    EXPECT_EQ(mixed.scanUpToString(u"x"), u"keyXvalue"_s);
}

TEST(StringsTest, DescriptionsOfValues) {
    EXPECT_EQ(toString(QVariant()), u"nil"_s);
    EXPECT_EQ(toString(QVariantMap{{u"k"_s, 3}}), u"{k=3}"_s);
    EXPECT_EQ(toString(QVariantMap{}), u""_s);
    EXPECT_EQ(toString(QVariantList{}), u"{}"_s);
    EXPECT_EQ(toString(QVariantMap{{u"b"_s, true}, {u"a"_s, QVariantList{1, u"x"_s, QVariant()}}}),
              u"{a={1, x, nil}, b=1}"_s);
    EXPECT_EQ(toString(QStringList{u"a"_s, u"b"_s}), u"{a, b}"_s);
    EXPECT_EQ(toString(QUrl(u"file:///tmp/logs/today.txt"_s)), u"URL:today.txt"_s);
    EXPECT_EQ(toString(QUrl(u"https://example.org/dir/"_s)), u"URL:dir"_s);
    EXPECT_EQ(toString(2.5), u"2.5"_s);
    EXPECT_EQ(dictionaryToDelimitedString({{u"x"_s, u"y"_s}, {u"n"_s, QVariantMap{}}}), u"{n=, x=y}"_s);
}

}  // namespace
}  // namespace vf
