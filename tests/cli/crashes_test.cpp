// crashes FILE [--json] on the crash logs under tests/data/crashes.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "clirun.h"

using namespace Qt::StringLiterals;
using vf::cli::test::outputLines;
using vf::cli::test::runCli;

namespace {

const QString kNativeLog = QStringLiteral(VF_TEST_DATA_DIR "/crashes/native-threadtime.log");

TEST(CrashesCommand, PrintsOneLineOrOneJsonObjectPerCrash) {
    const auto text = runCli({u"crashes"_s, kNativeLog});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(outputLines(text.out),
              QStringList({u"03-17 16:14:02.500  native  com.example.game (6001)  Fatal signal 11 (SIGSEGV), code 1 "
                           u"(SEGV_MAPERR), fault addr 0x0  [11 rows, idx 0-16]"_s,
                           u"03-17 16:14:02.641  native  /system/bin/mediaserver (6300)  signal 6 (SIGABRT), code -1 "
                           u"(SI_QUEUE), fault addr --------  [5 rows, idx 8-19]"_s}));

    const auto json = runCli({u"crashes"_s, u"--json"_s, kNativeLog});
    EXPECT_EQ(json.status, 0) << json.err;
    EXPECT_EQ(outputLines(json.out).value(1),
              uR"({"kind":"native","app":"/system/bin/mediaserver","pid":"6300","time":"03-17 16:14:02.641",)"
              uR"("title":"signal 6 (SIGABRT), code -1 (SI_QUEUE), fault addr --------","rows":5,"firstIdx":8,"lastIdx":19})"_s);
}

// The inbox keeps the newest 1,000 and says how many older ones it dropped.
TEST(CrashesCommand, SaysHowManyCrashesTheLimitDropped) {
    QTemporaryDir dir;
    QFile file(dir.filePath(u"many.log"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    for (int i = 0; i < 1003; ++i) {
        file.write(QStringLiteral("01-15 12:34:56.789  %1  %1 F libc    : Fatal signal 11 (SIGSEGV), code 1, fault "
                                  "addr 0x0 in tid %1 (main), pid %1 (app%1)\n").arg(1000 + i).toUtf8());
    }
    file.close();
    const auto result = runCli({u"crashes"_s, file.fileName()});
    EXPECT_EQ(result.status, 0);
    const QStringList lines = outputLines(result.out);
    ASSERT_EQ(lines.size(), 1000);
    EXPECT_TRUE(lines.first().contains(u"(1003)"_s)) << lines.first().toStdString();
    EXPECT_EQ(result.err, "vellumfox-cli: 3 older crashes were dropped: only the newest 1000 are kept\n");
}

TEST(CrashesCommand, FiltersKeepTheCrashesOneOfWhoseRowsPasses) {
    const auto listed = [](QStringList filters) {
        const auto result = runCli(QStringList{u"crashes"_s, kNativeLog} + filters);
        EXPECT_EQ(result.status, 0) << result.err;
        return outputLines(result.out).size();
    };
    EXPECT_EQ(listed({u"--query"_s, u"mediaserver"_s}), 1);
    EXPECT_EQ(listed({u"--query"_s, u"is:crash"_s}), 2);
    EXPECT_EQ(listed({u"--query"_s, u"tag:libc"_s, u"--filter"_s, u"type == 'F'"_s}), 1);
    EXPECT_EQ(listed({u"--query"_s, u"pid:6300"_s}), 0) << "the dump is written by the crash_dump process";
    EXPECT_EQ(runCli({u"crashes"_s, kNativeLog, u"--query"_s, u"level:"_s}).status, 2);
    EXPECT_EQ(runCli({u"crashes"_s, u"--stream"_s, u"--query"_s, u"is:crash"_s}).status, 2);
}

TEST(CrashesCommand, RejectsAMissingFileAndStrayArguments) {
    EXPECT_EQ(runCli({u"crashes"_s, u"/nonexistent/x.log"_s}).status, 1);
    EXPECT_EQ(runCli({u"crashes"_s}).status, 2);
    EXPECT_EQ(runCli({u"crashes"_s, kNativeLog, u"--count"_s}).status, 2);
    EXPECT_EQ(runCli({u"crashes"_s, kNativeLog, u"--stream"_s}).status, 2);        // a file or the device
    EXPECT_EQ(runCli({u"crashes"_s, kNativeLog, u"--no-reconnect"_s}).status, 2);  // only with --stream
}

}  // namespace
