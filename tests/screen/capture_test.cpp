#include <gtest/gtest.h>

#include "core/adb/replyframing.h"
#include "core/screen/devicescreendatasource.h"
#include "core/screen/screencapreader.h"
#include "core/screen/screenfacts.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
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

const QByteArray kWarning =
    "[Warning] Multiple displays were found, but no display id was specified! Defaulting to the first display found, "
    "however this default is not guaranteed to be consistent across captures. A display id should be specified.\n"
    "A display ID can be specified with the [-d display-id] option.\n"
    "See \"dumpsys SurfaceFlinger --display-id\" for valid display IDs.\n";

// Display listings as devices print them: an emulated foldable, a newer
// build with more fields, a name with spaces, no name, an empty name, CR
// LF, and what devices that do not know the option print.
TEST(ScreenFacts, DisplayListingsGiveIdsAndNames) {
    const struct {
        const char* name;
        QByteArray text;
        QList<DisplayInfo> displays;
    } cases[] = {
        {"emulated foldable",
         "Display 4619827259835644672 (HWC display 0): port=0 pnpId=GGL displayName=\"EMU_display_0\"\n"
         "Display 4619827551948147201 (HWC display 1): port=1 pnpId=GGL displayName=\"EMU_display_1\"\n",
         {{u"4619827259835644672"_s, 0, u"EMU_display_0"_s}, {u"4619827551948147201"_s, 1, u"EMU_display_1"_s}}},
        {"more fields, name with spaces, CR LF, no final newline",
         "Display 4630946904417961859 (HWC display 0): port=131 pnpId=QCM screenPartStatus=UNSUPPORTED displayName=\"\"\r\n"
         "Display 4620873314284888069 (HWC display 1): port=5 pnpId=HEC displayName=\"DELL P2314T\"",
         {{u"4630946904417961859"_s, 0, {}}, {u"4620873314284888069"_s, 1, u"DELL P2314T"_s}}},
        {"no name at all", "Display 0 (HWC display 0): port=0\n", {{u"0"_s, 0, {}}}},
        {"unknown option", "Unknown argument: --display-id\n", {}},
        {"service missing", "Can't find service: SurfaceFlinger\n", {}},
        {"empty", "", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(parseDisplayListing(c.text), c.displays);
    }
    EXPECT_EQ(displayLabel({u"1"_s, 2, {}}), u"Display 2"_s);
    EXPECT_EQ(displayLabel({u"1"_s, 2, u"Cover"_s}), u"Cover"_s);
    EXPECT_EQ(ScreencapReader::captureRequest(u"4619827551948147201"_s), u"shell:screencap -d 4619827551948147201 -p"_s);
    EXPECT_EQ(ScreencapReader::captureRequest({}), u"shell:screencap -p"_s);
}

TEST(ScreenFacts, WakefulnessFromThePowerDump) {
    const struct {
        QByteArray dump;
        std::optional<bool> awake;
    } cases[] = {
        {"Power Manager State:\n  mDirty=0x0\n  mWakefulness=Awake\n  mWakefulnessChanging=false\n", true},
        {"  mWakefulness=Asleep\r\n", false},
        {"  mWakefulness=Dozing\n", false},
        {"  mWakefulness=Dreaming\n", false},
        {"  mScreenOn=true\n", true},  // before Android 4.2
        {"  mScreenOn=false\n", false},
        {"Can't find service: power\n", std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(parseWakefulness(c.dump), c.awake) << c.dump.constData();
}

// Only a PNG far smaller than its pixels may be one colour.
TEST(ScreenFacts, OnlyTinyPngsMayBeUniform) {
    const auto png = [](quint32 width, quint32 height, qsizetype size) {
        QByteArray bytes = QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
        for (quint32 v : {width, height})
            for (int shift = 24; shift >= 0; shift -= 8) bytes.append(char(v >> shift & 0xFF));
        return bytes.leftJustified(size, '\0');
    };
    EXPECT_TRUE(ScreencapReader::mayBeUniform(png(1080, 2400, 9000)));   // a black phone screen
    EXPECT_TRUE(ScreencapReader::mayBeUniform(png(1080, 2400, 34000)));  // the same, deflated fast
    EXPECT_FALSE(ScreencapReader::mayBeUniform(png(1080, 2400, 210000)));  // sparse text on black
    EXPECT_FALSE(ScreencapReader::mayBeUniform(png(0, 2400, 100)));
    EXPECT_FALSE(ScreencapReader::mayBeUniform(png(1080, 2400, 20).left(20)));  // header cut short
    EXPECT_FALSE(ScreencapReader::mayBeUniform(QByteArray(kWarning + png(1080, 2400, 9000))));
}

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
        // A device with several displays warns first when no display is named.
        {"warning before the PNG", kWarning + kStored, kComplete},
        {"warning before a translated PNG", terminalTranslated(kWarning + kStored), kComplete},
        {"\\x89PNG in the text is no signature", "\x89PNG?\n" + kStored, kComplete},
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
