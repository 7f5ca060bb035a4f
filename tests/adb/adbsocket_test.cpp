#include <gtest/gtest.h>

#include "core/adb/adbsocket.h"
#include "core/adb/shellcommandreader.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

TEST(AdbSocket, FramesWithTheUtf8LengthInFourLowerCaseHexDigits) {
    EXPECT_EQ(AdbSocket::frame(u"host:devices"_s), "000chost:devices");
    EXPECT_EQ(AdbSocket::frame(QString(0x1234, u'x')).left(4), "1234");
    EXPECT_EQ(AdbSocket::frame(QString(0x12345, u'x')).left(5), "12345");
    // Two characters, four bytes; an astral character is two UTF-16 units and four bytes.
    EXPECT_EQ(AdbSocket::frame(u"\u00e9\u00e9"_s), "0004\xc3\xa9\xc3\xa9");
    EXPECT_EQ(AdbSocket::frame(u"\U0001F600"_s), "0004\xf0\x9f\x98\x80");
}

struct Ends final : ShellCommandDelegate {
    void shellCommandFinished(const QString&, const QByteArray& out, const AdbResult& result) override {
        outcomes.push_back(result.outcome);
        output = out;
    }
    std::vector<AdbOutcome> outcomes;
    QByteArray output;
};

// The server reads exactly the bytes the prefix announces: a request with
// non-ASCII text arrives whole and the conversation goes on after it.
TEST(AdbSocket, NonAsciiRequestsArriveWhole) {
    test::ScriptedAdbServer server;
    const QByteArray command = "shell:echo h\xc3\xa9llo \xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e";
    server.addScript(test::Script().expectRequest("host:transport-any").reply("OKAY")
                         .expect(4 + command.size()).reply("OKAY").reply("done\n").close());
    ShellCommandReader reader(server.endpoint(), QString::fromUtf8(command));
    Ends delegate;
    reader.setDelegate(&delegate);
    reader.start();
    ASSERT_TRUE(test::waitUntil([&] { return !delegate.output.isEmpty(); }));
    EXPECT_EQ(delegate.output, "done\n");
    EXPECT_EQ(server.received(0), "0012host:transport-any001b" + command);
}

// stop() ends a conversation wherever it waits (for a server that never
// answers, in the middle of the output, for the connection itself) with
// exactly one report, and closes the connection.
TEST(AdbSocket, StopUnblocksPendingIoAndReportsOnce) {
    test::ScriptedAdbServer server;
    const struct {
        const char* name;
        bool connected;                      // stop once the request is in, else at once
        std::optional<test::Script> script;  // none: the server accepts and never answers
        QByteArray output;
    } cases[] = {
        {"waiting for a status", true, std::nullopt, {}},
        {"mid-output", true,
         test::Script().expectRequest("host:transport-any").reply("OKAY").expect(12)
             .reply("OKAYfirst line\nsecond without end"),
         "first line\n"},
        {"while connecting", false, std::nullopt, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.script) server.addScript(*c.script);
        const int connection = server.connectionCount();
        Ends ends;
        ShellCommandReader reader(server.endpoint(), u"shell:ps"_s);
        reader.setDelegate(&ends);
        reader.start();
        EXPECT_TRUE(reader.isConnecting() && reader.isConnected());
        if (c.connected) {
            ASSERT_TRUE(test::waitUntil([&] {
                return server.connectionCount() > connection && server.received(connection).size() >= 22 &&
                       (!c.script || server.scriptDone(connection));
            }));
        }
        reader.stop();
        reader.stop();
        EXPECT_FALSE(reader.isConnecting());
        ASSERT_TRUE(test::waitThenDrain([&] {
            return !ends.outcomes.empty() && (!c.connected || server.isClosed(connection));
        }));
        EXPECT_EQ(ends.outcomes, std::vector<AdbOutcome>{AdbOutcome::Stopped});
        EXPECT_EQ(ends.output, c.output);
        EXPECT_FALSE(reader.isConnected());
    }
}

// A client's connections opened together may be accepted in either order:
// the scripted server gives each the script that waits for its request.
TEST(ScriptedAdbServer, ConnectionsTradeScriptsByTheirRequests) {
    test::ScriptedAdbServer server;
    for (const char* command : {"shell:ps", "shell:echo"}) {
        server.addScript(test::Script().expectRequest("host:transport-any").reply("OKAY").expectRequest(command)
                             .reply("OKAY" + QByteArray(command) + "\n").close());
    }
    Ends echo;
    Ends ps;
    ShellCommandReader echoReader(server.endpoint(), u"shell:echo"_s);
    ShellCommandReader psReader(server.endpoint(), u"shell:ps"_s);
    echoReader.setDelegate(&echo);
    psReader.setDelegate(&ps);
    echoReader.start();  // accepted first: handed the script for "shell:ps"
    ASSERT_TRUE(test::waitUntil([&] { return server.connectionCount() == 1; }));
    psReader.start();
    ASSERT_TRUE(test::waitUntil([&] { return !echo.outcomes.empty() && !ps.outcomes.empty(); }));
    EXPECT_EQ(echo.output, "shell:echo\n");
    EXPECT_EQ(ps.output, "shell:ps\n");
}

}  // namespace
}  // namespace vf
