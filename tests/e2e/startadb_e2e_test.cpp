// Starting the ADB server when the viewer finds none running.
#include <gtest/gtest.h>

#include "core/adb/logreader.h"
#include "core/support/utils.h"
#include "e2e.h"
#include "support/fixtures/scopedenv.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

TEST(E2eStartAdb, StartsTheServerThatWasNotRunning) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    const quint16 port = harness.serverPort();
    ASSERT_FALSE(hostRequest(port, "host:version").reached);

    // "adb start-server" reads the port from the environment and keeps its
    // keys under HOME: both private to this test.
    ScopedEnv env;
    env.set("ANDROID_ADB_SERVER_PORT", QByteArray::number(port));
    env.set("HOME", harness.home().toUtf8());
    env.set("ADB_EMU", QByteArray("0"));
    env.set("ADB_MDNS", QByteArray("0"));
    struct DaemonCleanup {
        quint16 port;
        ~DaemonCleanup() { AdbHarness::stopDaemonServer(port); }
    } cleanup{port};

    std::optional<bool> started;
    Utils::startAdb(QString(), std::nullopt, [&](bool ok) { started = ok; });
    ASSERT_TRUE(waitUntil([&] { return started.has_value(); }, 20000));
    EXPECT_TRUE(*started);
    EXPECT_TRUE(hostRequest(port, "host:version").ok);

    // A second start finds it running: no success text, so false.
    started.reset();
    Utils::startAdb(QString(), std::nullopt, [&](bool ok) { started = ok; });
    ASSERT_TRUE(waitUntil([&] { return started.has_value(); }, 20000));
    EXPECT_FALSE(*started);

    EXPECT_EQ(AdbHarness::stopDaemonServer(port), 1);
    EXPECT_TRUE(waitUntil([&] { return !hostRequest(port, "host:version", true, 200).reached; }));
}

}  // namespace
}  // namespace vf::test
