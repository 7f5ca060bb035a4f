// The simulated device as the real server sees it. Its input recording is
// checked by screen_e2e_test, its refusals by companion_e2e_test.
#include <gtest/gtest.h>

#include <QImage>
#include <QRegularExpression>

#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

QMap<QString, QString> pidsByName(const QByteArray& ps) {
    QMap<QString, QString> pids;
    for (const QByteArray& line : ps.split('\n')) {
        const QStringList fields = QString::fromUtf8(line).split(QRegularExpression(u"\\s+"_s), Qt::SkipEmptyParts);
        if (fields.size() >= 9 && fields.last().contains(u'.')) pids.insert(fields.last(), fields.at(1));
    }
    return pids;
}

// Screenshots of both kinds; apps that restart under new pids; apps that
// live 300 ms under a pid "ps" never lists, the next one reusing it; uid
// columns and the package listing where the device has them, and logcat's
// refusal where it has not.
class E2eSimulatedDevice : public E2eTest {};
TEST_F(E2eSimulatedDevice, ScreenshotsRestartsShortLivedAppsUidsAndPackages) {
    const QString log = writeReplayLog(harness);
    const QStringList small{u"--screen"_s, u"90x160"_s};
    const QStringList flash{u"--flash-app"_s, u"1"_s, u"--reuse-pids"_s, u"--work-profile"_s};
    SimulatedDevice* modern = startDevice(fastDevice(log, small + flash));
    SimulatedDevice* old = startDevice(fastDevice(log, small + QStringList{u"--legacy"_s}));
    SimulatedDevice* churning = startDevice({u"--log"_s, log, u"--churn"_s, u"1"_s});
    ASSERT_TRUE(modern && old && churning);

    const QByteArray png = harness.shell(modern->serial(), u"screencap -p"_s);
    EXPECT_TRUE(png.startsWith("\x89PNG\r\n\x1a\n"));
    EXPECT_EQ(QImage::fromData(png, "PNG").size(), QSize(90, 160));
    QByteArray mangled = harness.shell(old->serial(), u"screencap -p"_s);
    EXPECT_TRUE(mangled.startsWith("\x89PNG\r\r\n\x1a\r\n"));
    EXPECT_EQ(QImage::fromData(mangled.replace("\r\n", "\n"), "PNG").size(), QSize(90, 160));

    const QMap<QString, QString> before = pidsByName(harness.shell(churning->serial(), u"ps -A"_s));
    ASSERT_TRUE(before.contains(u"org.example.fieldnotes"_s));
    // Toybox: plain "ps" shows only the shell and ps itself.
    EXPECT_TRUE(pidsByName(harness.shell(churning->serial(), u"ps"_s)).isEmpty());
    EXPECT_TRUE(waitUntil([&] { return pidsByName(harness.shell(churning->serial(), u"ps -A"_s)) != before; }, 10000));
    EXPECT_TRUE(harness.shell(churning->serial(), u"logcat -d"_s).contains(") has died"));

    QByteArray dump;
    ASSERT_TRUE(waitUntil([&] {
        dump = harness.shell(modern->serial(), u"logcat -d -v threadtime -v uid"_s);
        return dump.contains("com.example.flash2 (pid");
    }, 10000));
    const QRegularExpression died(u"Process (com\\.example\\.flash2?) \\(pid (\\d+)\\) has died"_s);
    QStringList owners, pids;
    for (auto it = died.globalMatch(QString::fromUtf8(dump)); it.hasNext();) {
        const auto match = it.next();
        owners << match.captured(1);
        pids << match.captured(2);
    }
    ASSERT_GE(owners.size(), 2);
    EXPECT_NE(owners.at(0), owners.at(1));
    EXPECT_EQ(pids.at(0), pids.at(1)) << "the second app reuses the first one's pid";
    const QString crashLine = u" 10190  %1  %1 E AndroidRuntime: Process: com.example.flash, PID: %1"_s.arg(pids.at(0));
    EXPECT_TRUE(dump.contains(crashLine.toUtf8())) << "the uid column of the first app's crash";
    EXPECT_FALSE(harness.shell(modern->serial(), u"ps -A"_s).contains("com.example.flash"));
    EXPECT_TRUE(harness.shell(modern->serial(), u"cmd package list packages -U --user all"_s)
                    .contains("package:com.example.work uid:1010150"));

    EXPECT_TRUE(
        harness.shell(old->serial(), u"logcat -v threadtime -v uid"_s).startsWith("Invalid parameter uid to -v"));
    EXPECT_TRUE(harness.shell(old->serial(), u"cmd package list packages -U"_s).contains("cmd: not found"));
}

}  // namespace
}  // namespace vf::test
