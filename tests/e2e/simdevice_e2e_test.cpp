// The simulated device as the real server sees it: screenshots of both
// kinds and apps that restart. Its input recording is checked by
// screen_e2e_test, its refusals by devicestates_e2e_test.
#include <gtest/gtest.h>

#include <QImage>
#include <QRegularExpression>

#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

QMap<QString, QString> pidsByName(const QByteArray& ps) {
    QMap<QString, QString> pids;
    for (const QByteArray& line : ps.split('\n')) {
        const QStringList fields = QString::fromUtf8(line).split(QRegularExpression(QStringLiteral("\\s+")),
                                                                 Qt::SkipEmptyParts);
        if (fields.size() >= 9 && fields.last().contains(u'.')) pids.insert(fields.last(), fields.at(1));
    }
    return pids;
}

TEST(E2eSimulatedDevice, ScreenshotsOfBothKindsAndAppsThatRestart) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    const QString log = writeReplayLog(harness);
    const QStringList small{QStringLiteral("--screen"), QStringLiteral("90x160")};
    SimulatedDevice* modern = harness.startDevice(fastDevice(log, small));
    SimulatedDevice* old = harness.startDevice(fastDevice(log, small + QStringList{QStringLiteral("--legacy")}));
    ASSERT_TRUE(modern && old) << harness.lastError().toStdString();

    const QByteArray png = harness.shell(modern->serial(), QStringLiteral("screencap -p"));
    EXPECT_TRUE(png.startsWith("\x89PNG\r\n\x1a\n"));
    EXPECT_EQ(QImage::fromData(png, "PNG").size(), QSize(90, 160));

    QByteArray mangled = harness.shell(old->serial(), QStringLiteral("screencap -p"));
    EXPECT_TRUE(mangled.startsWith("\x89PNG\r\r\n\x1a\r\n"));
    EXPECT_EQ(QImage::fromData(mangled.replace("\r\n", "\n"), "PNG").size(), QSize(90, 160));

    // Apps restart under new pids.
    SimulatedDevice* device = harness.startDevice({QStringLiteral("--log"), log, QStringLiteral("--churn"), QStringLiteral("1")});
    ASSERT_TRUE(device) << harness.lastError().toStdString();

    const QMap<QString, QString> before = pidsByName(harness.shell(device->serial(), QStringLiteral("ps -A")));
    ASSERT_TRUE(before.contains(QStringLiteral("org.example.fieldnotes")));
    // Toybox: plain "ps" shows only the shell and ps itself.
    EXPECT_TRUE(pidsByName(harness.shell(device->serial(), QStringLiteral("ps"))).isEmpty());
    EXPECT_TRUE(waitUntil([&] {
        return pidsByName(harness.shell(device->serial(), QStringLiteral("ps -A"))) != before;
    }, 10000));
    EXPECT_TRUE(harness.shell(device->serial(), QStringLiteral("logcat -d")).contains(") has died"));
}

// Apps that live 300 ms under a pid "ps" never lists, the next one reusing
// it; uid columns and the package listing where the device has them, and
// logcat's refusal where it has not.
TEST(E2eSimulatedDevice, ShortLivedAppsUidsAndPackages) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    const QString log = writeReplayLog(harness);
    const QStringList flash{QStringLiteral("--flash-app"), QStringLiteral("1"), QStringLiteral("--reuse-pids"),
                            QStringLiteral("--work-profile")};
    SimulatedDevice* modern = harness.startDevice(fastDevice(log, flash));
    SimulatedDevice* old = harness.startDevice(fastDevice(log, {QStringLiteral("--legacy")}));
    ASSERT_TRUE(modern && old) << harness.lastError().toStdString();

    QByteArray dump;
    ASSERT_TRUE(waitUntil([&] {
        dump = harness.shell(modern->serial(), QStringLiteral("logcat -d -v threadtime -v uid"));
        return dump.contains("com.example.flash2 (pid");
    }, 10000));
    const QRegularExpression died(QStringLiteral("Process (com\\.example\\.flash2?) \\(pid (\\d+)\\) has died"));
    QStringList owners, pids;
    for (auto it = died.globalMatch(QString::fromUtf8(dump)); it.hasNext();) {
        const auto match = it.next();
        owners << match.captured(1);
        pids << match.captured(2);
    }
    ASSERT_GE(owners.size(), 2);
    EXPECT_NE(owners.at(0), owners.at(1));
    EXPECT_EQ(pids.at(0), pids.at(1)) << "the second app reuses the first one's pid";
    const QString crashLine = QStringLiteral(" 10190  %1  %1 E AndroidRuntime: Process: com.example.flash, PID: %1").arg(pids.at(0));
    EXPECT_TRUE(dump.contains(crashLine.toUtf8())) << "the uid column of the first app's crash";
    EXPECT_FALSE(harness.shell(modern->serial(), QStringLiteral("ps -A")).contains("com.example.flash"));
    EXPECT_TRUE(harness.shell(modern->serial(), QStringLiteral("cmd package list packages -U --user all"))
                    .contains("package:com.example.work uid:1010150"));

    EXPECT_TRUE(harness.shell(old->serial(), QStringLiteral("logcat -v threadtime -v uid")).startsWith("Invalid parameter uid to -v"));
    EXPECT_TRUE(harness.shell(old->serial(), QStringLiteral("cmd package list packages -U")).contains("cmd: not found"));
}

}  // namespace
}  // namespace vf::test
