// The real adb server's refusals for states other than "device" and for a
// serial that is not attached. The companion's own view of such devices,
// and app names from both kinds of process table, are tested in
// companion_e2e_test.cpp and session_e2e_test.cpp.
#include <gtest/gtest.h>

#include "core/adb/devicestate.h"
#include "e2e.h"

namespace vf::test {
namespace {

TEST(E2eDeviceStates, FailTextsOfTheServerAreKnown) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    SimulatedDevice* locked = harness.startDevice({QStringLiteral("--unauthorized")}, QStringLiteral("unauthorized"));
    SimulatedDevice* offline =
        harness.startDevice({QStringLiteral("--state"), QStringLiteral("offline")}, QStringLiteral("offline"));
    ASSERT_TRUE(locked && offline) << harness.lastError().toStdString();

    const auto kindOf = [&](const QByteArray& request) {
        const HostReply reply = hostRequest(harness.serverPort(), request);
        EXPECT_FALSE(reply.ok) << request.constData();
        return adbFailureKind(reply.failure);
    };
    EXPECT_EQ(kindOf("host:transport:" + locked->serial().toUtf8()), AdbFailureKind::Unauthorized);
    EXPECT_EQ(kindOf("host:transport:" + offline->serial().toUtf8()), AdbFailureKind::Offline);
    EXPECT_EQ(kindOf("host:transport:nosuch-serial"), AdbFailureKind::DeviceNotFound);
    EXPECT_EQ(kindOf("host:transport-any"), AdbFailureKind::MoreThanOneDevice);
}

}  // namespace
}  // namespace vf::test
