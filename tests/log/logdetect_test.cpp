#include <gtest/gtest.h>

#include "core/log/logparser.h"

namespace vf {
namespace {

constexpr std::string_view kThreadTime = "01-15 12:34:56.789  1234  5678 I Tag     : text";
constexpr std::string_view kThreadTimeApp = "01-15 12:34:56.789 com.app(1234) 5678 I Tag: text";
constexpr std::string_view kDated = "01-15 12:34:56.789: I/Tag(1234): text";
constexpr std::string_view kBrief = "I/Tag     ( 1234): text";
constexpr std::string_view kProcess = "I( 1234) text (Tag)";
constexpr std::string_view kTag = "I/Tag: text";
constexpr std::string_view kTime = "01-15 12:34:56.789 I/Tag     ( 1234): text";

std::vector<std::string_view> repeat(std::string_view line, size_t n, std::vector<std::string_view> lines = {}) {
    lines.insert(lines.end(), n, line);
    return lines;
}

TEST(LogDetect, EveryLayoutFromItsLines) {
    EXPECT_EQ(determineLogType(repeat(kThreadTime, 5)), LogLineFormat::ThreadTime);
    EXPECT_EQ(determineLogType(repeat(kThreadTimeApp, 5)), LogLineFormat::ThreadTimeApp);
    EXPECT_EQ(determineLogType(repeat(kDated, 5)), LogLineFormat::Dated);
    EXPECT_EQ(determineLogType(repeat(kBrief, 5)), LogLineFormat::Brief);
    EXPECT_EQ(determineLogType(repeat(kProcess, 5)), LogLineFormat::Process);
    EXPECT_EQ(determineLogType(repeat(kTag, 5)), LogLineFormat::Tag);
    EXPECT_EQ(determineLogType(repeat(kTime, 5)), LogLineFormat::Time);
    EXPECT_EQ(determineLogType(repeat("plain words", 5)), LogLineFormat::Raw);
    std::vector<std::string_view> entries;
    for (int i = 0; i < 5; ++i) entries.insert(entries.end(), {"[ 01-15 12:34:56.789  1234: 5678 I/Tag ]", "I/x( 1): y", ""});
    EXPECT_EQ(determineLogType(entries), LogLineFormat::Long) << "message and blank lines are not classified";
}

TEST(LogDetect, NothingToTellGivesNone) {
    EXPECT_EQ(determineLogType({}), LogLineFormat::None);
    EXPECT_EQ(determineLogType({"", "x", "\xC3\xA9", ""}), LogLineFormat::None);  // all under two characters
}

TEST(LogDetect, AChangeNeedsTheChangingLineAndFiveMore) {
    // Four brief lines, then time lines: settled on the sixth time line.
    EXPECT_EQ(determineLogType(repeat(kTag, 30, repeat(kTime, 6, repeat(kBrief, 4)))), LogLineFormat::Time);
    EXPECT_EQ(determineLogType(repeat(kTag, 30, repeat(kTime, 5, repeat(kBrief, 4)))), LogLineFormat::Tag);
    // Short lines in between change nothing.
    EXPECT_EQ(determineLogType({kBrief, "", kBrief, "x", kBrief, kBrief, kBrief, kTag}), LogLineFormat::Brief);
    // Running out of lines before agreeing returns the last line's code.
    EXPECT_EQ(determineLogType({kBrief, kBrief, kTime}), LogLineFormat::Time);
}

TEST(LogDetect, GivesUpAtLine31) {
    std::vector<std::string_view> lines;
    for (int i = 0; i < 40; ++i) lines.push_back(i % 2 == 0 ? kBrief : kTag);
    lines[31] = kProcess;
    EXPECT_EQ(determineLogType(lines), LogLineFormat::Process);
}

TEST(LogDetect, PositionsCountCharactersNotBytes) {
    // "é" is two bytes but one character: the ':' stays at character 18.
    EXPECT_EQ(determineLogType(repeat("\xC3\xA9" "1-15 12:34:56.789: I/Tag(1): text", 5)), LogLineFormat::Dated);
}

TEST(LogDetect, LongEntriesKeepOnlyTheFirstMessageLine) {
    const std::vector<std::string_view> lines{"--------- beginning of main",
                                              "[ 01-15 12:34:56.789  1234: 5678 I/Tag ]",
                                              "",
                                              "first line",
                                              "second line",
                                              "third line",
                                              "",
                                              "[ 01-15 12:34:56.790  1234: 1234 W/Other ]",
                                              "only line"};
    const std::vector<std::string> expected{"[ 01-15 12:34:56.789  1234: 5678 I/Tag ]first line",
                                            "[ 01-15 12:34:56.790  1234: 1234 W/Other ]only line"};
    EXPECT_EQ(joinLongFormatArray(lines), expected);
}

}  // namespace
}  // namespace vf
