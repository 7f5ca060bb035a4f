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
        if (result.error) errors.append(result.error->description);
    }
    QStringList texts;
    QStringList errors;
};

// The output up to its last newline arrives once, when the server closes;
// refusals make the reader close at once without waiting for the server and
// deliver an empty text, so that the asker's request ends however it ends
// (a process-table lookup used to stay "running" for good). Once the output
// reaches the cap the conversation stops; the whole lines read still arrive.
TEST(ShellCommandReader, DeliversTheOutputOnceHoweverTheConversationEnds) {
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
        qsizetype maxBytes = ShellCommandReader::kDefaultMaxBytes;
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
    };
    int connection = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(connection);
        if (c.script) server.addScript(*c.script);
        Recorder recorder;
        ShellCommandReader reader(c.script ? server.endpoint() : ScriptedAdbServer::nowhere(), u"shell:ps"_s, c.maxBytes);
        reader.setDelegate(&recorder);
        reader.setDeviceId(c.deviceId);
        reader.start();
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
        reader.setDelegate(&recorder);
        reader.start();
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

}  // namespace
}  // namespace vf
