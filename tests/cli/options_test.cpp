// The command line and the output writers.
#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <sstream>

#include "cli/adbcommon.h"
#include "cli/devicescommand.h"
#include "cli/options.h"
#include "cli/rowwriter.h"
#include "clirun.h"

using namespace Qt::StringLiterals;
using namespace vf::cli;

namespace {

CliOptions parseOk(const QStringList& arguments) {
    const ParsedCommandLine parsed = parseCommandLine(arguments);
    EXPECT_TRUE(parsed.options) << parsed.error.toStdString();
    return parsed.options.value_or(CliOptions{});
}

QString parseError(const QStringList& arguments) {
    const ParsedCommandLine parsed = parseCommandLine(arguments);
    EXPECT_FALSE(parsed.options);
    return parsed.error;
}

TEST(CliOptions, AdbOptionsGoAnywhereAndFiltersRepeat) {
    const CliOptions o = parseOk({u"-s"_s, u"emulator-5554"_s, u"stream"_s, u"--filter"_s, u"type == 'E'"_s,
                                  u"-H"_s, u"10.0.0.2"_s, u"--filter=app == 'x'"_s, u"-P"_s, u"5038"_s,
                                  u"--tags"_s, u"*:S MyTag:V"_s, u"--clear"_s, u"--format"_s, u"json"_s,
                                  u"--no-color"_s, u"--no-reconnect"_s, u"--quick"_s, u"boom"_s, u"-b"_s,
                                  u"main,crash,events"_s});
    EXPECT_EQ(std::tie(o.command, o.format, o.serial, o.host, o.port, o.quick, o.tags),
              std::make_tuple(Command::Stream, OutputFormat::Json, u"emulator-5554"_s, u"10.0.0.2"_s, u"5038"_s,
                              u"boom"_s, u"*:S MyTag:V"_s));
    EXPECT_EQ(o.filters, (QStringList{u"type == 'E'"_s, u"app == 'x'"_s}));
    EXPECT_TRUE(o.clear && o.noColor && o.noReconnect);
    EXPECT_EQ(o.buffers, (QStringList{u"main"_s, u"crash"_s, u"events"_s}));

    EXPECT_EQ(parseOk({u"crashes"_s, u"f"_s, u"--query"_s, u"tag:a"_s, u"--query=level:e"_s}).queries,
              (QStringList{u"tag:a"_s, u"level:e"_s}));
    EXPECT_EQ(parseOk({u"devices"_s, u"--json"_s}).format, OutputFormat::Json);
    const CliOptions convert = parseOk({u"convert"_s, u"--count"_s, u"--"_s, u"-odd name.log"_s});
    EXPECT_EQ(convert.file, u"-odd name.log"_s);
    EXPECT_TRUE(convert.count);

    // Only stream takes several devices.
    EXPECT_EQ(parseOk({u"-s"_s, u"A"_s, u"stream"_s, u"-s"_s, u"B"_s, u"-s"_s, u"A"_s}).serials,
              (QStringList{u"A"_s, u"B"_s}));
    EXPECT_TRUE(parseError({u"-s"_s, u"A"_s, u"-s"_s, u"B"_s, u"devices"_s}).contains(u"only to stream"_s));
}

TEST(CliOptions, HelpAndVersionWinOverEverythingElse) {
    EXPECT_EQ(parseOk({}).command, Command::Help);
    EXPECT_EQ(parseOk({u"help"_s, u"stream"_s}).helpTopic, u"stream"_s);
    EXPECT_EQ(parseOk({u"convert"_s, u"--help"_s}).helpTopic, u"convert"_s);
    EXPECT_EQ(parseOk({u"stream"_s, u"--bogus-but-ignored"_s, u"-h"_s}).command, Command::Help);
    EXPECT_EQ(parseOk({u"--version"_s}).command, Command::Version);

    // Every command has its own page, and the overview names them all.
    const QString overview = QString::fromStdString(vf::cli::test::runCli({u"--help"_s}).out);
    for (const char* name : {"devices", "displays", "screenshot", "stream", "convert", "detect", "check-filter"}) {
        EXPECT_TRUE(overview.contains(QLatin1StringView(name))) << name;
        const auto page = vf::cli::test::runCli({u"help"_s, QLatin1StringView(name)});
        EXPECT_EQ(page.status, 0);
        EXPECT_NE(page.out.find(std::string("usage: vellumfox-cli")), std::string::npos) << name;
    }
}

TEST(CliOptions, MistakesAreNamed) {
    EXPECT_TRUE(parseError({u"frob"_s}).contains(u"frob"_s));
    EXPECT_TRUE(parseError({u"logcat"_s}).endsWith(u"(did you mean 'stream'?)"_s));
    EXPECT_TRUE(parseError({u"devics"_s}).endsWith(u"(did you mean 'devices'?)"_s));
    EXPECT_TRUE(parseError({u"stream"_s, u"--frob"_s}).contains(u"--frob"_s));
    EXPECT_TRUE(parseError({u"detect"_s, u"--count"_s, u"f.log"_s}).contains(u"does not apply"_s));
    EXPECT_TRUE(parseError({u"stream"_s, u"--filter"_s}).contains(u"needs a value"_s));
    EXPECT_TRUE(parseError({u"stream"_s, u"--format"_s, u"xml"_s}).contains(u"xml"_s));
    EXPECT_TRUE(parseError({u"stream"_s, u"-b"_s, u"main,mian"_s}).contains(u"'mian'"_s));
    EXPECT_TRUE(parseError({u"-P"_s, u"port"_s, u"devices"_s}).contains(u"port"_s));
    EXPECT_TRUE(parseError({u"detect"_s, u"a.log"_s, u"b.log"_s}).contains(u"b.log"_s));
    EXPECT_TRUE(parseError({u"check-filter"_s}).contains(u"PREDICATE"_s));
    EXPECT_TRUE(parseError({u"help"_s, u"frob"_s}).contains(u"frob"_s));
    EXPECT_TRUE(parseError({u"devices"_s, u"--clear=yes"_s}).contains(u"takes no value"_s));
    EXPECT_TRUE(parseError({u"screenshot"_s}).contains(u"missing -o FILE.png"_s));
    EXPECT_TRUE(parseError({u"screenshot"_s, u"-d"_s, u"0x1"_s, u"-o"_s, u"a.png"_s}).contains(u"invalid display id '0x1'"_s));
    EXPECT_TRUE(parseError({u"displays"_s, u"-o"_s, u"a.png"_s}).contains(u"does not apply"_s));
    EXPECT_TRUE(parseError({u"connect"_s}).contains(u"missing HOST[:PORT]"_s));
    EXPECT_TRUE(parseError({u"connect"_s, u"a b"_s}).contains(u"not a host name"_s));
    EXPECT_TRUE(parseError({u"pair"_s, u"10.0.0.5"_s, u"123456"_s}).contains(u"Give the port too"_s));
    EXPECT_TRUE(parseError({u"pair"_s, u"10.0.0.5:37099"_s, u"12345"_s}).contains(u"not a pairing code"_s));
    EXPECT_EQ(parseOk({u"disconnect"_s}).arguments, QStringList());
    const CliOptions shot = parseOk({u"screenshot"_s, u"-d"_s, u"4619827551948147201"_s, u"-o"_s, u"-"_s});
    EXPECT_EQ(shot.display, u"4619827551948147201"_s);
    EXPECT_EQ(shot.output, u"-"_s);

    // A PNG is never written to a terminal; nothing is asked of the server.
    vf::cli::CliEnvironment terminal;
    terminal.stdoutIsTerminal = true;
    const auto refused = vf::cli::test::runCli({u"-P"_s, u"1"_s, u"screenshot"_s, u"-o"_s, u"-"_s}, terminal);
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("not writing a PNG to a terminal"), std::string::npos) << refused.err;
    EXPECT_TRUE(refused.out.empty());
}

TEST(RowWriters, JsonStringsEscapeControlsAndRepairBadBytes) {
    const std::string raw = std::string("a\"b\\c\n\r\t\b\f") + '\x01' + '\x7f' + "\xc3\xa9" + "\xe2\x80\xa8" +
                            "\xff" + "\xc3" + "(" + "\xed\xa0\x80" + "\xf0\x9f\x98\x80";
    std::string json;
    appendJsonString(json, raw);
    EXPECT_EQ(json.find('\n'), std::string::npos);
    EXPECT_NE(json.find("\\u2028"), std::string::npos);

    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString("[" + json + "]"), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << json;
    const QString back = doc.array().at(0).toString();
    EXPECT_EQ(back, u"a\"b\\c\n\r\t\b\f\u0001\u007f\u00e9\u2028\ufffd\ufffd(\ufffd\ufffd\ufffd\U0001F600"_s);
}

TEST(RowWriters, TextIsColouredOnlyWhenAskedAndOnlyByLevel) {
    vf::RowArena arena;
    vf::RowValues values{0, "01-15 12:34:56.789", "", "1234", "-", "E", "Tag", " boom\n"};
    const vf::RowPtr error = arena.make(values);
    values.type = "D";
    const vf::RowPtr debug = arena.make(values);

    std::ostringstream plain, coloured;
    makeRowWriter(OutputFormat::Text, plain)->write(error);
    EXPECT_EQ(plain.str(), "01-15 12:34:56.789 (1234) - E Tag:  boom\n");
    const auto writer = makeRowWriter(OutputFormat::Text, coloured, true);
    writer->write(error);
    writer->write(debug);
    EXPECT_EQ(coloured.str(), "\033[31m01-15 12:34:56.789 (1234) - E Tag:  boom\033[0m\n"
                              "01-15 12:34:56.789 (1234) - D Tag:  boom\n");

    std::ostringstream tsv, json;
    error->setUnsharedBuffer(vf::LogBuffer::Crash);
    makeRowWriter(OutputFormat::Tsv, tsv, true)->write(error);
    EXPECT_EQ(tsv.str(), "01-15 12:34:56.789\t\t1234\t-\tE\tTag\t boom \tcrash\n");
    makeRowWriter(OutputFormat::Json, json)->write(error);
    EXPECT_TRUE(json.str().ends_with(",\"uid\":\"\",\"buffer\":\"crash\"}\n")) << json.str();

    // Rows of several devices name theirs.
    std::ostringstream text, tagged, taggedJson;
    makeRowWriter(OutputFormat::Text, text, false, false, "A1")->write(debug);
    EXPECT_EQ(text.str(), "A1  01-15 12:34:56.789 (1234) - D Tag:  boom\n");
    makeRowWriter(OutputFormat::Tsv, tagged, false, false, "A1")->write(error);
    EXPECT_TRUE(tagged.str().ends_with("\tcrash\tA1\n")) << tagged.str();
    makeRowWriter(OutputFormat::Json, taggedJson, false, false, "A\"1")->write(error);
    EXPECT_TRUE(taggedJson.str().ends_with(",\"buffer\":\"crash\",\"device\":\"A\\\"1\"}\n")) << taggedJson.str();
}

TEST(DeviceLines, NamesComeFromTheListing) {
    const vf::DeviceList two{{u"A"_s, u"A"_s, u"Pixel"_s, {}}, {u"B"_s, u"B"_s, {}, {}}};
    EXPECT_EQ(deviceLines(two), u"  A  Pixel\n  B"_s);
}

}  // namespace
