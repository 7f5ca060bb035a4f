#include <gtest/gtest.h>

#include <functional>

#include "core/adb/asyncsocket.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using test::Script;
using test::ScriptedAdbServer;
using test::strings;
using test::waitUntil;

// Records every callback; the hooks may queue more work from inside one.
class Recorder final : public AsyncSocketDelegate {
public:
    void socketDidConnect(AsyncSocket*) override {
        events.append(QStringLiteral("connect"));
        if (onConnect) onConnect();
    }
    void socketDidReadData(AsyncSocket*, const QByteArray& data, long tag) override {
        events.append(QStringLiteral("read %1 %2").arg(tag).arg(QString::fromLatin1(data)));
        if (onRead) onRead(tag);
    }
    void socketDidDisconnect(AsyncSocket*, const OptionalError& error) override {
        ++disconnects;
        this->error = error;
        events.append(QStringLiteral("disconnect"));
    }

    QStringList events;
    int disconnects = 0;
    OptionalError error;
    std::function<void()> onConnect;
    std::function<void(long)> onRead;
};

class AsyncSocketTest : public ::testing::Test {
protected:
    // Connects `socket` to the server, whose next connection runs `script`.
    void connect(const Script& script = Script()) {
        server.addScript(script);
        ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    }

    ScriptedAdbServer server;
    Recorder recorder;
    AsyncSocket socket{&recorder};
};

// Runs `reads` against `reply` sent whole and then byte by byte after the
// steps of `script`; both runs must record `events`.
void expectReads(const QByteArray& reply, const Script& script, const std::function<void(AsyncSocket&)>& reads,
                 const QStringList& events) {
    for (const bool bytewise : {false, true}) {
        ScriptedAdbServer server;
        Script steps = script;
        bytewise ? steps.replyBytewise(reply) : steps.reply(reply);
        server.addScript(steps.close());
        Recorder recorder;
        AsyncSocket socket(&recorder);
        // Everything is queued before the connection exists.
        ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
        reads(socket);
        ASSERT_TRUE(waitUntil([&] { return recorder.disconnects > 0; })) << recorder.events.join(u'|').toStdString();
        EXPECT_EQ(recorder.events, events) << "bytewise=" << bytewise;
        EXPECT_EQ(server.received(0), script.steps().isEmpty() ? "" : "abcdef");
    }
}

// The same reply, coalesced or byte by byte, completes the same reads.
TEST(AsyncSocket, ReadsCompleteInOrderWhateverTheSegmentation) {
    expectReads("OKAY0005hello\nwor\nIENDxx", Script().expect(6), [](AsyncSocket& socket) {
        socket.writeData("abc", -1, 1);
        socket.writeData("def", -1, 1);
        socket.readDataToLength(4, -1, 1);
        socket.readDataToLength(4, -1, 2);
        socket.readDataToLength(5, -1, 3);
        socket.readDataToData(AsyncSocket::LFData(), -1, 4);
        socket.readDataToData(AsyncSocket::LFData(), -1, 5);
        socket.readDataToData("IEND", -1, 6);
    }, strings({"connect", "read 1 OKAY", "read 2 0005", "read 3 hello", "read 4 \n", "read 5 wor\n", "read 6 IEND",
                "disconnect"}));
}

// On a peer close every read the buffered bytes satisfy completes first,
// including reads queued from inside the callbacks, then one disconnect.
TEST_F(AsyncSocketTest, PeerCloseDrainsBufferedReadsThenReportsOnce) {
    recorder.onRead = [&](long tag) { socket.readDataToData(AsyncSocket::LFData(), -1, tag + 1); };
    connect(Script().reply("one\ntwo\nthree\npart").close());
    socket.readDataToData(AsyncSocket::LFData(), -1, 0);
    ASSERT_TRUE(test::waitThenSettle([&] { return recorder.disconnects > 0; }, 50));
    EXPECT_EQ(recorder.events, strings({"connect", "read 0 one\n", "read 1 two\n", "read 2 three\n", "disconnect"}));
    EXPECT_FALSE(recorder.error.has_value());
    EXPECT_FALSE(socket.isConnected());
}

// A bounded read hands out its limit and drops the rest of the record, up
// to a delimiter that may straddle the cut; whatever the segmentation.
TEST(AsyncSocket, BoundedReadsCutAndSkipToTheNextRecord) {
    expectReads("abcdefgh\nxy\nabcIENDok\n", Script(), [](AsyncSocket& socket) {
        socket.readDataToData(AsyncSocket::LFData(), -1, 1, 4);
        socket.readDataToData(AsyncSocket::LFData(), -1, 2, 4);
        socket.readDataToData("IEND", -1, 3, 4);
        socket.readDataToData(AsyncSocket::LFData(), -1, 4, 4);
    }, strings({"connect", "read 1 abcd", "read 2 xy\n", "read 3 abcI", "read 4 ok\n", "disconnect"}));
}

// A peer that floods a connection nobody reads from is cut off.
TEST_F(AsyncSocketTest, UnrequestedFloodEndsTheConnection) {
    connect(Script().replyRepeated(QByteArray(64 * 1024, 'x'), -1));
    ASSERT_TRUE(waitUntil([&] { return recorder.disconnects > 0; }, 20000));
    ASSERT_TRUE(recorder.error.has_value());
    EXPECT_EQ(recorder.error->code, EMSGSIZE);
}

TEST_F(AsyncSocketTest, RequestsThatCannotStartAndFailuresReportedAsErrors) {
    Error error;
    EXPECT_FALSE(socket.connectToHost(QString(), 1, &error));
    EXPECT_FALSE(error.description.isEmpty());
    EXPECT_FALSE(AsyncSocket(nullptr).connectToHost(QStringLiteral("127.0.0.1"), 1));

    ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), ScriptedAdbServer::unusedPort()));
    EXPECT_FALSE(socket.connectToHost(QStringLiteral("127.0.0.1"), 1));  // already in use
    ASSERT_TRUE(waitUntil([&] { return recorder.disconnects > 0; }));
    ASSERT_TRUE(recorder.error.has_value());
    EXPECT_EQ(recorder.error->code, kConnectionRefusedCode);
    EXPECT_EQ(recorder.error->domain, QString::fromLatin1(kSocketErrorDomain));
    EXPECT_EQ(recorder.events, strings({"disconnect"}));

    // A read that times out with nothing received.
    Recorder timedOut;
    AsyncSocket other(&timedOut);
    ASSERT_TRUE(other.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    other.readDataToLength(4, 0.05, 7);
    ASSERT_TRUE(waitUntil([&] { return timedOut.disconnects > 0; }));
    ASSERT_TRUE(timedOut.error.has_value());
    EXPECT_EQ(timedOut.error->code, kReadTimeoutCode);
}

// Neither a zero-length read (which holds the reads behind it) nor a
// delegate detached on connect hears anything after "connect".
TEST_F(AsyncSocketTest, ZeroLengthReadAndDetachedDelegateHearNothingMore) {
    connect(Script().reply("OKAY"));
    socket.readDataToLength(0, -1, 1);
    socket.readDataToLength(4, -1, 2);
    ASSERT_TRUE(test::waitThenSettle([&] { return server.scriptDone(0); }, 50));
    EXPECT_EQ(recorder.events, strings({"connect"}));

    Recorder detached;
    AsyncSocket other(&detached);
    detached.onConnect = [&] { other.setDelegate(nullptr); };
    server.addScript(Script().reply("OKAY").close());
    ASSERT_TRUE(other.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    other.readDataToLength(4, -1, 1);
    ASSERT_TRUE(test::waitThenSettle([&] { return server.isClosed(1); }, 50));
    EXPECT_EQ(detached.events, strings({"connect"}));
}

TEST_F(AsyncSocketTest, DisconnectIsReportedOnceAndNeverFromInsideTheCall) {
    connect();
    ASSERT_TRUE(waitUntil([&] { return socket.isConnected(); }));
    socket.disconnect();
    socket.disconnect();
    EXPECT_EQ(recorder.disconnects, 0);
    EXPECT_FALSE(socket.isConnected());
    ASSERT_TRUE(test::waitThenSettle([&] { return recorder.disconnects > 0; }));
    EXPECT_EQ(recorder.disconnects, 1);
}

}  // namespace
}  // namespace vf
