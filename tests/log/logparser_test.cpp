#include <gtest/gtest.h>

#include <map>
#include <random>

#include "core/log/logparser.h"

namespace vf {
namespace {

// Parses lines with a counting index source and a small pid map.
struct Parser {
    RowArena arena;
    uint64_t next = 100;
    RowIndexSource index = [this] { return next++; };
    std::map<std::string, std::string, std::less<>> apps{{"1234", "com.example.app"}};
    AppNameLookup lookup = [this](std::string_view pid, std::string& out) {
        const auto it = apps.find(pid);
        if (it == apps.end()) return false;
        out = it->second;
        return true;
    };

    RowPtr parse(std::string_view text, LogLineFormat format) {
        return parseThreadTimeLine(arena, arena.copyLine(text), format, index, lookup);
    }
    RowValues values(std::string_view text, LogLineFormat format) {
        const RowPtr row = parse(text, format);
        return row ? row->values() : RowValues{};
    }
};

void expectRow(const RowValues& v, std::string_view time, std::string_view app, std::string_view pid,
               std::string_view tid, std::string_view type, std::string_view name, std::string_view text) {
    EXPECT_EQ(v.time, time);
    EXPECT_EQ(v.app, app);
    EXPECT_EQ(v.pid, pid);
    EXPECT_EQ(v.tid, tid);
    EXPECT_EQ(v.type, type);
    EXPECT_EQ(v.name, name);
    EXPECT_EQ(v.text, text);
}

TEST(LogParser, ThreadTimeLayoutsKeepPaddingAndMapApps) {
    Parser p;
    const char* line = "01-15 12:34:56.789  1234  5678 I ActivityManager: Start proc";
    expectRow(p.values(line, LogLineFormat::ThreadTimeLive), "01-15 12:34:56.789", "com.example.app", "1234", "5678",
              "I", "ActivityManager", " Start proc");
    expectRow(p.values(line, LogLineFormat::ThreadTime), "01-15 12:34:56.789", "", "1234", "5678", "I",
              "ActivityManager", " Start proc");
    // Unknown pid: app empty. Padded tag keeps its blanks, tid == pid shows "-".
    expectRow(p.values("01-15 12:34:56.789   999   999 W Tag     : x: y", LogLineFormat::ThreadTimeLive),
              "01-15 12:34:56.789", "", "999", "-", "W", "Tag     ", " x: y");
    expectRow(p.values("01-15 12:34:56.789 com.app:svc(1234) 1234 E Tag: boom", LogLineFormat::ThreadTimeApp),
              "01-15 12:34:56.789", "com.app:svc", "1234", "-", "E", "Tag", " boom");
    // app(pid) split only when the token ends with ")".
    expectRow(p.values("01-15 12:34:56.789 com.app(12)x 7 E Tag: boom", LogLineFormat::ThreadTimeApp),
              "01-15 12:34:56.789", "", "com.app(12)x", "7", "E", "Tag", " boom");
}

TEST(LogParser, ThreadTimeLinesThatEndEarly) {
    Parser p;
    EXPECT_FALSE(p.parse("01-15 12:34:56.789  1234  5678 I Tag without colon", LogLineFormat::ThreadTime));
    EXPECT_FALSE(p.parse("01-15 12:34:56.789  1234  5678 I", LogLineFormat::ThreadTime));
    EXPECT_FALSE(p.parse("01-15", LogLineFormat::ThreadTime));
    EXPECT_FALSE(p.parse("   ", LogLineFormat::Raw));
    EXPECT_EQ(p.next, 100u) << "lines that give no row take no index";
    const RowPtr row = p.parse("01-15 12:34:56.789  1234  5678 I Tag:", LogLineFormat::ThreadTime);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name(), "Tag");
    EXPECT_EQ(row->text(), "");
    EXPECT_EQ(row->idx(), 100u);
    EXPECT_EQ(p.next, 101u);
}

TEST(LogParser, DashLinesAreTextOnlyInEveryLayout) {
    Parser p;
    for (const auto format : {LogLineFormat::ThreadTimeLive, LogLineFormat::Brief, LogLineFormat::Long})
        expectRow(p.values("--------- beginning of main", format), "", "", "", "", "", "", "--------- beginning of main");
    expectRow(p.values(" \t some raw text ", LogLineFormat::Raw), "", "", "", "", "", "", "some raw text ");
    expectRow(p.values("\xE2\x80\x83\xC2\xA0wide spaces", LogLineFormat::None), "", "", "", "", "", "", "wide spaces");
}

TEST(LogParser, BriefFamilyLayouts) {
    Parser p;
    expectRow(p.values("I/ActivityManager( 1234): Start proc", LogLineFormat::Brief), "", "", "1234", "", "I",
              "ActivityManager", " Start proc");
    // tid is never "-" outside threadtime and long.
    expectRow(p.values("01-15 12:34:56.789 D/dalvikvm(  42): GC", LogLineFormat::Time), "01-15 12:34:56.789", "", "42",
              "", "D", "dalvikvm", " GC");
    expectRow(p.values("01-15 12:34:56.789: I/Tag(1234): text", LogLineFormat::Dated), "01-15 12:34:56.789", "", "1234",
              "", "I", "Tag", " text");
    expectRow(p.values("I( 1234) Start proc (ActivityManager)", LogLineFormat::Process), "", "", "1234", "", "I", "",
              " Start proc (ActivityManager)");
    expectRow(p.values("W/Tag: text: more", LogLineFormat::Tag), "", "", "", "", "W", "Tag", "text: more");
    EXPECT_FALSE(p.parse("I/ActivityManager Start proc", LogLineFormat::Brief));
}

TEST(LogParser, DatedLayoutTakesTheAppOutOfTheTag) {
    Parser p;
    const auto tagAndApp = [&](std::string_view tag) {
        const RowValues v = p.values("01-15 12:34:56.789: I/" + std::string(tag) + "(1): t", LogLineFormat::Dated);
        return std::pair(v.name, v.app);
    };
    using Pair = std::pair<std::string, std::string>;
    EXPECT_EQ(tagAndApp("Tag"), Pair("Tag", ""));
    EXPECT_EQ(tagAndApp("**com.app**Tag"), Pair("Tag", "com.app"));
    EXPECT_EQ(tagAndApp("Pre**com.app**Tag"), Pair("PreTag", "com.app"));
    EXPECT_EQ(tagAndApp("Pre**com.app**T"), Pair("Pre", "com.app"));      // one trailing character is dropped
    EXPECT_EQ(tagAndApp("Pre**com.app**\xC3\xA9"), Pair("Pre", "com.app"));  // ... counted in characters
    EXPECT_EQ(tagAndApp("Pre**com.app"), Pair("Pre**com.app", ""));       // no closing marker
    EXPECT_EQ(tagAndApp("Tag**x"), Pair("", ""));                         // fewer than two after the opening
    EXPECT_EQ(tagAndApp("Tag**"), Pair("", ""));
}

TEST(LogParser, LongLayoutHeaderJoinedWithItsMessage) {
    Parser p;
    expectRow(p.values("[ 01-15 12:34:56.789  1234: 5678 I/ActivityManager ]Start proc", LogLineFormat::Long),
              "01-15 12:34:56.789", "", "1234", "5678", "I", "ActivityManager ", "Start proc");
    expectRow(p.values("[ 01-15 12:34:56.789  1234: 1234 W/Tag ]text", LogLineFormat::Long), "01-15 12:34:56.789",
              "", "1234", "-", "W", "Tag ", "text");
    // The closing bracket is taken and cut, like the threadtime colon.
    EXPECT_EQ(p.values("[ 01-15 12:34:56.789  1234: 5678 I/Tag ]", LogLineFormat::Long).text, "");
    EXPECT_FALSE(p.parse("[ 01-15 12:34:56.789  1234: 5678 I-Tag ]", LogLineFormat::Long));
    EXPECT_FALSE(p.parse("[ 01-15 12:34:56.789  1234:/Tag ]text", LogLineFormat::Long)) << "no tid and level";
}

TEST(LogParser, FieldsArePiecesOfTheLine) {
    Parser p;
    const std::string_view line = p.arena.copyLine("01-15 12:34:56.789  1234  1234 I Tag: hi");
    const RowPtr row = parseThreadTimeLine(p.arena, line, LogLineFormat::ThreadTime, p.index);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->time().data(), line.data());
    EXPECT_EQ(row->text().data(), line.data() + line.size() - 3);
    // Two blanks between date and time: the time is built, one blank.
    EXPECT_EQ(p.values("01-15  12:34:56.789  1 2 I T: x", LogLineFormat::ThreadTime).time, "01-15 12:34:56.789");
}

// Lines made of the delimiters themselves reach every early exit of every
// layout; run under the sanitizers this proves no field reads outside its line.
TEST(LogParser, ArbitraryLinesStayInsideTheLine) {
    Parser p;
    std::mt19937 rng(11);
    const std::string_view alphabet = " :/()[]*-\t\n1a\xC3\xA9\xE2\x80\x83";
    for (int n = 0; n < 20000; ++n) {
        std::string line(rng() % 40, ' ');
        for (char& c : line) c = alphabet[rng() % alphabet.size()];
        const auto format = LogLineFormat(rng() % 11);
        const std::string_view stored = p.arena.copyLine(line);
        const RowPtr row = parseThreadTimeLine(p.arena, stored, format, p.index, p.lookup);
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

}  // namespace
}  // namespace vf
