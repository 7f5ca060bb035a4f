// Devices as people have them today and as they had them before Android 8,
// through the real adb server: model names (also when build.prop has none),
// states other than "device", a serial that is not attached, and the
// process-table request that lists every process on both kinds.
#include <gtest/gtest.h>

#include "cli/clirun.h"
#include "core/adb/devicestate.h"
#include "core/adb/processtable.h"
#include "e2e.h"

namespace vf::test {
namespace {

using cli::test::outputLines;
using cli::test::runCli;

struct Kind {
    const char* name;
    QStringList arguments;
};
const Kind kKinds[] = {{"modern", {}}, {"legacy", {QStringLiteral("--legacy")}}};

QStringList cliArgs(AdbHarness& harness, const QStringList& command) {
    return QStringList{QStringLiteral("-P"), QString::number(harness.serverPort())} + command;
}

TEST(E2eDeviceStates, DevicesShowModelAndStateAlsoWithoutBuildPropModel) {
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        AdbHarness harness = makeHarness();
        VF_REQUIRE_ADB(harness);
        ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
        const QString log = writeReplayLog(harness);
        SimulatedDevice* plain =
            harness.startDevice(fastDevice(log, kind.arguments + QStringList{QStringLiteral("--model"), QStringLiteral("Plain")}));
        SimulatedDevice* bare = harness.startDevice(fastDevice(
            log, kind.arguments + QStringList{QStringLiteral("--model"), QStringLiteral("Bare Ten"),
                                              QStringLiteral("--no-build-prop-model")}));
        SimulatedDevice* locked = harness.startDevice(
            fastDevice(log, kind.arguments + QStringList{QStringLiteral("--unauthorized")}), QStringLiteral("unauthorized"));
        SimulatedDevice* recovery = harness.startDevice(
            fastDevice(log, kind.arguments + QStringList{QStringLiteral("--state"), QStringLiteral("recovery")}),
            QStringLiteral("recovery"));
        ASSERT_TRUE(plain && bare && locked && recovery) << harness.lastError().toStdString();

        const auto result = runCli(cliArgs(harness, {QStringLiteral("devices")}));
        EXPECT_EQ(result.status, 0) << result.err;
        QStringList lines = outputLines(result.out);
        lines.sort();
        QStringList expected{plain->serial() + u"\tdevice\tPlain", bare->serial() + u"\tdevice\tBare Ten",
                             locked->serial() + u"\tunauthorized\t-",
                             // adbd in recovery answers shell commands: its name is found too.
                             recovery->serial() + u"\trecovery\tVellum Phone 5"};
        expected.sort();
        EXPECT_EQ(lines.join(u'|').toStdString(), expected.join(u'|').toStdString());
    }
}

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
    const QStringList lines = outputLines(runCli(cliArgs(harness, {QStringLiteral("devices")})).out);
    EXPECT_TRUE(lines.contains(offline->serial() + u"\toffline\t-")) << lines.join(u'|').toStdString();
}

TEST(E2eDeviceStates, StreamForAMissingSerialSaysSoAndFails) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    SimulatedDevice* device = harness.startDevice(fastDevice(writeReplayLog(harness)));
    ASSERT_TRUE(device) << harness.lastError().toStdString();
    const auto result = runCli(cliArgs(harness, {QStringLiteral("stream"), QStringLiteral("-s"), QStringLiteral("nosuch")}));
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("device 'nosuch' not found"), std::string::npos) << result.err;
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
