// Devices as people have them today and as they had them before Android 8,
// through the real adb server: the server's refusals for states other than
// "device" and for a serial that is not attached, and the process-table
// request that lists every process on both kinds. The companion's own view
// of these devices is tested in companion_e2e_test.cpp.
#include <gtest/gtest.h>

#include "core/adb/devicestate.h"
#include "core/adb/processtable.h"
#include "e2e.h"

namespace vf::test {
namespace {

struct Kind {
    const char* name;
    QStringList arguments;
};
const Kind kKinds[] = {{"modern", {}}, {"legacy", {QStringLiteral("--legacy")}}};

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

// What the logging session will do, step by step: the first request, and
// the second when the first listed nothing or only the shell.
TEST(E2eDeviceStates, ProcessTableRequestListsEveryProcessOnBothKinds) {
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        AdbHarness harness = makeHarness();
        VF_REQUIRE_ADB(harness);
        ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
        SimulatedDevice* device = harness.startDevice(fastDevice(writeReplayLog(harness), kind.arguments));
        ASSERT_TRUE(device) << harness.lastError().toStdString();

        const auto run = [&](PsFlavor flavor) {
            const QString command = processTableRequest(flavor).mid(6);  // without "shell:"
            return QString::fromUtf8(harness.shell(device->serial(), command));
        };
        PsFlavor flavor = psFlavorFromSdk(QString::fromUtf8(harness.shell(device->serial(), QStringLiteral("getprop ro.build.version.sdk"))));
        EXPECT_EQ(flavor, kind.arguments.isEmpty() ? PsFlavor::Toybox : PsFlavor::Toolbox);
        // Without the sdk level: by the reply's shape.
        QString reply = run(PsFlavor::Unknown);
        PsNextStep step = psNextStep(PsFlavor::Unknown, reply);
        if (step.askAgain) {
            reply = run(step.flavor);
            step = psNextStep(step.flavor, reply);
        }
        EXPECT_FALSE(step.askAgain);
        EXPECT_EQ(step.flavor, flavor);
        EXPECT_TRUE(reply.contains(QStringLiteral("org.example.fieldnotes"))) << reply.toStdString();
        EXPECT_GT(psReplyShape(reply).processes, 10);
    }
}

}  // namespace
}  // namespace vf::test
