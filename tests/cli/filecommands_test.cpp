// convert, detect and check-filter on files written by the tests.
#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <sys/stat.h>
#include <utility>

#include "cli/filters.h"
#include "clirun.h"
#include "support/fixtures/bugreportfixture.h"
#include "core/log/logexport.h"

using namespace Qt::StringLiterals;
using vf::cli::test::outputLines;
using vf::cli::test::runCli;

namespace {

struct LayoutCase {
    int code;
    const char* name;
    QByteArray lines;  // a few real-looking lines of the layout
};
// Detection of every layout is in tests/log/logparser_test.cpp; here the
// command's output for single-line and multi-line layouts.

// Six lines of a layout: %1 is the line number, %2 a level.
QByteArray sixLines(const char* pattern) {
    QByteArray text;
    for (int i = 0; i < 6; ++i) text += QString::fromLatin1(pattern).arg(i).arg(QChar(u"IDWEIF"[i])).toUtf8() + '\n';
    return text;
}

QList<LayoutCase> layoutCases() {
    return {
        {2, "threadtime with app", sixLines("01-15 12:34:56.78%1 com.example.app(1234) 5678 %2 Tag%1: Start proc")},
        {3, "threadtime", sixLines("01-15 12:34:56.78%1  1234  5678 %2 Tag%1   : Start proc")},
        {11, "threadtime with uid", sixLines("01-15 12:34:56.78%1 10152  1234  5678 %2 Tag%1: Start proc")},
        {10, "long", sixLines("[ 01-15 12:34:56.78%1  1234: 5678 %2/Tag%1 ]\nStart proc\n")},
    };
}

class FileCommandsTest : public ::testing::Test {
protected:
    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = dir_.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }
    static vf::RowList load(const QString& path) {
        return vf::openLogFile(path, vf::rowCounter()).value_or(vf::RowList{});
    }

    QTemporaryDir dir_;
};

TEST_F(FileCommandsTest, DetectsAndConvertsEveryLayout) {
    for (const LayoutCase& c : layoutCases()) {
        SCOPED_TRACE(c.name);
        const QString path = write(QString::fromLatin1(c.name).replace(u' ', u'_') + u".log"_s, c.lines);
        const auto detect = runCli({u"detect"_s, path});
        EXPECT_EQ(detect.status, 0);
        EXPECT_EQ(detect.out, std::to_string(c.code) + " " + c.name + "\n");

        const auto count = runCli({u"convert"_s, path, u"--count"_s});
        EXPECT_EQ(count.status, 0) << count.err;
        EXPECT_EQ(count.out, "6\n");
    }
}

TEST_F(FileCommandsTest, JsonOutputParsesBackToTheSameRows) {
    // Escaping itself is RowWriters' case (options_test).
    const QString path = write(u"rows.log"_s, layoutCases().at(1).lines);
    const vf::RowList rows = load(path);
    ASSERT_EQ(rows.size(), 6);

    const auto result = runCli({u"convert"_s, path, u"--format"_s, u"json"_s});
    ASSERT_EQ(result.status, 0) << result.err;
    const QStringList lines = outputLines(result.out);
    ASSERT_EQ(lines.size(), rows.size());
    for (qsizetype i = 0; i < rows.size(); ++i) {
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(lines.at(i).toUtf8(), &error);
        ASSERT_EQ(error.error, QJsonParseError::NoError) << lines.at(i).toStdString();
        const QJsonObject object = doc.object();
        EXPECT_EQ(object.keys().size(), vf::kRowKeyCount + 1);  // and the buffer, empty for a file
        EXPECT_EQ(object.value(u"buffer"_s).toString(), u""_s);
        EXPECT_TRUE(object.value(u"idx"_s).isDouble());
        EXPECT_EQ(uint64_t(object.value(u"idx"_s).toDouble()), rows.at(i)->idx().value());
        for (int k = 1; k < vf::kRowKeyCount; ++k) {
            const auto key = vf::RowKey(k);
            EXPECT_EQ(object.value(QString::fromLatin1(vf::rowKeyName(key))).toString(), rows.at(i)->string(key));
        }
    }
    // Keys come in the row's order.
    EXPECT_TRUE(lines.first().startsWith(u"{\"idx\":"_s));
    EXPECT_LT(lines.first().indexOf(u"\"name\""_s), lines.first().indexOf(u"\"text\""_s));
}

// The file's own start, crash and death lines name its rows; --package picks
// an app's rows and crashes, in every user or in one.
TEST_F(FileCommandsTest, PackageSelectsTheRowsAndCrashesOfOneApp) {
    const QString path = write(u"apps.log"_s,
        "01-15 12:00:00.000  1102  1133 I ActivityManager: Start proc 4567:com.flash/u10a190 for activity {com.flash/.M}\n"
        "01-15 12:00:00.010  4567  4567 D Flash   : hello\n"
        "01-15 12:00:00.020  4567  4567 E AndroidRuntime: FATAL EXCEPTION: main\n"
        "01-15 12:00:00.021  4567  4567 E AndroidRuntime: Process: com.flash, PID: 4567\n"
        "01-15 12:00:00.022  4567  4567 E AndroidRuntime: java.lang.IllegalStateException: boom\n"
        "01-15 12:00:00.100  1102  1133 I ActivityManager: Process com.flash (pid 4567) has died: fg TOP\n"
        "01-15 12:00:00.200  4570  4570 E AndroidRuntime: FATAL EXCEPTION: main\n"
        "01-15 12:00:00.201  4570  4570 E AndroidRuntime: Process: com.other:svc, PID: 4570\n");
    const std::pair<QStringList, std::string> counts[] = {
        {{u"com.flash"_s}, "4\n"}, {{u"com.flash@10"_s}, "4\n"}, {{u"com.flash@0"_s}, "0\n"},
        {{u"com.other"_s}, "2\n"}, {{u"com.flash"_s, u"com.other"_s}, "6\n"}};
    for (const auto& [packages, count] : counts) {
        QStringList args{u"convert"_s, path, u"--count"_s};
        for (const QString& package : packages) args << u"--package"_s << package;
        EXPECT_EQ(runCli(args).out, count) << packages.join(u' ').toStdString();
    }
    const auto crashes = runCli({u"crashes"_s, path, u"--package"_s, u"com.flash"_s});
    ASSERT_EQ(crashes.status, 0) << crashes.err;
    ASSERT_EQ(outputLines(crashes.out).size(), 1);
    EXPECT_NE(crashes.out.find("java  com.flash@10 (4567)"), std::string::npos) << crashes.out;
    EXPECT_EQ(runCli({u"crashes"_s, u"--stream"_s, u"--package"_s, u"com.flash"_s}).status, 2);
}

TEST_F(FileCommandsTest, TextAndTsvUseTheViewersLayouts) {
    const QString path = write(u"threadtime.log"_s, layoutCases().at(1).lines);
    const vf::RowList rows = load(path);
    const auto text = runCli({u"convert"_s, path});
    EXPECT_EQ(QByteArray::fromStdString(text.out), vf::writeSavedText(rows));
    const auto tsv = runCli({u"convert"_s, path, u"--format=tsv"_s});
    // Then the buffer, which a file does not tell.
    EXPECT_EQ(QString::fromStdString(tsv.out), vf::copyText(rows).replace(u'\n', u"\t\n"_s));
}

TEST_F(FileCommandsTest, ReadsVellumfoxPropertyLists) {
    const QByteArray plist = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict><key>logdata</key><array>
<dict><key>idx</key><integer>7</integer><key>time</key><string>01-15 12:34:56.789</string><key>app</key><string>com.example</string><key>pid</key><string>1234</string><key>tid</key><string>-</string><key>type</key><string>E</string><key>name</key><string>Tag</string><key>text</key><string>boom</string></dict>
<dict><key>idx</key><integer>8</integer><key>time</key><string>01-15 12:34:56.790</string><key>app</key><string>com.example</string><key>pid</key><string>1234</string><key>tid</key><string>-</string><key>type</key><string>I</string><key>name</key><string>Tag</string><key>text</key><string>fine</string></dict>
</array></dict></plist>)";
    const QString path = write(u"saved.VELLUMFOX"_s, plist);
    EXPECT_EQ(runCli({u"detect"_s, path}).out, "- vellumfox\n");
    const auto result = runCli({u"convert"_s, path, u"--format"_s, u"tsv"_s, u"--filter"_s, u"type == 'E'"_s});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "01-15 12:34:56.789\tcom.example\t1234\t-\tE\tTag\tboom\t\n");
}

TEST_F(FileCommandsTest, ErrorsExitNonZeroWithAMessage) {
    const QString path = write(u"threadtime.log"_s, layoutCases().at(1).lines);

    const auto missing = runCli({u"convert"_s, dir_.filePath(u"nope.log"_s)});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("nope.log"), std::string::npos);
    EXPECT_TRUE(missing.out.empty());
    EXPECT_EQ(runCli({u"detect"_s, dir_.path()}).status, 1);
    EXPECT_EQ(runCli({u"detect"_s, write(u"empty.log"_s, {})}).out, "0 none\n");

    const auto bad = runCli({u"convert"_s, path, u"--filter"_s, u"type == 'E' AND"_s});
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("position 15"), std::string::npos) << bad.err;
    EXPECT_NE(bad.err.find("\n  type == 'E' AND\n  " + std::string(15, ' ') + "^\n"), std::string::npos) << bad.err;
    EXPECT_TRUE(bad.out.empty());

    const auto quote = runCli({u"convert"_s, path, u"--quick"_s, u"it's"_s});
    EXPECT_EQ(quote.status, 2);
    EXPECT_NE(quote.err.find("--quick"), std::string::npos);

    EXPECT_EQ(runCli({u"frobnicate"_s}).status, 2);
    EXPECT_EQ(runCli({u"convert"_s}).status, 2);
}

// A FIFO (whose writer may never write) is refused before it is opened;
// a binary file is refused after its first bytes.
TEST_F(FileCommandsTest, RefusesPipesAndBinaryFilesWithAReason) {
    const QString fifo = dir_.filePath(u"pipe"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString binary = write(u"nuls.log"_s, QByteArray(100000, '\0'));
    const std::pair<QString, const char*> cases[] = {{fifo, "not a regular file"}, {binary, "it holds NUL bytes"}};
    for (const auto& [path, reason] : cases) {
        for (const QString& command : {u"detect"_s, u"convert"_s, u"crashes"_s}) {
            const auto result = runCli({command, path});
            EXPECT_EQ(result.status, 1) << command.toStdString();
            EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
            EXPECT_TRUE(result.out.empty());
        }
    }
}

TEST_F(FileCommandsTest, QueriesAndWithFiltersAndMalformedOnesExitTwo) {
    const QString path = write(u"q.log"_s,
                               "01-15 12:00:00.000 com.app(10) 10 I Net     : up\n"
                               "01-15 12:00:01.000 com.app:bg(11) 12 W Net     : slow reply\n"
                               "01-15 12:09:00.000 com.other(20) 21 E Http    : reply failed\n"
                               "01-15 12:09:30.000 com.other(20) 21 E Http    :  \tat a.B.c(B.java:1)\n"
                               "01-15 12:10:00.000 com.app(10) 10 D Net     : down\n");
    const auto count = [&](QStringList arguments) {
        const auto result = runCli(QStringList{u"convert"_s, path, u"--count"_s} + arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out;
    };
    EXPECT_EQ(count({u"--query"_s, u"package=:com.app level:I"_s}), "2\n");
    EXPECT_EQ(count({u"--query"_s, u"age:1m"_s}), "3\n") << "no older than a minute before the newest row";
    EXPECT_EQ(count({u"--query"_s, u"is:stacktrace | tag=:net"_s}), "4\n");
    EXPECT_EQ(count({u"--query"_s, u"reply"_s, u"--query"_s, u"-tag:http"_s}), "1\n") << "queries AND";
    EXPECT_EQ(count({u"--query"_s, u"tag:net"_s, u"--filter"_s, u"type == 'D'"_s}), "1\n");
    EXPECT_EQ(count({u"--filter"_s, u"QUERY \"msg~:^s\" OR pid == 20"_s}), "3\n");

    const auto bad = runCli({u"convert"_s, path, u"--filter"_s, u"type == 'E'"_s, u"--query"_s, u"tag:a (level:e"_s});
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("--query, position 6: "), std::string::npos) << bad.err;
    EXPECT_NE(bad.err.find("\n  tag:a (level:e\n        ^\n"), std::string::npos) << bad.err;
    EXPECT_TRUE(bad.out.empty());
    EXPECT_EQ(runCli({u"stream"_s, u"--query"_s, u"is:crash"_s}).status, 2) << "before any device is asked";
}

TEST_F(FileCommandsTest, CheckFilterPrintsCanonicalTextOrTheSpot) {
    const auto ok = runCli({u"check-filter"_s, u"type IN[cd] 'E,F,A' AND NOT (app CONTAINS 'x')"_s});
    EXPECT_EQ(ok.status, 0) << ok.err;
    const auto parsed = vf::Predicate::parse(QString::fromStdString(ok.out).trimmed());
    ASSERT_TRUE(parsed.predicate);
    EXPECT_EQ(parsed.predicate->format().toStdString() + "\n", ok.out);  // canonical is a fixed point

    // The caret keeps tabs so that it lines up under the text.
    const auto bad = runCli({u"check-filter"_s, u"type\t== 'E' OR"_s});
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("\n  type\t== 'E' OR\n      \t         ^\n"), std::string::npos) << bad.err;
    EXPECT_TRUE(bad.out.empty());

    // A hostile text comes back only around the spot, the token it names only by its start.
    const QString huge = u"text == 'a' "_s + QString(100000, u'z');
    const auto cut = runCli({u"check-filter"_s, huge});
    EXPECT_EQ(cut.status, 2);
    EXPECT_LT(cut.err.size(), 400u) << cut.err.substr(0, 400);
}

TEST(FilterEcho, ShowsTheTextAroundThePositionWithTheCaretUnderIt) {
    const struct {
        QString text;
        qsizetype position;
        QString line, pad;
    } cases[] = {
        {u"abc"_s, 1, u"abc"_s, u" "_s},
        {u"a\tb"_s, 2, u"a\tb"_s, u" \t"_s},
        {u"0123456789"_s, 5, u"\u2026234567\u2026"_s, u"    "_s},
        {u"\U0001F600\U0001F600\U0001F600\U0001F600xy"_s, 8, u"\u2026\U0001F600\U0001F600\U0001F600xy"_s, u"    "_s},
        {u"abcdef"_s, 0, u"abc\u2026"_s, u""_s},
    };
    for (const auto& c : cases) {
        const vf::cli::FilterEcho echo = vf::cli::filterEcho(c.text, c.position, 3);
        EXPECT_EQ(echo.line, c.line) << c.text.toStdString();
        EXPECT_EQ(echo.caretPad, c.pad) << c.text.toStdString();
    }
}

}  // namespace

// A bugreport's zip converts to its log sections' rows with their buffers,
// and its crash is listed; other archives are refused by what they are.
TEST_F(FileCommandsTest, BugreportZipsConvertAndListTheirCrash) {
    const QString zip = dir_.filePath(u"bugreport.zip"_s);
    vf::test::writeSampleReportZip(zip);
    const auto count = runCli({u"convert"_s, zip, u"--count"_s, u"--query"_s, u"buffer:crash"_s});
    EXPECT_EQ(count.out, "4\n") << count.err;
    const auto crashes = runCli({u"crashes"_s, zip});
    EXPECT_EQ(crashes.status, 0) << crashes.err;
    EXPECT_EQ(outputLines(crashes.out),
              QStringList{u"03-01 09:59:59.000  java  com.example.app (4321)  java.lang.IllegalStateException: boom"
                          "  [4 rows, idx 3-6]"_s});

    const QString other = dir_.filePath(u"other.zip"_s);
    vf::test::writeZip(other, {{"readme.txt", "hello"}});
    for (const QStringList& args : {QStringList{u"convert"_s, other}, QStringList{u"crashes"_s, other}}) {
        const auto refused = runCli(args);
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.err, "vellumfox-cli: cannot open " + other.toStdString() +
                                   ": a zip archive without a bugreport text in it, not a log\n");
    }
}

// detect names a report, zipped or not, and the layout of each log section;
// archives that hold none are refused by what they are.
TEST_F(FileCommandsTest, DetectDescribesReportsBySection) {
    const QString zip = dir_.filePath(u"bugreport.zip"_s);
    vf::test::writeSampleReportZip(zip);
    const QString other = dir_.filePath(u"other.zip"_s);
    vf::test::writeZip(other, {{"readme.txt", "hello"}});
    const std::string sections = "  SYSTEM LOG: threadtime with uid, 7 lines\n"
                                 "  EVENT LOG: threadtime with uid, 1 line\n"
                                 "  RADIO LOG: threadtime with uid, 1 line\n"
                                 "  LAST LOGCAT: threadtime, 2 lines\n";
    const struct {
        QString path;
        int status;
        std::string out, err;
    } cases[] = {
        {zip, 0, "- bugreport (zip): bugreport-oriole-UQ1A-2024-03-01-10-00-00.txt\n" + sections, ""},
        {write(u"bugreport.txt"_s, vf::test::sampleReportText()), 0, "- bugreport (text)\n" + sections, ""},
        {write(u"head.txt"_s, "== dumpstate: 2024\n------ SYSTEM LOG (logcat -d) ------\n"), 0,
         "- bugreport (text)\n  SYSTEM LOG: no log lines\n", ""},
        {other, 1, "", ": a zip archive without a bugreport text in it, not a log\n"},
        {write(u"log.gz"_s, QByteArray("\x1f\x8b\x08\0\0\0\0\0", 8)), 1, "", ": a gzip-compressed file, not a log\n"},
    };
    for (const auto& c : cases) {
        const auto result = runCli({u"detect"_s, c.path});
        EXPECT_EQ(result.status, c.status) << c.path.toStdString();
        EXPECT_EQ(result.out, c.out);
        EXPECT_TRUE(result.err.ends_with(c.err)) << result.err;
    }
}
