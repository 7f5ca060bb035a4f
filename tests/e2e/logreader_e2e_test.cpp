// The logcat stream reader against the real adb server and a simulated device.
#include <gtest/gtest.h>

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
    void adbNotRunningError(const Error& error) override { errors.append(error); }
    void adbDeviceNotFound(const Error& error) override { errors.append(error); }

    bool sawText(const QString& text) const {
        return std::any_of(lines.cbegin(), lines.cend(), [&](const QString& l) { return l.contains(text); });
    }

    QStringList lines;
    int stopped = 0;
    QList<Error> errors;
};

// Refusals and a missing server are told apart in tests/adb/logreader_test.cpp
// (scripted) and the real server's texts in devicestates_e2e_test.cpp; the
// unplug and replug of a stream in session_e2e_test.cpp.
TEST(E2eLogReader, StreamsOnlyTheLinesTheLogTagsLetThrough) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    SimulatedDevice* device = harness.startDevice(fastDevice(writeReplayLog(harness)));
    ASSERT_TRUE(device) << harness.lastError().toStdString();

    RecordingLogDelegate delegate;
    LogReader reader(harness.endpoint(), LogcatOptions{QStringLiteral("*:S MyTag:I"), false});
    reader.setDelegate(&delegate);
    reader.setDeviceId(device->serial());
    reader.connect();
    // Line 38 is the last MyTag line at I or above (38 % 6 == 2: I).
    ASSERT_TRUE(waitUntil([&] { return delegate.sawText(QStringLiteral("replayed line 38")); }, 15000))
        << delegate.lines.join(QString()).toStdString();
    EXPECT_EQ(delegate.lines.value(0), QStringLiteral("--------- beginning of main\n"));
    for (const QString& line : delegate.lines.mid(1)) {
        EXPECT_TRUE(line.endsWith(u'\n'));
        EXPECT_TRUE(line.contains(QStringLiteral(" MyTag   : "))) << line.toStdString();
        EXPECT_FALSE(line.contains(QStringLiteral(" V MyTag")) || line.contains(QStringLiteral(" D MyTag")))
            << line.toStdString();
    }
    reader.stop();
    EXPECT_TRUE(waitUntil([&] { return delegate.stopped == 1; }));
    EXPECT_TRUE(delegate.errors.isEmpty());
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

}  // namespace
}  // namespace vf::test
