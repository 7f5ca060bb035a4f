#include <gtest/gtest.h>

#include <QStringDecoder>
#include <QStringList>

#include "core/adb/logreader.h"
#include "core/support/preferences.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

class LogRecorder final : public LogReaderDelegate {
public:
    void logLineReceived(std::optional<std::string_view> line) override {
        events.append(line ? u"line "_s + QString::fromUtf8(line->data(), qsizetype(line->size()))
                           : u"line null"_s);
    }
    void logReaderStopped() override { events.append(u"stopped"_s); }
    void logReaderStoppedWithError(const Error& error) override {
        events.append(u"error %1 %2"_s.arg(error.code).arg(error.description));
    }
    void adbNotRunningError(const Error& error) override {
        events.append(u"not running %1"_s.arg(error.code));
    }
    void adbDeviceNotFound(const Error& error) override {
        events.append(u"not found "_s + error.failureReason);
    }
    bool ended() const { return events.contains(u"stopped"_s); }
    QStringList events;
};

QStringList strings(std::initializer_list<const char*> texts) {
    QStringList list;
    for (const char* text : texts) list.append(QString::fromUtf8(text));
    return list;
}

QByteArray fail(const QByteArray& message) {
    return "FAIL" + QByteArray::number(message.size(), 16).rightJustified(4, '0') + message;
}

const QByteArray kTransportAny = "0012host:transport-any";
const QByteArray kStream = "003bshell:export ANDROID_LOG_TAGS=\"\"; exec logcat -v threadtime";

class LogReaderTest : public ::testing::Test {
protected:
    void start(const QString& deviceId = QString()) {
        reader.setDelegate(&recorder);
        reader.setDeviceId(deviceId);
        reader.connect();
    }
    // Waits for the end and a little longer, to catch a second report.
    void finish() {
        ASSERT_TRUE(waitUntil([&] { return recorder.ended(); })) << recorder.events.join(u'|').toStdString();
        test::pumpEvents(30);
    }

    ScriptedAdbServer server;
    test::ScopedAdbPreferences prefs{server.port()};
    LogRecorder recorder;
    LogReader reader;
};

TEST_F(LogReaderTest, StreamsLinesInOrderAndEndsOnceWhenTheServerCloses) {
    server.addScript(Script()
                         .expect(kTransportAny.size())
                         .reply("OKAY")
                         .expect(kStream.size())
                         .replyBytewise("OKAY01-15 a\r\nb\xff\n")
                         .reply("c\nd\ntail without newline")
                         .close());
    start();
    finish();
    EXPECT_EQ(server.received(0), kTransportAny + kStream);
    EXPECT_EQ(recorder.events,
              strings({"line 01-15 a\r\n", "line null", "line c\n", "line d\n", "stopped"}));
    EXPECT_FALSE(reader.isConnecting());
}

TEST_F(LogReaderTest, SerialAndLogTagsGoIntoTheRequests) {
    Preferences::setValue(u"adbLogTags"_s, u"*:W Tag:V"_s);
    const QByteArray transport = "0017host:transport:emu-5554";
    const QByteArray stream = "0044shell:export ANDROID_LOG_TAGS=\"*:W Tag:V\"; exec logcat -v threadtime";
    server.addScript(Script().expect(transport.size()).reply("OKAY").expect(stream.size()).reply("OKAY").close());
    start(u"emu-5554"_s);
    finish();
    EXPECT_EQ(server.received(0), transport + stream);
    EXPECT_EQ(recorder.events, strings({"stopped"}));
}

TEST_F(LogReaderTest, ClearsOnItsOwnConnectionThenStreamsOnASecondOne) {
    Preferences::setValue(u"clearLogOnStart"_s, true);
    const QByteArray clear = "0014shell:exec logcat -c";
    server.addScript(Script().expect(kTransportAny.size()).reply("OKAY").expect(clear.size()).reply("OKAY"));
    server.addScript(Script().expect(kTransportAny.size()).reply("OKAY").expect(kStream.size()).reply("OKAYx\n"));
    start();
    ASSERT_TRUE(waitUntil([&] { return recorder.events.size() == 1; }));
    EXPECT_EQ(recorder.events, strings({"line x\n"}));
    EXPECT_EQ(server.connectionCount(), 2);
    EXPECT_EQ(server.received(0), kTransportAny + clear);
    EXPECT_EQ(server.received(1), kTransportAny + kStream);
    EXPECT_FALSE(reader.sentClearDevice());

    reader.stop();
    finish();
    EXPECT_EQ(recorder.events, strings({"line x\n", "stopped"}));
}

TEST_F(LogReaderTest, ServerFailuresAreReportedBeforeTheEnd) {
    struct Case {
        QByteArray transportReply;
        QStringList expected;
    };
    const Case cases[] = {
        {fail("Device Not Found"), strings({"not found Device Not Found", "stopped"})},
        // Only the exact phrase counts as a missing device.
        {fail("device 'x' not found"), strings({"error 2 device 'x' not found", "stopped"})},
        {fail("more than one device and emulator"),
         strings({"error 2 more than one device and emulator", "stopped"})},
        // A lower-case status is not "OKAY"; what follows it is read as the failure.
        {"okay0004oops", strings({"error 2 oops", "stopped"})},
    };
    for (const Case& c : cases) {
        LogRecorder recorder;
        LogReader reader;
        reader.setDelegate(&recorder);
        server.addScript(Script().expect(kTransportAny.size()).reply(c.transportReply).close());
        reader.connect();
        ASSERT_TRUE(waitUntil([&] { return recorder.ended(); })) << c.transportReply.constData();
        test::pumpEvents(30);
        EXPECT_EQ(recorder.events, c.expected) << c.transportReply.constData();
    }
}

TEST_F(LogReaderTest, NoServerMeansNotRunningThenStopped) {
    Preferences::setValue(u"adbPort"_s, QString::number(ScriptedAdbServer::unusedPort()));
    start();
    finish();
    EXPECT_EQ(recorder.events, strings({"not running 111", "stopped"}).replaceInStrings(
                                   u"111"_s, QString::number(kConnectionRefusedCode)));
    EXPECT_FALSE(reader.isConnecting());
}

TEST_F(LogReaderTest, StopDuringTheStreamEndsItOnce) {
    server.addScript(Script().expect(kTransportAny.size()).reply("OKAY").expect(kStream.size()).reply("OKAYa\n"));
    start();
    ASSERT_TRUE(waitUntil([&] { return !recorder.events.isEmpty(); }));
    reader.stop();
    reader.stop();
    finish();
    EXPECT_EQ(recorder.events, strings({"line a\n", "stopped"}));
    EXPECT_TRUE(waitUntil([&] { return server.isClosed(0); }));
}

TEST(LogReaderUtf8, AgreesWithAStrictDecoder) {
    const QByteArray samples[] = {
        "", "plain ascii line\n", "caf\xc3\xa9", "\xe2\x82\xac euro", "\xf0\x9f\x98\x80 smile",
        "\xc0\x80",          // overlong NUL
        "\xe0\x80\xaf",      // overlong
        "\xed\xa0\x80",      // surrogate
        "\xf4\x90\x80\x80",  // above U+10FFFF
        "\xf0\x9f\x98",      // truncated at the end
        "abcdefgh\xc3",      // truncated after the fast path
        "\x80 lone continuation", "\xc3\x28 bad continuation", "12345678abcdefgh\xc3\xa9xyz",
    };
    for (const QByteArray& sample : samples) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString decoded = decoder.decode(sample);
        EXPECT_EQ(LogReader::isValidUtf8(std::string_view(sample.constData(), size_t(sample.size()))),
                  !decoder.hasError())
            << sample.toHex().constData();
    }
}

}  // namespace
}  // namespace vf
