#include <gtest/gtest.h>

#include <map>
#include <random>

#include "core/log/logparser.h"
#include "core/log/threadtimescan.h"
#include "helpers.h"

namespace vf {
namespace {

using F = LogLineFormat;

// Parses lines with a counting index source and a small pid map.
struct Parser {
    RowArena arena;
    uint64_t next = 100;
    RowIndexSource index = [this] { return RowIdx(next++); };
    std::map<std::string, std::string, std::less<>> apps{{"1234", "com.example.app"}};
    AppNameLookup lookup = [this](const RowFields& fields, std::string& out) {
        const auto it = apps.find(fieldOf(fields, RowKey::Pid));
        if (it == apps.end()) return false;
        out = it->second;
        return true;
    };

    RowPtr parse(std::string_view text, LogLineFormat format) {
        return parseThreadTimeLine(arena, arena.copyLine(text), format, index, lookup);
    }
};

TEST(LogParser, EveryLayoutItsFieldsAndItsEarlyEnds) {
    struct Case {
        F format;
        std::string_view line, row;  // row: "time|app|pid|tid|type|name|text", empty = no row
    };
    const Case cases[] = {
        // The tag loses its padding and the text the one blank after the colon;
        // tid == pid shows "-"; only the live stream maps apps.
        {F::ThreadTimeLive, "01-15 12:34:56.789  1234  5678 I ActivityManager: Start proc",
         "01-15 12:34:56.789|com.example.app|1234|5678|I|ActivityManager|Start proc"},
        {F::ThreadTime, "01-15 12:34:56.789  1234  5678 I ActivityManager:  Start proc",
         "01-15 12:34:56.789||1234|5678|I|ActivityManager| Start proc"},
        {F::ThreadTimeLive, "01-15 12:34:56.789   999   999 W Tag     : x: y", "01-15 12:34:56.789||999|-|W|Tag|x: y"},
        {F::ThreadTime, "01-15 12:34:56.789  1234  5678 I Tag: ", "01-15 12:34:56.789||1234|5678|I|Tag|"},
        {F::ThreadTime, "01-15 12:34:56.789  1234  5678 I Tag:", "01-15 12:34:56.789||1234|5678|I|Tag|"},
        {F::ThreadTime, "01-15  12:34:56.789  1 2 I T: x", "01-15 12:34:56.789||1|2|I|T|x"},  // time rebuilt, one blank
        {F::ThreadTime, "01-15 12:34:56.789  1234  5678 I Tag without colon", ""},
        {F::ThreadTime, "01-15 12:34:56.789  1234  5678 I", ""},
        {F::ThreadTime, "01-15", ""},
        // app(pid) is split only when the token ends with ")".
        {F::ThreadTimeApp, "01-15 12:34:56.789 com.app:svc(1234) 1234 E Tag: boom", "01-15 12:34:56.789|com.app:svc|1234|-|E|Tag|boom"},
        {F::ThreadTimeApp, "01-15 12:34:56.789 com.app(12)x 7 E Tag: boom", "01-15 12:34:56.789||com.app(12)x|7|E|Tag|boom"},
        // The uid column, as a number or a name; the live stream takes lines with or without it,
        // the uid layout also a blank uid and the saved app(pid).
        {F::ThreadTimeLive, "01-15 12:34:56.789 10152  1234  5678 I Tag: x", "01-15 12:34:56.789|com.example.app|1234|5678|I|Tag|x|10152"},
        {F::ThreadTimeUid, "01-15 12:34:56.789  root     1     1 I init    : x", "01-15 12:34:56.789||1|-|I|init|x|root"},
        {F::ThreadTimeUid, "01-15 12:34:56.789        1234  5678 I Tag: no uid", "01-15 12:34:56.789||1234|5678|I|Tag|no uid"},
        {F::ThreadTimeUid, "01-15 12:34:56.789 u0_a5 com.app(1234) 9 E Tag: saved", "01-15 12:34:56.789|com.app|1234|9|E|Tag|saved|u0_a5"},
        {F::ThreadTimeUid, "01-15 12:34:56.789 10121 com.app(1234) - E Tag: main", "01-15 12:34:56.789|com.app|1234|-|E|Tag|main|10121"},
        {F::ThreadTimeUid, "01-15 12:34:56.789 10152  1234  5678", ""},
        // Dash lines are text in every layout; raw text loses its leading (also wide) blanks.
        {F::ThreadTimeLive, "--------- beginning of main", "||||||--------- beginning of main"},
        {F::Brief, "--------- beginning of main", "||||||--------- beginning of main"},
        {F::Long, "--------- beginning of main", "||||||--------- beginning of main"},
        {F::Raw, " \t some raw text ", "||||||some raw text "},
        {F::None, "\xE2\x80\x83\xC2\xA0wide spaces", "||||||wide spaces"},
        {F::Raw, "   ", ""},
        // The brief family never shows "-" for the tid.
        {F::Brief, "I/Tag     ( 1234): Start proc", "||1234||I|Tag|Start proc"},
        {F::Brief, "I/ActivityManager Start proc", ""},
        {F::Time, "01-15 12:34:56.789 D/dalvikvm(  42): GC", "01-15 12:34:56.789||42||D|dalvikvm|GC"},
        {F::Dated, "01-15 12:34:56.789: I/Tag(1234): text", "01-15 12:34:56.789||1234||I|Tag|text"},
        {F::Process, "I( 1234) Start proc (ActivityManager)", "||1234||I||Start proc (ActivityManager)"},
        {F::Tag, "W/Tag     :  text: more", "||||W|Tag| text: more"},
        // long: the header joined with its message; the closing bracket is cut whole.
        {F::Long, "[ 01-15 12:34:56.789  1234: 5678 I/ActivityManager ] Start proc",
         "01-15 12:34:56.789||1234|5678|I|ActivityManager| Start proc"},
        {F::Long, "[ 01-15 12:34:56.789  1234: 1234 W/Tag ]text", "01-15 12:34:56.789||1234|-|W|Tag|text"},
        {F::Long, "[ 01-15 12:34:56.789  1234: 5678 I/Tag ]", "01-15 12:34:56.789||1234|5678|I|Tag|"},
        {F::Long, "[ 01-15 12:34:56.789  1234: 5678 I-Tag ]", ""},
        {F::Long, "[ 01-15 12:34:56.789  1234:/Tag ]text", ""},  // no tid and level
    };
    Parser p;
    for (const Case& c : cases) {
        const uint64_t before = p.next;
        const RowPtr row = p.parse(c.line, c.format);
        EXPECT_EQ(row ? test::fields(*row) : std::string(), c.row) << c.line;
        EXPECT_EQ(p.next, before + (row ? 1 : 0)) << "only a row takes an index: " << c.line;
        EXPECT_EQ(row ? row->idx().value() : before, before);
    }
}

TEST(LogParser, DatedLayoutTakesTheAppOutOfTheTag) {
    Parser p;
    const auto tagAndApp = [&](std::string_view tag) {
        const RowPtr row = p.parse("01-15 12:34:56.789: I/" + std::string(tag) + "(1): t", F::Dated);
        return std::pair(std::string(row->name()), std::string(row->app()));
    };
    // One trailing character (counted in characters) is dropped; without a closing
    // marker the tag stays; fewer than two characters after the opening empty it.
    const std::pair<const char*, std::pair<std::string, std::string>> cases[] = {
        {"Tag", {"Tag", ""}}, {"**com.app**Tag", {"Tag", "com.app"}}, {"Pre**com.app**Tag", {"PreTag", "com.app"}},
        {"Pre**com.app**T", {"Pre", "com.app"}}, {"Pre**com.app**\xC3\xA9", {"Pre", "com.app"}},
        {"Pre**com.app", {"Pre**com.app", ""}}, {"Tag**x", {"", ""}}, {"Tag**", {"", ""}}};
    for (const auto& [tag, expected] : cases) EXPECT_EQ(tagAndApp(tag), expected) << tag;
}

// Lines made of the delimiters themselves reach every early exit of every
// layout; fields are pieces of the line, and under the sanitizers this
// proves no field reads outside it.
TEST(LogParser, ArbitraryLinesStayInsideTheLine) {
    Parser p;
    std::mt19937 rng(11);
    const std::string_view alphabet = " :/()[]*-\t\n1a\xC3\xA9\xE2\x80\x83";
    for (int n = 0; n < 20000; ++n) {
        std::string line(rng() % 40, ' ');
        for (char& c : line) c = alphabet[rng() % alphabet.size()];
        const std::string_view stored = p.arena.copyLine(line);
        const RowPtr row = parseThreadTimeLine(p.arena, stored, LogLineFormat(rng() % 12), p.index, p.lookup);
        if (!row) continue;
        for (const RowKey key : {RowKey::Pid, RowKey::Text}) {
            const std::string_view v = row->view(key);
            const bool inside = v.empty() || (v.data() >= stored.data() && v.data() + v.size() <= stored.data() + stored.size());
            EXPECT_TRUE(inside) << line;
        }
        // The level letter is kept in the row itself; it must still be a piece of the line.
        EXPECT_NE(stored.find(row->view(RowKey::Type)), std::string_view::npos) << line;
    }
}

// The one-walk scan of file lines gives the lines it takes the parser's
// fields and finds their ends; the hand-picked lines show which shapes it
// leaves to the parser, the mutated ones hunt for a disagreement.
TEST(LogParser, OneWalkScanAgreesWithTheParser) {
    struct Case {
        std::string_view line;
        bool plain;
    };
    const Case cases[] = {
        {"01-15 12:34:56.789  1234  5678 I ActivityManager:  Start proc", true},
        {"01-15 12:34:56.789   999   999 W Tag \t : x: y", true},
        {"01-15 12:34:56.789 com.app:svc(1234) 1234 E T\xC3\xA4g: boom", true},
        {"01-15 12:34:56.789 (12) 12 E Tag: x", true},
        {"01-15 12:34:56.789 com.app(12)x 7 E Tag: boom", true},
        {"01-15 12:34:56.789  1234  5678 I Tag: ", false},             // no text
        {"01-15  12:34:56.789  1 2 I T: x", false},                     // time rebuilt
        {"01-15 12:34:56.789  1234  5678 I Tag without colon", false},  // no row
        {"01-15 12:34:56.789\t1234  5678 I Tag: x", false},
        {"01-15 12:34:56.789  1234  5678 II Tag: x", false},
        {"01-15 12:34:56.789  1234  5678 I \xE2\x80\x83Tag: x", false},
        {"--------- beginning of main", false},
    };
    RowArena arena;
    std::string text;
    const auto check = [&](std::string_view raw, F format) -> std::optional<bool> {
        text.assign(raw).append("\r\nnext line");
        const std::string_view stored = arena.copyLine(text);
        const ScannedLine scanned = scanThreadTimeLine(stored.data(), stored.data() + stored.size(), format == F::ThreadTimeApp);
        const std::string_view line = stored.substr(0, stored.find_first_of("\r\n"));
        EXPECT_EQ(scanned.end, line.data() + line.size()) << raw;
        if (!scanned.plain) return false;
        const RowPtr parsed = parseThreadTimeLine(arena, line, format, rowCounter());
        if (!parsed) return std::nullopt;
        EXPECT_EQ(test::fields(*arena.makeSliced(RowIdx(), line, scanned.slices)), test::fields(*parsed)) << raw;
        return true;
    };
    for (const auto& [line, plain] : cases) {
        EXPECT_EQ(check(line, F::ThreadTime), plain) << line;
        EXPECT_EQ(check(line, F::ThreadTimeApp), plain) << line;
    }
    std::mt19937 rng(7);
    const std::string_view alphabet = " :()-\t\r1a\xC2\xA0";
    for (int n = 0; n < 20000; ++n) {
        std::string line(cases[rng() % 5].line);
        for (int k = int(rng() % 4); k >= 0; --k) line[rng() % line.size()] = alphabet[rng() % alphabet.size()];
        EXPECT_NE(check(line, rng() % 2 != 0 ? F::ThreadTime : F::ThreadTimeApp), std::nullopt) << line;
    }
}

constexpr std::string_view kThreadTime = "01-15 12:34:56.789  1234  5678 I Tag     : text";
constexpr std::string_view kBrief = "I/Tag     ( 1234): text";
constexpr std::string_view kProcess = "I( 1234) text (Tag)";
constexpr std::string_view kTag = "I/Tag: text";
constexpr std::string_view kTime = "01-15 12:34:56.789 I/Tag     ( 1234): text";

std::vector<std::string_view> repeat(std::string_view line, size_t n, std::vector<std::string_view> lines = {}) {
    lines.insert(lines.end(), n, line);
    return lines;
}

TEST(LogDetect, EveryLayoutFromItsLines) {
    const std::pair<std::string_view, F> layouts[] = {
        {kThreadTime, F::ThreadTime},
        {"01-15 12:34:56.789 com.app(1234) 5678 I Tag: text", F::ThreadTimeApp},
        {"01-15 12:34:56.789 10152  1234  5678 I Tag: text", F::ThreadTimeUid},
        {"01-15 12:34:56.789 shell com.app(1234) 5678 I T: text", F::ThreadTimeUid},
        {"01-15 12:34:56.789 10121 com.app(1234) - I T: text", F::ThreadTimeUid},
        {"01-15 12:34:56.789: I/Tag(1234): text", F::Dated},
        {"\xC3\xA9" "1-15 12:34:56.789: I/Tag(1): text", F::Dated},  // positions count characters, not bytes
        {kBrief, F::Brief}, {kProcess, F::Process}, {kTag, F::Tag}, {kTime, F::Time}, {"plain words", F::Raw}};
    for (const auto& [line, format] : layouts) EXPECT_EQ(determineLogType(repeat(line, 5)), format) << line;
    std::vector<std::string_view> entries;
    for (int i = 0; i < 5; ++i) entries.insert(entries.end(), {"[ 01-15 12:34:56.789  1234: 5678 I/Tag ]", "I/x( 1): y", ""});
    EXPECT_EQ(determineLogType(entries), F::Long) << "message and blank lines are not classified";
    EXPECT_EQ(determineLogType({}), F::None);
    EXPECT_EQ(determineLogType({"", "x", "\xC3\xA9", ""}), F::None);  // all under two characters
}

TEST(LogDetect, AChangeNeedsTheChangingLineAndFiveMoreUntilLine31) {
    // Four brief lines, then time lines: settled on the sixth time line.
    EXPECT_EQ(determineLogType(repeat(kTag, 30, repeat(kTime, 6, repeat(kBrief, 4)))), F::Time);
    EXPECT_EQ(determineLogType(repeat(kTag, 30, repeat(kTime, 5, repeat(kBrief, 4)))), F::Tag);
    // Short lines in between change nothing.
    EXPECT_EQ(determineLogType({kBrief, "", kBrief, "x", kBrief, kBrief, kBrief, kTag}), F::Brief);
    // Running out of lines before agreeing returns the last line's code.
    EXPECT_EQ(determineLogType({kBrief, kBrief, kTime}), F::Time);
    std::vector<std::string_view> alternating;
    for (int i = 0; i < 40; ++i) alternating.push_back(i % 2 == 0 ? kBrief : kTag);
    alternating[31] = kProcess;  // the line it gives up at
    EXPECT_EQ(determineLogType(alternating), F::Process);
}

TEST(LogDetect, LongEntriesKeepOnlyTheFirstMessageLine) {
    const std::vector<std::string_view> lines{"--------- beginning of main", "[ 01-15 12:34:56.789  1234: 5678 I/Tag ]", "",
                                              "first line", "second line", "third line", "",
                                              "[ 01-15 12:34:56.790  1234: 1234 W/Other ]", "only line"};
    const std::vector<std::string> expected{"[ 01-15 12:34:56.789  1234: 5678 I/Tag ]first line",
                                            "[ 01-15 12:34:56.790  1234: 1234 W/Other ]only line"};
    EXPECT_EQ(joinLongFormatArray(lines), expected);
}

}  // namespace
}  // namespace vf
