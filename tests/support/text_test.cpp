#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "core/support/strings.h"
#include "core/support/terminaltext.h"
#include "core/support/text.h"
#include "core/support/utf8.h"

using namespace Qt::StringLiterals;

namespace vf {
namespace {

TEST(Utf8, StrayBytesBecomeReplacementCharacters) {
    const std::string fffd = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"plain ascii, more than sixteen bytes long\n", "plain ascii, more than sixteen bytes long\n"},
        {"caf\xC3\xA9 \xE6\x97\xA5", "caf\xC3\xA9 \xE6\x97\xA5"},
        {"caf\xE9 ok", "caf" + fffd + " ok"},  // a Latin-1 byte in UTF-8 text
        {"\xC0\x80", fffd + fffd},            // overlong: each byte
        {"\xED\xA0\x80", fffd + fffd + fffd},  // surrogate
        {"\xF4\x90\x80\x80", fffd + fffd + fffd + fffd},  // above U+10FFFF
        {"abcdefgh\xC3", "abcdefgh" + fffd},  // truncated after the fast path
        {"12345678abcdefgh\xF0\x9F\x98", "12345678abcdefgh" + fffd + fffd + fffd},  // truncated at the end
        {"\xC3\x28", fffd + "("},
        {"\xFF\xF0\x9F\x98\x80", fffd + "\xF0\x9F\x98\x80"},
    };
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(utf8::replaceInvalid(in), out) << in;
        EXPECT_EQ(utf8::isValid(in), in == out) << in;
        EXPECT_EQ(utf8::validPrefix(in), std::min(out.find(fffd), in.size())) << in;
        EXPECT_TRUE(utf8::isValid(utf8::replaceInvalid(in))) << in;
    }
}

TEST(Utf8, MultiByteSequencesTellUtf8FromLatin1) {
    EXPECT_FALSE(utf8::hasMultiByteSequence("plain ascii"));
    EXPECT_FALSE(utf8::hasMultiByteSequence("caf\xE9 na\xEFve \xE0 la"));  // Latin-1 only
    EXPECT_TRUE(utf8::hasMultiByteSequence("caf\xE9 and caf\xC3\xA9"));
    EXPECT_TRUE(utf8::hasMultiByteSequence("\xEF\xBB\xBF"));
    EXPECT_EQ(utf8::fromLatin1("caf\xE9"), "caf\xC3\xA9");
}

// Both modes break at each character, so CR LF leaves an empty line, and
// keep the last piece; only device output breaks at the rarer newlines.
TEST(Text, TheTwoLineBreakModes) {
    using Lines = std::vector<std::string_view>;
    const struct {
        std::string_view text;
        Lines lfCr, anyNewline;
    } cases[] = {
        {"", {""}, {""}},
        {"a\nb", {"a", "b"}, {"a", "b"}},
        {"a\r\nb\n", {"a", "", "b", ""}, {"a", "", "b", ""}},
        {"a\vb\fc", {"a\vb\fc"}, {"a", "b", "c"}},
        {"a\xC2\x85" "b\xE2\x80\xA8" "c\xE2\x80\xA9" "d", {"a\xC2\x85" "b\xE2\x80\xA8" "c\xE2\x80\xA9" "d"},
         {"a", "b", "c", "d"}},
        {"\xE2\x80\xAA\xC2\x86", {"\xE2\x80\xAA\xC2\x86"}, {"\xE2\x80\xAA\xC2\x86"}},  // not newlines
        {"tail\xE2\x80", {"tail\xE2\x80"}, {"tail\xE2\x80"}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(splitLines(c.text, LineBreaks::LfCr), c.lfCr) << c.text;
        EXPECT_EQ(splitLines(c.text, LineBreaks::AnyNewline), c.anyNewline) << c.text;
    }
    const BreakCount count = countLineBreaks("a\r\n\n\rlonger than sixteen bytes\n");
    EXPECT_EQ(count.lf, 3u);
    EXPECT_EQ(count.cr, 2u);
}

TEST(Text, DeviceOutputLosesOnlyItsStrayBytes) {
    EXPECT_EQ(decodeText("caf\xE9 \xC3\xA9"), QStringLiteral(u"caf\uFFFD \u00E9"));
    EXPECT_EQ(outputLines("a\xFF\r\nb"), QStringList({QStringLiteral(u"a\uFFFD"), QString(), QStringLiteral("b")}));
}

// isInteger picks the pid column out of a process table row.
TEST(StringsTest, IsIntegerReadsTheLeadingValue) {
    for (const QString& yes : {u"42"_s, u"-7"_s, u" 12"_s, u"12ab"_s, u"0"_s, u"+5"_s, u"\t\n 3x"_s,
                               u"007"_s, u"99999999999999999999"_s}) {
        EXPECT_TRUE(isInteger(yes)) << yes.toStdString();
    }
    for (const QString& no : {u""_s, u"abc"_s, u"00"_s, u"0x1"_s, u"-0"_s, u" 0"_s, u"-"_s, u"- 3"_s}) {
        EXPECT_FALSE(isInteger(no)) << no.toStdString();
    }
}

TEST(StringsTest, OneSlipApartTellsAMistypedName) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"levl", "level", true},   {"levle", "level", true}, {"LEBEL", "level", true}, {"levell", "level", true},
        {"level", "level", false}, {"lvl", "level", false},  {"abc", "cba", false},
    };
    for (const auto& [a, b, slip] : cases)
        EXPECT_EQ(oneSlipApart(QString::fromUtf8(a), QString::fromUtf8(b)), slip) << a << " " << b;
}

// A device's log must not drive the terminal: an escape sequence in a row
// ("\x1b]0;title\x07", "\x1b[2J", the C1 CSI) is shown, not obeyed.
TEST(TerminalText, ControlCharactersAreShownNotObeyed) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"plain\ttab\n", "plain\ttab\n"},
        {"\x1b]0;pwned\x07 \x1b[2J\n", "\\x1b]0;pwned\\x07 \\x1b[2J\n"},
        {"cr\rback\x08\x7f", "cr\\x0dback\\x08\\x7f"},
        {"csi \xc2\x9b"
         "31m \xc3\xa9 \xc2\xa0",
         "csi \\u009b31m \xc3\xa9 \xc2\xa0"},
        {"inner\nline\n", "inner\\x0aline\n"},
    };
    for (const auto& c : cases) EXPECT_EQ(terminalSafe(c.in), c.out) << c.in;
    // A name in a message: one line, tabs and line breaks shown too.
    EXPECT_EQ(visibleControls(u"a\tb\nc\x1b[2J\u0085\u00e9"_s),
              u"a\\x09b\\x0ac\\x1b[2J\\u0085\u00e9"_s);
}

}  // namespace
}  // namespace vf
