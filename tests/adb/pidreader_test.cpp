#include <gtest/gtest.h>

#include <QStringList>

#include "core/adb/pidreader.h"
#include "core/support/preferences.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

class PidRecorder final : public PidReaderDelegate {
public:
    void pidReceived(const QString& text) override { texts.append(text); }
    void pidFailedWithError(const Error& error) override { errors.append(error.description); }
    QStringList texts;
    QStringList errors;
};

TEST(PidReader, DeliversTheWholeOutputOnceWhenTheConnectionCloses) {
    ScriptedAdbServer server;
    test::ScopedAdbPreferences prefs(server.port());
    const QByteArray transport = "0013host:transport:abc1";
    const QByteArray output =
        "USER PID PPID VSIZE RSS WCHAN PC NAME\r\n"
        "u0_a12 1234 1 100 10 0 0 S com.example.app\r\n"
        "root 1 0 100 10 0 0 S /init\r\n";
    server.addScript(Script()
                         .expect(transport.size())
                         .reply("OKAY")
                         .expect(12)
                         .reply("OKAY")
                         .replyBytewise(output.left(50))
                         .reply(output.mid(50) + "no newline at the end")
                         .close());
    PidRecorder recorder;
    PidReader reader;
    reader.setDelegate(&recorder);
    reader.setDeviceId(u"abc1"_s);
    reader.connect();
    ASSERT_TRUE(waitUntil([&] { return !recorder.texts.isEmpty(); }));
    test::pumpEvents(30);
    EXPECT_EQ(server.received(0), transport + "0008shell:ps");
    EXPECT_EQ(recorder.texts, QStringList{QString::fromUtf8(output)});
    EXPECT_FALSE(reader.isConnecting());
}

// Refusals stop the conversation at once; nothing is delivered.
TEST(PidReader, RefusedTransportOrCommandOrNoServerDeliversNothing) {
    ScriptedAdbServer server;
    test::ScopedAdbPreferences prefs(server.port());
    const QByteArray transportAny = "0012host:transport-any";
    server.addScript(Script().expect(transportAny.size()).reply("FAIL0010device not found"));
    server.addScript(Script().expect(transportAny.size()).reply("OKAY").expect(12).reply("FAIL0004nope"));
    for (int i = 0; i < 2; ++i) {
        PidRecorder recorder;
        PidReader reader;
        reader.setDelegate(&recorder);
        reader.connect();
        // The reader closes the connection itself, without waiting for the server.
        ASSERT_TRUE(waitUntil([&] { return server.isClosed(i); })) << i;
        test::pumpEvents(30);
        EXPECT_TRUE(recorder.texts.isEmpty());
        EXPECT_TRUE(recorder.errors.isEmpty());
        EXPECT_FALSE(reader.isConnecting());
    }

    Preferences::setValue(u"adbPort"_s, QString::number(ScriptedAdbServer::unusedPort()));
    PidRecorder recorder;
    PidReader reader;
    reader.setDelegate(&recorder);
    reader.connect();
    ASSERT_TRUE(waitUntil([&] { return !reader.isConnecting(); }));
    test::pumpEvents(30);
    EXPECT_TRUE(recorder.texts.isEmpty());
}

}  // namespace
}  // namespace vf
