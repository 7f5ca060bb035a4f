// The shell conversation: what it asks for, what it delivers however it
// ends, and how stop() unblocks it.
#include <gtest/gtest.h>

#include <QStringList>

#include "core/adb/replyframing.h"
#include "core/adb/shellcommandreader.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

class Recorder final : public ShellCommandDelegate {
public:
    void shellCommandFinished(const QString&, const QByteArray& output, const AdbResult& result) override {
        texts.append(QString::fromUtf8(output));
        outcomes.push_back(result.outcome);
        if (result.error) errors.append(result.error->description);
    }
    QStringList texts;
    std::vector<AdbOutcome> outcomes;
    QStringList errors;
};

void start(ShellCommandReader& reader, Recorder& recorder, const QString& deviceId = {}) {
    reader.setDelegate(&recorder);
    reader.setDeviceId(deviceId);
    reader.start();
}

// The output up to its last newline arrives once, when the server closes;
// refusals make the reader close at once without waiting for the server and
// deliver an empty text, so that the asker's request ends however it ends
// (a process-table lookup used to stay "running" for good). Once the output
// reaches the cap the conversation stops; the whole lines read still arrive.
// The server reads exactly the bytes the prefix announces: a request with
// non-ASCII text arrives whole and the conversation goes on after it.
TEST(ShellCommandReader, DeliversTheOutputOnceHoweverTheConversationEnds) {
    ScriptedAdbServer server;
    const QByteArray output =
        "USER PID PPID VSIZE RSS WCHAN PC NAME\r\n"
        "u0_a12 1234 1 100 10 0 0 S com.example.app\r\n"
        "root 1 0 100 10 0 0 S /init\r\n";
    const QByteArray nonAscii = "shell:echo h\xc3\xa9llo \xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e";
    const struct {
        QString deviceId;
        std::optional<Script> script;  // none: no server listens
        QByteArray requests;
        QStringList texts;
        qsizetype maxBytes = ShellCommandReader::kDefaultMaxBytes;
        QByteArray command = "shell:ps";
    } cases[] = {
        {u"abc1"_s,
         Script().expectRequest("host:transport:abc1").reply("OKAY").expect(12).reply("OKAY")
             .replyBytewise(output.left(50)).reply(output.mid(50) + "no newline at the end").close(),
         "0013host:transport:abc1" "0008shell:ps", {QString::fromUtf8(output)}},
        {{}, Script().expectRequest("host:transport-any").reply("FAIL0010device not found"),
         "0012host:transport-any", {QString()}},
        {{}, Script().expectRequest("host:transport-any").reply("OKAY").expect(12).reply("FAIL0004nope"),
         "0012host:transport-any" "0008shell:ps", {QString()}},
        {{}, std::nullopt, {}, {QString()}},
        {{}, Script().expectRequest("host:transport-any").reply("OKAY").expect(12).reply("OKAY").reply(output),
         "0012host:transport-any" "0008shell:ps", {QString::fromUtf8(output.left(output.indexOf('\n') + 1))}, 10},
        {{}, Script().expectRequest("host:transport-any").reply("OKAY").expect(4 + nonAscii.size()).reply("OKAY")
             .reply("done\n").close(),
         "0012host:transport-any001b" + nonAscii, {u"done\n"_s}, ShellCommandReader::kDefaultMaxBytes, nonAscii},
    };
    int connection = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(connection);
        if (c.script) server.addScript(*c.script);
        Recorder recorder;
        ShellCommandReader reader(c.script ? server.endpoint() : ScriptedAdbServer::nowhere(),
                                  QString::fromUtf8(c.command), c.maxBytes);
        start(reader, recorder, c.deviceId);
        ASSERT_TRUE(test::waitThenDrain([&] {
            return (c.script ? server.isClosed(connection) : !reader.isConnecting()) && recorder.texts.size() == c.texts.size();
        }));
        EXPECT_EQ(recorder.texts, c.texts);
        EXPECT_FALSE(reader.isConnecting());
        if (c.script) {
            EXPECT_EQ(server.received(connection++), c.requests);
        }
    }
}

// A process table that never ends is cut at the output limit and the rows
// read so far still arrive; a reply cut short reports the failure instead.
TEST(ShellCommandReader, RunawayOutputIsCutAndBrokenRepliesReported) {
    ScriptedAdbServer server;
    const QByteArray row = "u0_a12 1234 1 100 10 0 0 S com.example.app\n";
    server.addScript(Script().expectRequest("host:transport-any").reply("OKAY").expect(12).reply("OKAY")
                         .replyRepeated(row.repeated(1000), -1));
    server.addScript(Script().expectRequest("host:transport-any").reply("OKAY").expect(12).reply("OK").close());
    Recorder recorder;
    for (int run = 0; run < 2; ++run) {
        ShellCommandReader reader(server.endpoint(), u"shell:ps"_s);
        start(reader, recorder);
        ASSERT_TRUE(waitUntil([&] { return recorder.texts.size() == run + 1; }, 20000))
            << run << " " << server.received(run).toStdString() << " " << server.isClosed(run);
    }
    ASSERT_EQ(recorder.texts.size(), 2);
    EXPECT_GE(recorder.texts[0].size(), kMaxCommandOutputBytes);
    EXPECT_LT(recorder.texts[0].size(), kMaxCommandOutputBytes + kMaxLineBytes);
    EXPECT_TRUE(recorder.texts[0].endsWith(u"com.example.app\n"_s));
    EXPECT_EQ(recorder.texts[1], QString());
    EXPECT_EQ(recorder.errors, QStringList{QString::fromLatin1(kUnexpectedReplyText)});
}

// stop() ends a conversation wherever it waits (for a server that never
// answers, in the middle of the output, for the connection itself) with
// exactly one report, and closes the connection.
TEST(ShellCommandReader, StopUnblocksPendingIoAndReportsOnce) {
    ScriptedAdbServer server;
    const struct {
        const char* name;
        bool connected;                // stop once the request is in, else at once
        std::optional<Script> script;  // none: the server accepts and never answers
        QString output;
    } cases[] = {
        {"waiting for a status", true, std::nullopt, {}},
        {"mid-output", true,
         Script().expectRequest("host:transport-any").reply("OKAY").expect(12).reply("OKAYfirst line\nsecond without end"),
         u"first line\n"_s},
        {"while connecting", false, std::nullopt, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.script) server.addScript(*c.script);
        const int connection = server.connectionCount();
        Recorder recorder;
        ShellCommandReader reader(server.endpoint(), u"shell:ps"_s);
        start(reader, recorder);
        EXPECT_TRUE(reader.isConnecting() && reader.isConnected());
        if (c.connected) {
            ASSERT_TRUE(waitUntil([&] {
                return server.connectionCount() > connection && server.received(connection).size() >= 22 &&
                       (!c.script || server.scriptDone(connection));
            }));
        }
        reader.stop();
        reader.stop();
        EXPECT_FALSE(reader.isConnecting());
        ASSERT_TRUE(test::waitThenDrain([&] {
            return !recorder.outcomes.empty() && (!c.connected || server.isClosed(connection));
        }));
        EXPECT_EQ(recorder.outcomes, std::vector<AdbOutcome>{AdbOutcome::Stopped});
        EXPECT_EQ(recorder.texts, QStringList{c.output});
        EXPECT_FALSE(reader.isConnected());
    }
}

// A client's connections opened together may be accepted in either order:
// the scripted server gives each the script that waits for its request.
TEST(ScriptedAdbServer, ConnectionsTradeScriptsByTheirRequests) {
    ScriptedAdbServer server;
    for (const char* command : {"shell:ps", "shell:echo"}) {
        server.addScript(Script().expectRequest("host:transport-any").reply("OKAY").expectRequest(command)
                             .reply("OKAY" + QByteArray(command) + "\n").close());
    }
    Recorder echo;
    Recorder ps;
    ShellCommandReader echoReader(server.endpoint(), u"shell:echo"_s);
    ShellCommandReader psReader(server.endpoint(), u"shell:ps"_s);
    start(echoReader, echo);  // accepted first: handed the script for "shell:ps"
    ASSERT_TRUE(waitUntil([&] { return server.connectionCount() == 1; }));
    start(psReader, ps);
    ASSERT_TRUE(waitUntil([&] { return !echo.outcomes.empty() && !ps.outcomes.empty(); }));
    EXPECT_EQ(echo.texts, QStringList{u"shell:echo\n"_s});
    EXPECT_EQ(ps.texts, QStringList{u"shell:ps\n"_s});
}

}  // namespace
}  // namespace vf
