#include <gtest/gtest.h>

#include <QStringList>
#include <functional>
#include <thread>

#include "core/adb/asyncsocket.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

QStringList strings(std::initializer_list<const char*> texts) {
    QStringList list;
    for (const char* text : texts) list.append(QString::fromUtf8(text));
    return list;
}

// Records every callback; `onRead` may queue the next read from inside one.
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
        if (insideCall) reentrant = true;
        this->error = error;
        events.append(QStringLiteral("disconnect"));
    }

    QStringList events;
    int disconnects = 0;
    OptionalError error;
    bool insideCall = false;
    bool reentrant = false;
    std::function<void()> onConnect;
    std::function<void(long)> onRead;
};

// The same reply, coalesced or byte by byte, completes the same reads.
TEST(AsyncSocket, ReadsCompleteInOrderWhateverTheSegmentation) {
    const QByteArray reply = QByteArrayLiteral("OKAY0005hello\nwor\nIENDxx");
    for (const bool bytewise : {false, true}) {
        ScriptedAdbServer server;
        Script script;
        script.expect(6);
        bytewise ? script.replyBytewise(reply) : script.reply(reply);
        server.addScript(script);

        Recorder recorder;
        AsyncSocket socket(&recorder);
        // Everything is queued before the connection exists.
        ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
        socket.writeData("abc", -1, 1);
        socket.writeData("def", -1, 1);
        socket.readDataToLength(4, -1, 1);
        socket.readDataToLength(4, -1, 2);
        socket.readDataToLength(5, -1, 3);
        socket.readDataToData(AsyncSocket::LFData(), -1, 4);
        socket.readDataToData(AsyncSocket::LFData(), -1, 5);
        socket.readDataToData("IEND", -1, 6);
        ASSERT_TRUE(waitUntil([&] { return recorder.events.size() == 7; })) << recorder.events.join(u'|').toStdString();
        EXPECT_EQ(recorder.events,
                  strings({"connect", "read 1 OKAY", "read 2 0005", "read 3 hello", "read 4 \n",
                               "read 5 wor\n", "read 6 IEND"}))
            << "bytewise=" << bytewise;
        EXPECT_EQ(server.received(0), "abcdef");
        EXPECT_TRUE(socket.isConnected());
    }
}

// On a peer close every read the buffered bytes satisfy completes first,
// including reads queued from inside the callbacks, then one disconnect.
TEST(AsyncSocket, PeerCloseDrainsBufferedReadsThenReportsOnce) {
    ScriptedAdbServer server;
    server.addScript(Script().reply("one\ntwo\nthree\npart").close());
    Recorder recorder;
    AsyncSocket socket(&recorder);
    recorder.onRead = [&](long tag) { socket.readDataToData(AsyncSocket::LFData(), -1, tag + 1); };
    ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    socket.readDataToData(AsyncSocket::LFData(), -1, 0);
    ASSERT_TRUE(waitUntil([&] { return recorder.disconnects > 0; }));
    test::pumpEvents(50);
    EXPECT_EQ(recorder.events, strings({"connect", "read 0 one\n", "read 1 two\n", "read 2 three\n", "disconnect"}));
    EXPECT_EQ(recorder.disconnects, 1);
    EXPECT_FALSE(recorder.error.has_value());
    EXPECT_FALSE(socket.isConnected());
}

TEST(AsyncSocket, RefusedConnectionAndRequestsThatCannotStart) {
    Recorder recorder;
    AsyncSocket socket(&recorder);
    Error error;
    EXPECT_FALSE(socket.connectToHost(QString(), 1, &error));
    EXPECT_FALSE(error.description.isEmpty());

    ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), ScriptedAdbServer::unusedPort()));
    EXPECT_FALSE(socket.connectToHost(QStringLiteral("127.0.0.1"), 1));  // already in use
    ASSERT_TRUE(waitUntil([&] { return recorder.disconnects > 0; }));
    ASSERT_TRUE(recorder.error.has_value());
    EXPECT_EQ(recorder.error->code, kConnectionRefusedCode);
    EXPECT_EQ(recorder.error->domain, QString::fromLatin1(kSocketErrorDomain));
    EXPECT_EQ(recorder.events, strings({"disconnect"}));

    AsyncSocket orphan(nullptr);
    EXPECT_FALSE(orphan.connectToHost(QStringLiteral("127.0.0.1"), 1));
}

TEST(AsyncSocket, ZeroLengthReadNeverCompletesAndHoldsLaterReads) {
    ScriptedAdbServer server;
    server.addScript(Script().reply("OKAY"));
    Recorder recorder;
    AsyncSocket socket(&recorder);
    ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    socket.readDataToLength(0, -1, 1);
    socket.readDataToLength(4, -1, 2);
    ASSERT_TRUE(waitUntil([&] { return server.scriptDone(0); }));
    test::pumpEvents(50);
    EXPECT_EQ(recorder.events, strings({"connect"}));
}

TEST(AsyncSocket, ReadWithTimeoutDisconnectsWithErrorWhenNothingComes) {
    ScriptedAdbServer server;
    Recorder recorder;
    AsyncSocket socket(&recorder);
    ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    socket.readDataToLength(4, 0.05, 7);
    ASSERT_TRUE(waitUntil([&] { return recorder.disconnects > 0; }));
    ASSERT_TRUE(recorder.error.has_value());
    EXPECT_EQ(recorder.error->code, kReadTimeoutCode);
}

TEST(AsyncSocket, DisconnectIsReportedOnceAndNeverFromInsideTheCall) {
    ScriptedAdbServer server;
    Recorder recorder;
    AsyncSocket socket(&recorder);
    ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    ASSERT_TRUE(waitUntil([&] { return socket.isConnected(); }));
    recorder.insideCall = true;
    socket.disconnect();
    socket.disconnect();
    recorder.insideCall = false;
    EXPECT_FALSE(socket.isConnected());
    ASSERT_TRUE(waitUntil([&] { return recorder.disconnects > 0; }));
    test::pumpEvents(30);
    EXPECT_EQ(recorder.disconnects, 1);
    EXPECT_FALSE(recorder.reentrant);

    // From another thread the request is queued to the socket's thread.
    Recorder second;
    AsyncSocket other(&second);
    ASSERT_TRUE(other.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    ASSERT_TRUE(waitUntil([&] { return other.isConnected(); }));
    std::thread([&] { other.disconnect(); }).join();
    ASSERT_TRUE(waitUntil([&] { return second.disconnects == 1; }));
    EXPECT_TRUE(waitUntil([&] { return server.isClosed(1); }));
}

TEST(AsyncSocket, DetachedDelegateHearsNothingMore) {
    ScriptedAdbServer server;
    server.addScript(Script().reply("OKAY").close());
    Recorder recorder;
    AsyncSocket socket(&recorder);
    recorder.onConnect = [&] { socket.setDelegate(nullptr); };
    ASSERT_TRUE(socket.connectToHost(QStringLiteral("127.0.0.1"), server.port()));
    socket.readDataToLength(4, -1, 1);
    ASSERT_TRUE(waitUntil([&] { return server.isClosed(0); }));
    test::pumpEvents(50);
    EXPECT_EQ(recorder.events, strings({"connect"}));
}

}  // namespace
}  // namespace vf
