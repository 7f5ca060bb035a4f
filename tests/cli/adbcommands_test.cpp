// devices (in-process) and stream (the built binary) against the scripted
// ADB server: exit codes, output formats and crashes --stream. The logging
// cycle itself is tested in tests/session, Ctrl+C and replugs of the built
// companion in tests/e2e/companion_e2e_test.cpp.
#include <gtest/gtest.h>

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "clirun.h"
#include "support/fixtures/companionprocess.h"
#include "support/fixtures/scopedenv.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

using namespace Qt::StringLiterals;
using vf::cli::test::runCli;
using vf::test::CompanionProcess;
using vf::test::Script;
using vf::test::ScriptedAdbServer;

namespace {

Script deviceListScript(const QByteArray& list) {
    return Script().expectRequest("host:devices").reply("OKAY" + vf::test::framed(list)).close();
}

QByteArray streamRequest(const QByteArray& tags = {}) {
    return "shell:export ANDROID_LOG_TAGS=\"" + tags + "\"; exec logcat -v threadtime -b main -b system -b crash";
}

// Threadtime lines alternating I and E, times rising.
QByteArray logLines(int count) {
    QByteArray text;
    for (int i = 0; i < count; ++i) {
        text += "01-15 12:00:" + QByteArray::number(10 + i / 1000) + '.' +
                QByteArray::number(i % 1000).rightJustified(3, '0') + "  1234  5678 " + (i % 2 ? "E" : "I") +
                " Tag: line " + QByteArray::number(i) + '\n';
    }
    return text;
}

// The text listing with looked-up names is run against the real server in
// companion_e2e_test; the JSON form takes the listing's own fields.
TEST(DevicesCommand, JsonTakesTheFieldsOfTheListing) {
    ScriptedAdbServer server;
    vf::test::ScopedAdbPreferences preferences(ScriptedAdbServer::unusedPort());
    server.addScript(deviceListScript("emulator-5554\tdevice product:sdk model:Pixel \"3\"\n"));
    const auto json = runCli({u"devices"_s, u"--json"_s, u"-H"_s, u"127.0.0.1"_s, u"-P"_s, QString::number(server.port())});
    EXPECT_EQ(json.status, 0) << json.err;
    const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(json.out)).object();
    EXPECT_EQ(object.value(u"id"_s).toString(), u"emulator-5554"_s);
    EXPECT_EQ(object.value(u"state"_s).toString(), u"device"_s);
    EXPECT_EQ(object.value(u"name"_s).toString(), u"Pixel"_s);  // fields end at blanks
    EXPECT_EQ(object.value(u"product"_s).toString(), u"sdk"_s);
}

TEST(DevicesCommand, NoDeviceAndNoServerAreErrors) {
    ScriptedAdbServer server;
    vf::test::ScopedAdbPreferences preferences(server.port());
    server.addScript(Script().expectRequest("host:devices").reply("OKAY0000"));
    const auto none = runCli({u"-P"_s, QString::number(server.port()), u"devices"_s});
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.err.find("no device"), std::string::npos) << none.err;

    // Another program on the port: said, not waited on.
    server.addScript(Script().expectRequest("host:devices").reply("HTTP/1.1 400 Bad Request\r\n\r\n").close());
    const auto broken = runCli({u"-P"_s, QString::number(server.port()), u"devices"_s});
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.err.find("the ADB server sent an unexpected reply"), std::string::npos) << broken.err;

    // No adb to start here: the run says so and fails.
    QTemporaryDir empty;
    vf::test::ScopedEnv env;
    for (const char* name : {"PATH", "HOME", "ANDROID_HOME", "ANDROID_SDK_ROOT"}) env.set(name, empty.path());
    const auto noServer = runCli({u"-P"_s, QString::number(ScriptedAdbServer::unusedPort()), u"devices"_s});
    EXPECT_EQ(noServer.status, 1);
    EXPECT_NE(noServer.err.find("no ADB server at 127.0.0.1:"), std::string::npos) << noServer.err;
    EXPECT_NE(noServer.err.find("could not start the ADB server"), std::string::npos) << noServer.err;
    EXPECT_TRUE(noServer.out.empty());
}

// The built companion against the scripted server.
class StreamProcessTest : public ::testing::Test {
protected:
    // A device, its process table, then the log stream with `lines`.
    void scriptDevice(const QByteArray& lines, bool closeStream, const QByteArray& tags = {}) {
        server_.addScript(deviceListScript("emulator-5554\tdevice product:sdk model:Pixel_3\n"));
        server_.addScript(Script()
                              .expectRequest("host:transport:emulator-5554")
                              .reply("OKAY")
                              .expectRequest("shell:ps")
                              .reply("OKAYUSER PID PPID VSIZE RSS WCHAN PC NAME\nu0_a1 1234 1 10 10 0 0 S com.example.app\n")
                              .close());
        Script stream;
        stream.expectRequest("host:transport:emulator-5554").reply("OKAY").expectRequest(streamRequest(tags));
        stream.reply("OKAY" + lines);
        if (closeStream) stream.close();
        server_.addScript(stream);
    }
    static QList<QJsonObject> jsonRows(const QByteArray& out) {
        QList<QJsonObject> rows;
        for (const QByteArray& line : out.split('\n'))
            if (!line.isEmpty()) rows.append(QJsonDocument::fromJson(line).object());
        return rows;
    }

    ScriptedAdbServer server_;
};

TEST_F(StreamProcessTest, PrintsEveryRowBeforeEndingOnADisconnect) {
    constexpr int kLines = 3000;
    scriptDevice(logLines(kLines), true, "*:S Tag:V");
    CompanionProcess stream(server_.port(), {u"stream"_s, u"--format"_s, u"json"_s, u"--no-reconnect"_s,
                                             u"--tags"_s, u"*:S Tag:V"_s});
    EXPECT_EQ(stream.waitForExit(15000), 1) << stream.err.toStdString();
    EXPECT_TRUE(stream.err.contains("device emulator-5554 disconnected")) << stream.err.toStdString();

    // Every line in order, then the store's own status row.
    const QList<QJsonObject> rows = jsonRows(stream.out);
    ASSERT_EQ(rows.size(), kLines + 1) << stream.err.toStdString();
    for (int i = 0; i < kLines; ++i)
        ASSERT_EQ(rows.at(i).value(u"text"_s).toString(), u"line %1"_s.arg(i)) << i;
    EXPECT_EQ(rows.last().value(u"app"_s).toString(), u"Vellumfox"_s);
    EXPECT_EQ(rows.last().value(u"text"_s).toString(), u"Disconnected. emulator-5554"_s);
    // The tags went to the device; the viewer's settings file was never written.
    EXPECT_TRUE(QDir(stream.home()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
}

TEST_F(StreamProcessTest, CrashesStreamPrintsEachCrashWhenItsBlockIsComplete) {
    // A Java crash of an app missing from the process table (so its tag
    // stays AndroidRuntime), interleaved with other lines and ended by its
    // process writing under another tag, so it is printed at once; then a
    // native crash whose block is still open, printed when Ctrl+C ends it.
    scriptDevice("01-15 12:00:00.000  1234  1234 I Tag: before\n"
                 "01-15 12:00:01.000  2222  2222 E AndroidRuntime: FATAL EXCEPTION: main\n"
                 "01-15 12:00:01.001  1234  5678 E Tag: unrelated error\n"
                 "01-15 12:00:01.002  2222  2222 E AndroidRuntime: Process: com.example.crashy, PID: 2222\n"
                 "01-15 12:00:01.003  2222  2222 E AndroidRuntime: java.lang.IllegalStateException: boom\n"
                 "01-15 12:00:01.004  1234  5678 I Tag: between\n"
                 "01-15 12:00:01.005  2222  2222 E AndroidRuntime: \tat com.example.crashy.Main.run(Main.java:7)\n"
                 "01-15 12:00:01.006  2222  2222 I Process: Sending signal. PID: 2222 SIG: 9\n"
                 "01-15 12:00:02.000  3333  3333 F libc: Fatal signal 11 (SIGSEGV), code 1 (SEGV_MAPERR), "
                 "fault addr 0x0 in tid 3333 (main), pid 3333 (com.example.game)\n",
                 false);
    CompanionProcess crashes(server_.port(), {u"crashes"_s, u"--stream"_s, u"--json"_s});
    ASSERT_TRUE(vf::test::waitUntil([&] { return crashes.out.contains('\n'); }, 15000)) << crashes.err.toStdString();
    EXPECT_EQ(crashes.out.count('\n'), 1);
    crashes.interrupt();
    EXPECT_EQ(crashes.waitForExit(15000), 0) << crashes.err.toStdString();

    const QList<QJsonObject> found = jsonRows(crashes.out);
    ASSERT_EQ(found.size(), 2) << crashes.out.toStdString();
    const QJsonObject java = found.at(0);
    EXPECT_EQ(java.value(u"kind"_s).toString(), u"java"_s);
    EXPECT_EQ(java.value(u"app"_s).toString(), u"com.example.crashy"_s);
    EXPECT_EQ(java.value(u"title"_s).toString(), u"java.lang.IllegalStateException: boom"_s);
    EXPECT_EQ(java.value(u"rows"_s).toInt(), 4);
    EXPECT_EQ(java.value(u"lastIdx"_s).toInt() - java.value(u"firstIdx"_s).toInt(), 5);
    EXPECT_EQ(found.at(1).value(u"kind"_s).toString(), u"native"_s);
    EXPECT_EQ(found.at(1).value(u"app"_s).toString(), u"com.example.game"_s);
    EXPECT_EQ(found.at(1).value(u"rows"_s).toInt(), 1);
}

TEST_F(StreamProcessTest, SeveralDevicesNeedASerial) {
    server_.addScript(deviceListScript("emulator-5554\tdevice\nemulator-5556\tdevice\n"));
    CompanionProcess stream(server_.port(), {u"stream"_s});
    EXPECT_EQ(stream.waitForExit(15000), 1);
    EXPECT_TRUE(stream.err.contains("more than one device/emulator; use -s SERIAL\n  emulator-5554\n  emulator-5556\n"))
        << stream.err.toStdString();
    EXPECT_TRUE(stream.out.isEmpty());
}

}  // namespace
