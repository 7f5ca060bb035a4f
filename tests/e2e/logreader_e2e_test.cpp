// The logcat stream reader against the real adb server and a simulated device.
#include <gtest/gtest.h>

#include <QMutex>

#include "core/adb/logreader.h"
#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

// Records what the reader reports. The reader lives on the main thread here,
// so every call arrives there.
class RecordingLogDelegate final : public LogReaderDelegate {
public:
    void logLineReceived(std::optional<std::string_view> line) override {
        lines.append(line ? QString::fromUtf8(line->data(), qsizetype(line->size())) : QStringLiteral("<invalid>"));
    }
    void logReaderStopped() override { ++stopped; }
    void logReaderStoppedWithError(const Error& error) override { errors.append(error); }
    void adbNotRunningError(const Error& error) override { notRunning.append(error); }
    void adbDeviceNotFound(const Error& error) override { notFound.append(error); }

    bool sawText(const QString& text) const {
        return std::any_of(lines.cbegin(), lines.cend(), [&](const QString& l) { return l.contains(text); });
    }

    QStringList lines;
    int stopped = 0;
    QList<Error> errors, notRunning, notFound;
};

TEST(E2eLogReader, StreamsWithLogTagsThenStopsOnUnplugAndStreamsAgainAfterReplug) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    SimulatedDevice* device = harness.startDevice(fastDevice(writeReplayLog(harness)));
    ASSERT_TRUE(device) << harness.lastError().toStdString();
    const LogcatOptions options{QStringLiteral("*:S MyTag:I"), false};

    RecordingLogDelegate first;
    {
        LogReader reader(harness.endpoint(), options);
        reader.setDelegate(&first);
        reader.setDeviceId(device->serial());
        reader.connect();
        // Line 38 is the last MyTag line at I or above (38 % 6 == 2: I).
        ASSERT_TRUE(waitUntil([&] { return first.sawText(QStringLiteral("replayed line 38")); }, 15000))
            << first.lines.join(QString()).toStdString();
        EXPECT_EQ(first.lines.value(0), QStringLiteral("--------- beginning of main\n"));
        for (const QString& line : first.lines.mid(1)) {
            EXPECT_TRUE(line.endsWith(u'\n'));
            EXPECT_TRUE(line.contains(QStringLiteral(" MyTag   : "))) << line.toStdString();
            EXPECT_FALSE(line.contains(QStringLiteral(" V MyTag")) || line.contains(QStringLiteral(" D MyTag")))
                << line.toStdString();
        }
        EXPECT_EQ(first.stopped, 0);

        device->unplug();
        ASSERT_TRUE(waitUntil([&] { return first.stopped == 1; }, 10000));
        EXPECT_TRUE(first.errors.isEmpty());
        EXPECT_TRUE(harness.waitForDeviceState(device->serial(), QStringLiteral("offline")));
    }

    device->replug();
    // The server keeps the offline device and retries it about every 10 s
    // (a new "host:connect" only answers "already connected").
    ASSERT_TRUE(harness.waitForDeviceState(device->serial(), QStringLiteral("device"), 30000));
    RecordingLogDelegate second;
    LogReader reader(harness.endpoint(), options);
    reader.setDelegate(&second);
    reader.setDeviceId(device->serial());
    reader.connect();
    EXPECT_TRUE(waitUntil([&] { return second.sawText(QStringLiteral("replayed line 38")); }, 15000));
    reader.stop();
    EXPECT_TRUE(waitUntil([&] { return second.stopped == 1; }));
}

TEST(E2eLogReader, ClearOnStartLeavesOnlyNewLines) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    SimulatedDevice* device = harness.startDevice(fastDevice(writeReplayLog(harness)));
    ASSERT_TRUE(device) << harness.lastError().toStdString();
    // The whole file is in the device's buffer before the reader starts.
    ASSERT_TRUE(waitUntil([&] { return harness.shell(device->serial(), QStringLiteral("logcat -d"))
                                           .contains("replayed line 39"); }, 10000));
    RecordingLogDelegate delegate;
    LogReader reader(harness.endpoint(), LogcatOptions{{}, true});
    reader.setDelegate(&delegate);
    reader.setDeviceId(device->serial());
    reader.connect();
    // Generated lines keep coming after the replay; wait for a few of them.
    ASSERT_TRUE(waitUntil([&] { return delegate.lines.size() >= 4; }, 10000));
    EXPECT_FALSE(delegate.sawText(QStringLiteral("replayed line")));
    EXPECT_EQ(delegate.stopped, 0) << "the clearing connection's end must not look like the end of the stream";
    reader.stop();
    EXPECT_TRUE(waitUntil([&] { return delegate.stopped == 1; }));
}

TEST(E2eLogReader, ServerRefusalsReachTheDelegate) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();

    {  // A serial the server does not know.
        RecordingLogDelegate delegate;
        LogReader reader(harness.endpoint(), {});
        reader.setDelegate(&delegate);
        reader.setDeviceId(QStringLiteral("127.0.0.1:1"));
        reader.connect();
        ASSERT_TRUE(waitUntil([&] { return delegate.stopped == 1; }));
        // adb 29 names the serial ("device '...' not found"): still the
        // missing-device path, so the user gets guidance, not a retry loop.
        EXPECT_TRUE(delegate.errors.isEmpty());
        ASSERT_EQ(delegate.notFound.size(), 1);
        EXPECT_EQ(delegate.notFound.first().failureReason, QStringLiteral("device '127.0.0.1:1' not found"));
        EXPECT_EQ(delegate.notFound.first().code, 2);
    }
    {  // Any device, with two attached.
        const QString log = writeReplayLog(harness);
        ASSERT_TRUE(harness.startDevice(fastDevice(log))) << harness.lastError().toStdString();
        ASSERT_TRUE(harness.startDevice(fastDevice(log))) << harness.lastError().toStdString();
        RecordingLogDelegate delegate;
        LogReader reader(harness.endpoint(), {});
        reader.setDelegate(&delegate);
        reader.connect();
        ASSERT_TRUE(waitUntil([&] { return delegate.stopped == 1; }));
        ASSERT_EQ(delegate.errors.size(), 1);
        EXPECT_TRUE(delegate.errors.first().failureReason.contains(QStringLiteral("more than one device")));
    }
}

TEST(E2eLogReader, NoServerIsARefusedConnection) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    RecordingLogDelegate delegate;
    LogReader reader(harness.endpoint(), {});  // nothing listens there yet
    reader.setDelegate(&delegate);
    reader.connect();
    ASSERT_TRUE(waitUntil([&] { return delegate.stopped == 1; }));
    ASSERT_EQ(delegate.notRunning.size(), 1);
    EXPECT_EQ(delegate.notRunning.first().code, kConnectionRefusedCode);
}

}  // namespace
}  // namespace vf::test
