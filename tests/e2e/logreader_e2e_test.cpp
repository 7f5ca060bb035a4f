// The logcat stream reader against the real adb server and a simulated device.
#include <gtest/gtest.h>

#include "core/adb/logreader.h"
#include "e2e.h"
#include "support/fixtures/logrecorder.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

// Refusals and a missing server are told apart in tests/adb/logreader_test.cpp
// (scripted) and the real server's texts in companion_e2e_test.cpp; the
// unplug and replug of a stream in session_e2e_test.cpp.
class E2eLogReader : public E2eTest {};
TEST_F(E2eLogReader, StreamsWhatTheTagsLetThroughAndClearsOnStart) {
    SimulatedDevice* device = startDevice(fastDevice(writeReplayLog(harness)));
    ASSERT_TRUE(device);

    LogRecorder delegate;
    LogReader reader(harness.endpoint(), LogcatOptions{QStringLiteral("*:S MyTag:I"), false});
    reader.setDelegate(&delegate);
    reader.setDeviceId(device->serial());
    reader.start();
    // Line 38 is the last MyTag line at I or above (38 % 6 == 2: I).
    ASSERT_TRUE(waitUntil([&] { return delegate.saw(QStringLiteral("replayed line 38")); }, 15000))
        << delegate.events.join(QString()).toStdString();
    EXPECT_EQ(delegate.events.value(0), QStringLiteral("line --------- beginning of main\n"));
    for (const QString& line : delegate.events.mid(1)) {
        EXPECT_TRUE(line.endsWith(u'\n'));
        EXPECT_TRUE(line.contains(QStringLiteral(" MyTag   : "))) << line.toStdString();
        EXPECT_FALSE(line.contains(QStringLiteral(" V MyTag")) || line.contains(QStringLiteral(" D MyTag")))
            << line.toStdString();
    }
    reader.stop();
    EXPECT_TRUE(waitUntil([&] { return delegate.ended(); }));
    for (const QString& e : delegate.events) EXPECT_TRUE(e.startsWith(u"line ") || e == u"end stopped") << e.toStdString();

    // Clearing on start leaves only new lines: the whole file is in the
    // device's buffer before the second reader starts.
    ASSERT_TRUE(waitUntil([&] { return harness.shell(device->serial(), QStringLiteral("logcat -d"))
                                           .contains("replayed line 39"); }, 10000));
    LogRecorder cleared;
    LogReader clearing(harness.endpoint(), LogcatOptions{{}, true});
    clearing.setDelegate(&cleared);
    clearing.setDeviceId(device->serial());
    clearing.start();
    // Generated lines keep coming after the replay; wait for a few of them.
    ASSERT_TRUE(waitUntil([&] { return cleared.events.size() >= 4; }, 10000));
    EXPECT_FALSE(cleared.saw(QStringLiteral("replayed line")));
    EXPECT_FALSE(cleared.ended()) << "the clearing connection's end must not look like the end of the stream";
    clearing.stop();
    EXPECT_TRUE(waitUntil([&] { return cleared.ended(); }));
}

}  // namespace
}  // namespace vf::test
