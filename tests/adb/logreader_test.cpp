#include <gtest/gtest.h>

#include <QStringList>

#include "core/adb/logreader.h"
#include "core/adb/replyframing.h"
#include "core/support/preferences.h"
#include "support/fixtures/logrecorder.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::LogRecorder;
using test::Script;
using test::ScriptedAdbServer;
using test::strings;
using test::waitUntil;

const QByteArray kTransportAny = "0012host:transport-any";
const QByteArray kStream = "003bshell:export ANDROID_LOG_TAGS=\"\"; exec logcat -v threadtime";

Script transportAnyThen(const QByteArray& reply) { return Script().expect(kTransportAny.size()).reply(reply); }

TEST(LogReader, TagExpressionsStayInsideTheirQuotes) {
    const struct {
        QString tags, value;
    } cases[] = {
        {u"ActivityManager:I *:S"_s, u"ActivityManager:I *:S"_s},
        {u"x\"; reboot; \""_s, u"x\\\"; reboot; \\\""_s},
        {u"$(id) `id` \\"_s, u"\\$(id) \\`id\\` \\\\"_s},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(LogReader::streamRequest(c.tags),
                  u"shell:export ANDROID_LOG_TAGS=\""_s + c.value + u"\"; exec logcat -v threadtime"_s);
    }
}

TEST(LogReader, ArgumentsNameTheBuffersAndTheStartTime) {
    const struct {
        QStringList buffers;
        QString since, arguments;
        bool uid = false;
    } cases[] = {
        {defaultLogBuffers(), {}, u"-v threadtime -v uid -b main -b system -b crash"_s, true},
        {defaultLogBuffers(), {}, u"-v threadtime -b main -b system -b crash"_s},
        {{u"main"_s, u"events"_s}, u"03-17 09:41:12.300"_s, u"-v threadtime -b main -b events -T '03-17 09:41:12.300'"_s},
        {{}, u"12-31 23:59:59.999"_s, u"-v threadtime -T '12-31 23:59:59.999'"_s},
        // Only logcat's own words reach the device's shell.
        {{u"main;reboot"_s, u"crash"_s}, u"03-17 09:41:12.300'; reboot; '"_s, u"-v threadtime -b crash"_s},
        {{u"main"_s}, u"2026-03-17 09:41:12.300"_s, u"-v threadtime -b main"_s},
    };
    for (const auto& c : cases) {
        LogcatOptions options;
        options.buffers = c.buffers;
        options.uidColumn = c.uid;
        EXPECT_EQ(LogReader::logcatArguments(options, c.since), c.arguments);
    }
    for (const char* refusal : {"logcat: invalid option -- T\n", "Unrecognized Option\r\n", "Usage: logcat [options]\n",
                                "Invalid parameter uid to -v\n", "Unable to open log device '/dev/log/crash': x\n"})
        EXPECT_TRUE(LogReader::isRefusal(refusal)) << refusal;
    for (const char* line : {"--------- beginning of main\n", "01-02 03:04:05.678  1  2 I Usage: logcat\n"})
        EXPECT_FALSE(LogReader::isRefusal(line)) << line;
}

class LogReaderTest : public ::testing::Test {
protected:
    void start(LogReader& reader, LogRecorder& recorder, const QString& deviceId = QString()) {
        reader.setDelegate(&recorder);
        reader.setDeviceId(deviceId);
        reader.start();
    }
    // Waits for the end and for the calls posted behind it, to catch a second report.
    void finish(const LogRecorder& recorder) {
        ASSERT_TRUE(test::waitThenDrain([&] { return recorder.ended(); })) << recorder.events.join(u'|').toStdString();
    }

    ScriptedAdbServer server;
    LogRecorder recorder;
    LogReader reader{server.endpoint(), LogcatOptions{{}, true, {}}};
};

// Each conversation runs to one end; what the server sent back decides the
// reports before it.
TEST_F(LogReaderTest, ConversationsReportThenEndOnce) {
    const struct {
        const char* name;
        QString deviceId, logTags;
        std::optional<Script> script;  // none: no server listens
        QByteArray requests;
        QStringList events;
    } cases[] = {
        {"lines in order, a stray byte as U+FFFD, unterminated tail dropped", {}, {},
         transportAnyThen("OKAY")
             .expect(kStream.size())
             .replyBytewise("OKAY01-15 a\r\nb\xff\n")
             .reply("c\nd\ntail without newline")
             .close(),
         kTransportAny + kStream, strings({"line 01-15 a\r\n", "line b\uFFFD\n", "line c\n", "line d\n", "end done"})},
        {"serial and log tags go into the requests", u"emu-5554"_s, u"*:W Tag:V"_s,
         Script().expect(27).reply("OKAY").expect(72).reply("OKAY").close(),  // the two requests below
         "0017host:transport:emu-5554"
         "0044shell:export ANDROID_LOG_TAGS=\"*:W Tag:V\"; exec logcat -v threadtime",
         strings({"end done"})},
        // The meaning of a refusal is the run's business (AdbFailureKind).
        {"refusal", {}, {}, transportAnyThen(test::failReply("device 'x' not found")).close(),
         kTransportAny, strings({"end refused device 'x' not found"})},
        // Replies that break the framing end the run with the same report (each
        // way to break it is a ReplyFraming case).
        {"closed inside the failure message", {}, {}, transportAnyThen("FAIL0010oops").close(), kTransportAny,
         strings({"end unexpected the ADB server sent an unexpected reply"})},
        {"no server", {}, {}, std::nullopt, {}, strings({"end not running Connection refused"})},
        // A line without end is cut at the limit, kept as one marked row, and
        // the stream goes on with the next line; memory stays near the limit.
        {"endless line", {}, {},
         transportAnyThen("OKAY")
             .expect(kStream.size())
             .reply("OKAYfirst\n")
             .replyRepeated(QByteArray(64 * 1024, 'x'), 40)  // 2.5 MiB in one line
             .reply("\xc3\xa9\nnext\n")
             .close(),
         kTransportAny + kStream,
         {u"line first\n"_s, u"line "_s + QString(kMaxLineBytes, u'x') + QString::fromLatin1(kCutLineMark) + u"\n"_s,
          u"line next\n"_s, u"end done"_s}},
    };
    int connection = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.script) server.addScript(*c.script);
        LogRecorder caseRecorder;
        LogReader caseReader(c.script ? server.endpoint() : ScriptedAdbServer::nowhere(), LogcatOptions{c.logTags, false, {}});
        start(caseReader, caseRecorder, c.deviceId);
        finish(caseRecorder);
        EXPECT_EQ(caseRecorder.events, c.events);
        EXPECT_FALSE(caseReader.isConnecting());
        if (c.script) {
            EXPECT_EQ(server.received(connection++), c.requests);
        }
    }
}

// Stopping mid-stream (twice) closes the stream connection and ends once.
TEST_F(LogReaderTest, ClearsOnItsOwnConnectionThenStreamsUntilStopped) {
    const QByteArray clear = "0014shell:exec logcat -c";
    // The server closes the clear connection once the log is cleared.
    server.addScript(transportAnyThen("OKAY").expect(clear.size()).reply("OKAY").close());
    server.addScript(transportAnyThen("OKAY").expect(kStream.size()).reply("OKAYx\n"));
    start(reader, recorder);
    ASSERT_TRUE(waitUntil([&] { return recorder.events.size() == 1; }));
    EXPECT_EQ(recorder.events, strings({"line x\n"}));
    EXPECT_EQ(server.connectionCount(), 2);
    EXPECT_EQ(server.received(0), kTransportAny + clear);
    EXPECT_EQ(server.received(1), kTransportAny + kStream);
    EXPECT_FALSE(reader.sentClearDevice());

    reader.stop();
    reader.stop();
    finish(recorder);
    EXPECT_EQ(recorder.events, strings({"line x\n", "end stopped"}));
    EXPECT_EQ(recorder.ends, 1);
    EXPECT_TRUE(waitUntil([&] { return server.isClosed(1); }));
}

// A logcat that does not take "-T" or a buffer says so and exits: the
// reader asks once more on a new connection, without them. One that only
// refuses the uid column (before Android 7) keeps the others.
TEST_F(LogReaderTest, RefusedArgumentsAreAskedForAgainWithout) {
    const QString since = u"03-17 09:41:12.300"_s;
    const LogcatOptions options{{}, false, {u"main"_s, u"crash"_s}};
    LogcatOptions withUid = options;
    withUid.uidColumn = true;
    const auto request = [&](const LogcatOptions& asked) {
        return test::framed(LogReader::streamRequest({}, LogReader::logcatArguments(asked, since)).toUtf8());
    };
    const struct {
        LogcatOptions options;
        QByteArray refusal, retry;
        bool fellBack;
    } cases[] = {
        {options, "logcat: invalid option -- T\nUnrecognized Option\nUsage: logcat\n", kStream, true},
        {withUid, "Invalid parameter uid to -v\nUsage: logcat [options]\n", request(options), false},
    };
    int connection = 0;
    for (const auto& c : cases) {
        server.addScript(transportAnyThen("OKAY").expect(request(c.options).size()).reply("OKAY" + c.refusal).close());
        server.addScript(transportAnyThen("OKAY").expect(c.retry.size()).reply("OKAYa\n").close());
        LogRecorder caseRecorder;
        LogReader caseReader(server.endpoint(), c.options, since);
        start(caseReader, caseRecorder);
        finish(caseRecorder);
        EXPECT_EQ(caseRecorder.events, strings({"line a\n", "end done"}));
        EXPECT_EQ(server.received(connection++), kTransportAny + request(c.options));
        EXPECT_EQ(server.received(connection++), kTransportAny + c.retry);
        EXPECT_EQ(caseReader.fellBack(), c.fellBack);
    }
}

}  // namespace
}  // namespace vf
