#include <gtest/gtest.h>

#include "core/adb/replyframing.h"
#include "core/screen/devicescreendatasource.h"
#include "core/screen/screencapreader.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

// A PNG as stored on the device, cut where the reads stop (after "IEND"):
// LF, CR LF, LF CR and a lone CR inside the data, as compressed data has
// them; translated, these are every case of undoing CR LF.
const QByteArray kStored = QByteArray("\x89PNG\r\n\x1a\n", 8) + QByteArray("\0\0\0\rIHDR\n\r\n\r", 13) +
                           "IDAT x\r\ny\r" + QByteArray("\0\0\0\0", 4) + "IEND";
const QByteArray kComplete = kStored + "\xAE\x42\x60\x82";

QByteArray terminalTranslated(QByteArray bytes) { return bytes.replace("\n", "\r\n"); }

TEST(ScreencapBytes, RawAndTerminalTranslatedCapturesGiveTheStoredPng) {
    const struct {
        const char* name;
        QByteArray received;
        QByteArray png;
    } cases[] = {
        {"untouched (modern devices)", kStored, kComplete},
        {"CR LF translated", terminalTranslated(kStored), kComplete},
        {"complete file stays as it is", kComplete, kComplete},
        {"no PNG signature: passed on", "not a png\r\n", "not a png\r\n"},
        {"translated, ending in a lone CR", terminalTranslated(kStored.left(25)) + "\r",
         kStored.left(25) + "\r"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(ScreencapReader::createImageFromData(c.received), c.png);
    }
}

class CaptureRecorder final : public ScreencapReaderDelegate, public DeviceScreenDatasourceDelegate {
public:
    void screencapFinished(const QByteArray& data, const AdbResult& result) override {
        if (!data.isEmpty()) captures.append(data);
        else failures.append(result.error);
    }
    void onScreenUpdate(const QString& deviceId, const QVariant& screen) override {
        deviceIds.append(deviceId);
        captures.append(screen.toByteArray());
    }
    void onScreenUpdateFailedWithError(const OptionalError& error, const QString& deviceId) override {
        deviceIds.append(deviceId);
        failures.append(error);
    }
    QList<QByteArray> captures;
    QList<OptionalError> failures;
    QStringList deviceIds;
};

Script captureScript(const QByteArray& transport, const QByteArray& png) {
    // "IEND" inside the data ends a read early; the reader keeps reading.
    return Script().expectRequest(transport).reply("OKAY").expectRequest("shell:screencap -p").reply("OKAY")
        .replyBytewise(png.left(12)).reply(png.mid(12)).close();
}

TEST(ScreencapReader, SendsTheExactRequestsAndReportsOnceWhenTheDeviceCloses) {
    ScriptedAdbServer server;
    const QByteArray png = "\x89PNG\r\n\x1a\nIENDmore" + kStored;
    server.addScript(captureScript("host:transport:emu-1", png));
    CaptureRecorder recorder;
    ScreencapReader reader(server.endpoint());
    reader.setDelegate(&recorder);
    reader.setDeviceId(QStringLiteral("emu-1"));
    reader.start();
    ASSERT_TRUE(test::waitThenDrain([&] { return recorder.captures.size() == 1; }));
    EXPECT_EQ(server.received(0), "0014host:transport:emu-1" "0012shell:screencap -p");
    EXPECT_EQ(recorder.captures, QList<QByteArray>{png});
}

// 64 MiB without "IEND" is no screenshot: a failure, reported once.
TEST(ScreencapReader, ACaptureWithoutAnEndAtTheSizeLimitFails) {
    ScriptedAdbServer server;
    server.addScript(Script().expectRequest("host:transport-any").reply("OKAY").expectRequest("shell:screencap -p")
                         .reply("OKAY").reply("\x89PNG\r\n\x1a\n" + QByteArray(kMaxImageBytes, 'x')).close());
    CaptureRecorder recorder;
    ScreencapReader reader(server.endpoint());
    reader.setDelegate(&recorder);
    reader.start();
    ASSERT_TRUE(test::waitThenSettle([&] { return !recorder.failures.isEmpty(); }, 100));
    EXPECT_TRUE(recorder.captures.isEmpty());
    ASSERT_EQ(recorder.failures.size(), 1);
    ASSERT_TRUE(recorder.failures.first());
    EXPECT_EQ(recorder.failures.first()->description, QString::fromLatin1(ScreencapReader::kTooLargeText));
}

TEST(DeviceScreenDatasource, EachImageStartsTheNextCaptureUntilStopped) {
    ScriptedAdbServer server;
    for (int i = 0; i < 2; ++i) server.addScript(captureScript("host:transport:emu-1", kStored));
    // The third capture's image is still on its way when monitoring stops.
    server.addScript(Script().expectRequest("host:transport:emu-1").reply("OKAY").expect(22).reply("OKAY"));
    CaptureRecorder recorder;
    {
        DeviceScreenDatasource source(server.endpoint());
        source.setDelegate(&recorder);
        source.setDeviceId(QStringLiteral("emu-1"));
        source.startMonitoring(true);
        source.startMonitoring(true);  // "already running": no second capture chain
        ASSERT_TRUE(waitUntil([&] { return recorder.captures.size() == 2 && server.scriptDone(2); }));
        source.stopMonitoring();
        EXPECT_FALSE(source.isRunning());
        EXPECT_EQ(source.stats().frames, 2);
    }
    // Its thread has ended with it: the capture in flight was closed, and
    // nothing started another.
    ASSERT_TRUE(waitUntil([&] { return server.isClosed(2); }));
    EXPECT_EQ(server.connectionCount(), 3);
    EXPECT_EQ(recorder.captures, (QList<QByteArray>{kComplete, kComplete}));
    EXPECT_EQ(recorder.deviceIds, (QStringList{QStringLiteral("emu-1"), QStringLiteral("emu-1")}));
}

TEST(DeviceScreenDatasource, SingleCaptureStaysRunningAndAFailureStops) {
    ScriptedAdbServer server;
    server.addScript(captureScript("host:transport-any", kStored));
    server.addScript(Script().expectRequest("host:transport-any").reply(test::failReply("no devices")));
    CaptureRecorder recorder;
    DeviceScreenDatasource source(server.endpoint());
    source.setDelegate(&recorder);
    source.startMonitoring(false);
    ASSERT_TRUE(test::waitThenDrain([&] { return recorder.captures.size() == 1; }));
    EXPECT_EQ(server.connectionCount(), 1);
    EXPECT_TRUE(source.isRunning());  // until stopped, as the window expects
    source.startMonitoring(true);     // ignored: already running

    source.stopMonitoring();
    source.startMonitoring(true);
    ASSERT_TRUE(waitUntil([&] { return recorder.failures.size() == 1 && server.isClosed(1); }));
    EXPECT_FALSE(source.isRunning());
    // The ignored start made no connection, and the failure no retry.
    EXPECT_EQ(server.connectionCount(), 2);
}

}  // namespace
}  // namespace vf
