// Devices on the network through the companion and Debian's adb server: a
// simulated device dropped and connected again by its address, the server's
// refusals worded for people, and pairing refused with what to install
// (this server predates pairing).
#include <gtest/gtest.h>

#include "e2e.h"
#include "support/fixtures/companionprocess.h"
#include "support/fixtures/scriptedadbserver.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

class E2eWirelessServer : public ::testing::Test {
protected:
    void SetUp() override {
        VF_REQUIRE_ADB(harness);
        ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    }
    // Runs the companion; its exit status, with standard output and error.
    int run(const QStringList& arguments, QString* out = nullptr, QString* err = nullptr) {
        CompanionProcess companion(harness.serverPort(), arguments);
        const int status = companion.waitForExit();
        if (out) *out = QString::fromUtf8(companion.out);
        if (err) *err = QString::fromUtf8(companion.err);
        return status;
    }
    bool listed(const QString& serial) {
        QString out;
        return run({u"devices"_s}, &out) == 0 && out.contains(serial + u'\t');
    }
    AdbHarness harness = makeHarness();
};
class E2eWireless : public E2eWirelessServer, public ::testing::WithParamInterface<bool> {};

TEST_P(E2eWireless, DisconnectsAndConnectsADeviceByAddress) {
    const QString log = writeReplayLog(harness, 5);
    SimulatedDevice* device = harness.startDevice(fastDevice(log, GetParam() ? QStringList{u"--legacy"_s} : QStringList{}));
    ASSERT_NE(device, nullptr) << harness.lastError().toStdString();
    const QString serial = device->serial();
    ASSERT_TRUE(listed(serial));

    QString out, err;
    EXPECT_EQ(run({u"disconnect"_s, serial}, &out, &err), 0) << err.toStdString();
    EXPECT_EQ(out, u"Disconnected %1.\n"_s.arg(serial));
    EXPECT_FALSE(listed(serial));
    EXPECT_EQ(run({u"disconnect"_s, serial}, &out, &err), 1);
    EXPECT_EQ(err, u"vellumfox-cli: %1 is not connected.\n"_s.arg(serial));

    EXPECT_EQ(run({u"connect"_s, serial}, &out, &err), 0) << err.toStdString();
    EXPECT_EQ(out, u"Connected to %1.\n"_s.arg(serial));
    ASSERT_TRUE(harness.waitForDeviceState(serial, u"device"_s));
    EXPECT_TRUE(listed(serial));
    EXPECT_EQ(run({u"connect"_s, serial}, &out, &err), 0);
    EXPECT_EQ(out, u"%1 is already connected.\n"_s.arg(serial));
}

TEST_F(E2eWirelessServer, SaysWhyAConnectionOrAPairingFailed) {
    QString out, err;
    const QString nowhere = u"127.0.0.1:%1"_s.arg(ScriptedAdbServer::unusedPort());
    EXPECT_EQ(run({u"connect"_s, nowhere}, &out, &err), 1);
    EXPECT_TRUE(err.startsWith(u"vellumfox-cli: Could not connect: Connection refused. Is Wireless debugging on"_s))
        << err.toStdString();
    // Refused before anything is sent.
    EXPECT_EQ(run({u"connect"_s, u"127.0.0.1:99999"_s}, &out, &err), 2);
    EXPECT_EQ(run({u"pair"_s, nowhere, u"123456"_s}, &out, &err), 1);
    EXPECT_TRUE(err.contains(u"platform-tools 30 or later"_s)) << err.toStdString();
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eWireless, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Legacy" : "Modern"; });

}  // namespace
}  // namespace vf::test
