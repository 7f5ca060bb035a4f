// Devices on the network through the companion and Debian's adb server: a
// simulated device dropped and connected again by its address, the server's
// refusals worded for people, and pairing refused with what to install
// (this server predates pairing).
#include <gtest/gtest.h>

#include "e2e.h"
#include "support/fixtures/scriptedadbserver.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

class E2eWireless : public E2eKindTest {
protected:
    bool listed(const QString& serial) {
        const CompanionRun devices = runCompanion({u"devices"_s});
        return devices.status == 0 && devices.out.contains(serial + u'\t');
    }
};

TEST_P(E2eWireless, DisconnectsAndConnectsByAddressAndSaysWhyOneFailed) {
    SimulatedDevice* device = startDevice(fastDevice(writeReplayLog(harness, 5), kind()));
    ASSERT_NE(device, nullptr);
    const QString serial = device->serial();
    ASSERT_TRUE(listed(serial));

    CompanionRun run = runCompanion({u"disconnect"_s, serial});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, u"Disconnected %1.\n"_s.arg(serial));
    EXPECT_FALSE(listed(serial));
    run = runCompanion({u"disconnect"_s, serial});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, u"vellumfox-cli: %1 is not connected.\n"_s.arg(serial));

    run = runCompanion({u"connect"_s, serial});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, u"Connected to %1.\n"_s.arg(serial));
    ASSERT_TRUE(harness.waitForDeviceState(serial, u"device"_s));
    EXPECT_TRUE(listed(serial));
    run = runCompanion({u"connect"_s, serial});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, u"%1 is already connected.\n"_s.arg(serial));

    const QString nowhere = u"127.0.0.1:%1"_s.arg(ScriptedAdbServer::unusedPort());
    run = runCompanion({u"connect"_s, nowhere});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.startsWith(u"vellumfox-cli: Could not connect: Connection refused. Is Wireless debugging on"_s))
        << run.err.toStdString();
    EXPECT_EQ(runCompanion({u"connect"_s, u"127.0.0.1:99999"_s}).status, 2);  // refused before anything is sent
    run = runCompanion({u"pair"_s, nowhere, u"123456"_s});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.contains(u"platform-tools 30 or later"_s)) << run.err.toStdString();
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eWireless, ::testing::Values(false, true), kindName);

}  // namespace
}  // namespace vf::test
