#include <gtest/gtest.h>

#include <QStringList>

#include "core/adb/pidreader.h"
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
    QStringList texts;
};

// The output up to its last newline arrives once, when the server closes;
// refusals make the reader close at once without waiting for the server and
// deliver an empty text, so that the lookup ends however it ends.
TEST(PidReader, DeliversTheWholeOutputOnceHoweverTheConversationEnds) {
    ScriptedAdbServer server;
    const QByteArray output =
        "USER PID PPID VSIZE RSS WCHAN PC NAME\r\n"
        "u0_a12 1234 1 100 10 0 0 S com.example.app\r\n"
        "root 1 0 100 10 0 0 S /init\r\n";
    const struct {
        QString deviceId;
        std::optional<Script> script;  // none: no server listens
        QByteArray requests;
        QStringList texts;
    } cases[] = {
        {u"abc1"_s,
         Script()
             .expectRequest("host:transport:abc1")
             .reply("OKAY")
             .expect(12)
             .reply("OKAY")
             .replyBytewise(output.left(50))
             .reply(output.mid(50) + "no newline at the end")
             .close(),
         "0013host:transport:abc1" "0008shell:ps", {QString::fromUtf8(output)}},
        {{}, Script().expectRequest("host:transport-any").reply("FAIL0010device not found"),
         "0012host:transport-any", {QString()}},
        {{}, Script().expectRequest("host:transport-any").reply("OKAY").expect(12).reply("FAIL0004nope"),
         "0012host:transport-any" "0008shell:ps", {QString()}},
        {{}, std::nullopt, {}, {QString()}},
    };
    int connection = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(connection);
        if (c.script) server.addScript(*c.script);
        PidRecorder recorder;
        PidReader reader(c.script ? server.endpoint() : ScriptedAdbServer::nowhere());
        reader.setDelegate(&recorder);
        reader.setDeviceId(c.deviceId);
        reader.connect();
        ASSERT_TRUE(test::waitThenSettle([&] { 
            return c.script ? server.isClosed(connection) && recorder.texts.size() == c.texts.size()
                            : !reader.isConnecting() && recorder.texts.size() == c.texts.size();
        }));
        EXPECT_EQ(recorder.texts, c.texts);
        EXPECT_FALSE(reader.isConnecting());
        if (c.script) {
            EXPECT_EQ(server.received(connection++), c.requests);
        }
    }
}

}  // namespace
}  // namespace vf
