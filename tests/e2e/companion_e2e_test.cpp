// The companion as people run it: the built vellumfox-cli as a child
// process, through the real adb server, against a device of today and one
// from before Android 8.
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRegularExpression>
#include <QtEndian>

#include "e2e.h"
#include "support/fixtures/companionprocess.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

struct Kind {
    const char* name;
    QStringList arguments;
    int clockOffset;  // seconds the device's clock is ahead of the host's
};
// The device of today runs an hour ahead of the host, the old one an hour
// behind: what is a replay is decided on the device's clock either way.
const Kind kKinds[] = {{"modern", {}, 3600}, {"legacy", {QStringLiteral("--legacy")}, -3600}};
void PrintTo(const Kind& kind, std::ostream* os) { *os << kind.name; }

// A device row as time|pid|tid|text: the same line streamed twice has one
// key. The store writes the tid of a process's main thread as "-".
QString rowKey(const QString& time, const QString& pid, const QString& tid, const QString& text) {
    return time + u'|' + pid + u'|' + (tid == pid ? QStringLiteral("-") : tid) + u'|' + text.trimmed();
}

// The device's own buffer ("logcat -d"), as keys.
QStringList deviceBuffer(const AdbHarness& harness, const QString& serial) {
    static const QRegularExpression line(QStringLiteral(R"(^(\d\d-\d\d [\d:.]+)\s+(\d+)\s+(\d+) \w \S.*?: (.*)$)"));
    QStringList keys;
    for (const QByteArray& raw : harness.shell(serial, QStringLiteral("logcat -d")).split('\n')) {
        const auto m = line.match(QString::fromUtf8(raw).remove(u'\r'));
        if (m.hasMatch()) keys.append(rowKey(m.captured(1), m.captured(2), m.captured(3), m.captured(4)));
    }
    return keys;
}

// pid -> name of every process in the device's table.
QMap<QString, QString> processNames(const AdbHarness& harness, const QString& serial, bool legacy) {
    QMap<QString, QString> names;
    const QByteArray ps = harness.shell(serial, legacy ? QStringLiteral("ps") : QStringLiteral("ps -A"));
    for (const QByteArray& raw : ps.split('\n').mid(1)) {
        const QStringList f = QString::fromUtf8(raw).simplified().split(u' ', Qt::SkipEmptyParts);
        if (f.size() >= 4) names.insert(f.at(1), f.last());
    }
    return names;
}

// The printed device rows (not the store's status rows nor logcat's
// "beginning of" lines), in order.
QList<QJsonObject> deviceRows(const QByteArray& out) {
    QList<QJsonObject> rows;
    for (const QByteArray& line : out.split('\n')) {
        const QJsonObject row = QJsonDocument::fromJson(line).object();
        if (!row.value(u"time").toString().isEmpty() && row.value(u"pid").toString() != u"---") rows.append(row);
    }
    return rows;
}

class CompanionE2e : public ::testing::TestWithParam<Kind> {
protected:
    void SetUp() override {
        VF_REQUIRE_ADB(harness);
        ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
        log = writeReplayLog(harness);
    }
    SimulatedDevice* startDevice(const QStringList& more, const QString& state = QStringLiteral("device")) {
        return harness.startDevice(fastDevice(log, GetParam().arguments + more), state);
    }
    bool legacy() const { return !GetParam().arguments.isEmpty(); }

    AdbHarness harness = makeHarness();
    QString log;
};

TEST_P(CompanionE2e, DevicesShowModelAndStateAlsoWithoutBuildPropModel) {
    SimulatedDevice* plain = startDevice({QStringLiteral("--model"), QStringLiteral("Plain")});
    SimulatedDevice* bare = startDevice({QStringLiteral("--model"), QStringLiteral("Bare Ten"), QStringLiteral("--no-build-prop-model")});
    SimulatedDevice* locked = startDevice({QStringLiteral("--unauthorized")}, QStringLiteral("unauthorized"));
    SimulatedDevice* offline = startDevice({QStringLiteral("--state"), QStringLiteral("offline")}, QStringLiteral("offline"));
    SimulatedDevice* recovery = startDevice({QStringLiteral("--state"), QStringLiteral("recovery")}, QStringLiteral("recovery"));
    ASSERT_TRUE(plain && bare && locked && offline && recovery) << harness.lastError().toStdString();

    CompanionProcess devices(harness.serverPort(), {QStringLiteral("devices")});
    EXPECT_EQ(devices.waitForExit(), 0) << devices.err.toStdString();
    QStringList lines = QString::fromUtf8(devices.out).split(u'\n', Qt::SkipEmptyParts);
    lines.sort();
    QStringList expected{plain->serial() + u"\tdevice\tPlain", bare->serial() + u"\tdevice\tBare Ten",
                         locked->serial() + u"\tunauthorized\t-", offline->serial() + u"\toffline\t-",
                         // adbd in recovery answers shell commands: its name is found too.
                         recovery->serial() + u"\trecovery\tVellum Phone 5"};
    expected.sort();
    EXPECT_EQ(lines.join(u'|').toStdString(), expected.join(u'|').toStdString());
}

TEST_P(CompanionE2e, StreamFailsForAMissingOrUnauthorizedDevice) {
    SimulatedDevice* good = startDevice({});
    SimulatedDevice* locked = startDevice({QStringLiteral("--unauthorized")}, QStringLiteral("unauthorized"));
    ASSERT_TRUE(good && locked) << harness.lastError().toStdString();
    const struct {
        QString serial;
        QString error;
    } cases[] = {{QStringLiteral("MISSING"), QStringLiteral("device 'MISSING' not found")},
                 {locked->serial(), QStringLiteral("device %1 is not authorized").arg(locked->serial())}};
    for (const auto& c : cases) {
        CompanionProcess stream(harness.serverPort(), {QStringLiteral("-s"), c.serial, QStringLiteral("stream")});
        EXPECT_EQ(stream.waitForExit(), 1) << c.serial.toStdString();
        EXPECT_TRUE(QString::fromUtf8(stream.err).contains(c.error)) << stream.err.toStdString();
        EXPECT_TRUE(stream.out.isEmpty()) << stream.out.toStdString();
    }
}

// An offline device is waited for, and said to be offline; Ctrl+C ends it.
TEST_P(CompanionE2e, StreamWaitsForAnOfflineDevice) {
    SimulatedDevice* offline = startDevice({QStringLiteral("--state"), QStringLiteral("offline")}, QStringLiteral("offline"));
    ASSERT_TRUE(offline) << harness.lastError().toStdString();
    CompanionProcess stream(harness.serverPort(), {QStringLiteral("-s"), offline->serial(), QStringLiteral("stream")});
    ASSERT_TRUE(waitUntil([&] { return stream.err.contains("is offline"); }, 10000)) << stream.err.toStdString();
    stream.interrupt();
    EXPECT_EQ(stream.waitForExit(), 0);
    EXPECT_FALSE(stream.err.contains("streaming from")) << stream.err.toStdString();
    EXPECT_EQ(stream.err.count("is offline"), 1) << "said once while waiting";
    EXPECT_TRUE(stream.out.isEmpty()) << stream.out.toStdString();
}

// Unplugged and plugged back in, the device replays its buffer: the stream
// goes on with every line the device logged exactly once, also those logged
// while it was away, and rows carry the app of their process.
TEST_P(CompanionE2e, StreamKeepsGoingAcrossAReplugWithAppNames) {
    SimulatedDevice* device = startDevice({QStringLiteral("--clock-offset"), QString::number(GetParam().clockOffset)});
    ASSERT_TRUE(device) << harness.lastError().toStdString();
    CompanionProcess stream(harness.serverPort(), {QStringLiteral("-s"), device->serial(), QStringLiteral("stream"),
                               QStringLiteral("--format"), QStringLiteral("json")});
    ASSERT_TRUE(waitUntil([&] { return deviceRows(stream.out).size() > 80; }, 15000)) << stream.err.toStdString();

    device->unplug();
    ASSERT_TRUE(waitUntil([&] { return stream.err.contains("disconnected"); }, 10000)) << stream.err.toStdString();
    device->replug();
    ASSERT_TRUE(harness.waitForDeviceState(device->serial(), QStringLiteral("device"), 30000));
    const QStringList buffer = deviceBuffer(harness, device->serial());
    ASSERT_GT(buffer.size(), 80);
    const auto printed = [&] {
        QMap<QString, int> count;
        for (const QJsonObject& row : deviceRows(stream.out)) {
            const auto field = [&](const char* key) { return row.value(QLatin1StringView(key)).toString(); };
            ++count[rowKey(field("time"), field("pid"), field("tid"), field("text"))];
        }
        return count;
    };
    EXPECT_TRUE(waitUntil([&] { return printed().contains(buffer.last()); }, 15000)) << "fresh lines are lost";
    stream.interrupt();
    EXPECT_EQ(stream.waitForExit(), 0) << stream.err.toStdString();
    EXPECT_TRUE(stream.err.contains("reconnecting to")) << stream.err.toStdString();

    const QMap<QString, int> count = printed();
    for (const QString& key : buffer) ASSERT_EQ(count.value(key), 1) << key.toStdString();
    const QMap<QString, QString> names = processNames(harness, device->serial(), legacy());
    ASSERT_TRUE(names.values().contains(QStringLiteral("org.example.fieldnotes")));
    for (const QJsonObject& row : deviceRows(stream.out)) {
        const QString pid = row.value(u"pid").toString();
        if (names.contains(pid)) {
            ASSERT_EQ(row.value(u"app").toString(), names.value(pid)) << pid.toStdString();
        }
    }
}

// An app that starts, logs and crashes within 300 ms under a pid that no
// "ps" lists (the same pid each time, another app each time): every row of
// it and every crash carry its name, and the device is asked for its
// processes and packages at most once per 2 s (after the start's burst of
// three, and a follow-up each for the older device's other forms).
TEST_P(CompanionE2e, AShortLivedCrashingAppIsNamedInItsRowsAndCrashes) {
    SimulatedDevice* device = startDevice({QStringLiteral("--flash-app"), QStringLiteral("1"),
                                           QStringLiteral("--reuse-pids"), QStringLiteral("--trace-services")});
    ASSERT_TRUE(device) << harness.lastError().toStdString();
    const auto flashApp = [](const QString& app) { return app.startsWith(u"com.example.flash"); };
    const auto ofFlash = [](const QJsonObject& row) {
        const QString text = row.value(u"text").toString();
        return row.value(u"name").toString() == u"Flash" || text.contains(u"flash run") ||
               text.startsWith(u"Process: com.example.flash");
    };
    QElapsedTimer elapsed;
    elapsed.start();
    CompanionProcess stream(harness.serverPort(), {QStringLiteral("-s"), device->serial(), QStringLiteral("stream"),
                                                   QStringLiteral("--format"), QStringLiteral("json")});
    const auto flashRows = [&] {
        QList<QJsonObject> rows = deviceRows(stream.out);
        rows.removeIf([&](const QJsonObject& row) { return !ofFlash(row); });
        return rows;
    };
    ASSERT_TRUE(waitUntil([&] { return flashRows().size() >= 40; }, 20000)) << stream.err.toStdString();
    stream.interrupt();
    EXPECT_EQ(stream.waitForExit(), 0) << stream.err.toStdString();
    const double seconds = double(elapsed.elapsed()) / 1000;
    for (const QJsonObject& row : flashRows())
        EXPECT_TRUE(flashApp(row.value(u"app").toString())) << QJsonDocument(row).toJson().toStdString();
    const QString trace = device->errorOutput();
    const auto requests = trace.count(u" open shell:ps"_s) + trace.count(u" open shell:cmd package"_s) +
                          trace.count(u" open shell:pm "_s);
    EXPECT_LE(requests, 3 + (legacy() ? 2 : 0) + int(seconds / 2)) << trace.toStdString();

    CompanionProcess crashes(harness.serverPort(), {QStringLiteral("-s"), device->serial(), QStringLiteral("crashes"),
                                                    QStringLiteral("--stream"), QStringLiteral("--json")});
    const auto crashLines = [&] {
        QList<QJsonObject> found;
        for (const QByteArray& line : crashes.out.split('\n'))
            if (const QJsonObject crash = QJsonDocument::fromJson(line).object(); !crash.isEmpty()) found.append(crash);
        return found;
    };
    ASSERT_TRUE(waitUntil([&] { return crashLines().size() >= 3; }, 20000)) << crashes.err.toStdString();
    crashes.interrupt();
    EXPECT_EQ(crashes.waitForExit(), 0) << crashes.err.toStdString();
    for (const QJsonObject& crash : crashLines())
        EXPECT_TRUE(flashApp(crash.value(u"app").toString())) << QJsonDocument(crash).toJson().toStdString();
}

// Width x height from a PNG's header; empty when the bytes are no PNG.
QString pngSize(const QByteArray& png) {
    if (!png.startsWith("\x89PNG\r\n\x1a\n") || png.size() < 24) return {};
    const auto word = [&](int at) { return qFromBigEndian<quint32>(png.constData() + at); };
    return QStringLiteral("%1x%2").arg(word(16)).arg(word(20));
}

// A foldable: two displays listed with their ids, each captured with -d
// (the cover screen is smaller), the main one without -d despite the
// warning printed before its PNG, and to standard output through a pipe.
TEST_P(CompanionE2e, ScreenshotsOfEachDisplayOfAFoldable) {
    SimulatedDevice* device = startDevice({QStringLiteral("--displays"), QStringLiteral("2"), QStringLiteral("--screen"),
                                           QStringLiteral("360x800"), QStringLiteral("--capture-delay"), QStringLiteral("0")});
    ASSERT_TRUE(device) << harness.lastError().toStdString();
    const QStringList serial{QStringLiteral("-s"), device->serial()};

    CompanionProcess displays(harness.serverPort(), serial + QStringList{QStringLiteral("displays")});
    ASSERT_EQ(displays.waitForExit(), 0) << displays.err.toStdString();
    const QStringList lines = QString::fromUtf8(displays.out).split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2) << displays.out.toStdString();
    EXPECT_EQ(lines.at(1).section(u'\t', 1).toStdString(), "Cover screen");

    const struct {
        QStringList display;
        const char* size;
    } shots[] = {{{}, "360x800"},
                 {{QStringLiteral("-d"), lines.at(0).section(u'\t', 0, 0)}, "360x800"},
                 {{QStringLiteral("-d"), lines.at(1).section(u'\t', 0, 0)}, "216x480"}};
    for (const auto& shot : shots) {
        const QString file = harness.scratchPath(QStringLiteral("shot.png"));
        QFile::remove(file);
        CompanionProcess screenshot(harness.serverPort(), serial + QStringList{QStringLiteral("screenshot")} + shot.display +
                                                              QStringList{QStringLiteral("-o"), file});
        ASSERT_EQ(screenshot.waitForExit(), 0) << screenshot.err.toStdString();
        QFile png(file);
        ASSERT_TRUE(png.open(QIODevice::ReadOnly)) << shot.display.join(u' ').toStdString();
        EXPECT_EQ(pngSize(png.readAll()).toStdString(), shot.size) << shot.display.join(u' ').toStdString();
    }

    CompanionProcess piped(harness.serverPort(), serial + QStringList{QStringLiteral("screenshot"), QStringLiteral("-o"), QStringLiteral("-")});
    ASSERT_EQ(piped.waitForExit(), 0) << piped.err.toStdString();
    EXPECT_EQ(pngSize(piped.out).toStdString(), "360x800");

    CompanionProcess unknown(harness.serverPort(), serial + QStringList{QStringLiteral("screenshot"), QStringLiteral("-d"),
                                                                          QStringLiteral("12"), QStringLiteral("-o"), QStringLiteral("-")});
    EXPECT_EQ(unknown.waitForExit(), 1);
    EXPECT_TRUE(unknown.err.contains("the device sent no image (is the display one")) << unknown.err.toStdString();
}

// A device of today and one from before Android 8 in one stream: every row
// names its device, rows come in time order (within 50 ms: the devices'
// lines cross on the way), and unplugging one leaves the other streaming.
TEST(CompanionE2eDevices, TwoDevicesStreamIntoOneOutput) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    const QString log = writeReplayLog(harness);
    SimulatedDevice* modern = harness.startDevice(fastDevice(log));
    SimulatedDevice* legacy = harness.startDevice(fastDevice(log, {QStringLiteral("--legacy")}));
    ASSERT_TRUE(modern && legacy) << harness.lastError().toStdString();
    CompanionProcess stream(harness.serverPort(), {u"-s"_s, modern->serial(), u"-s"_s, legacy->serial(), u"stream"_s,
                                                   u"--clear"_s, u"--format"_s, u"json"_s});
    const auto rowsOf = [&](const SimulatedDevice* device) {
        const QList<QJsonObject> rows = deviceRows(stream.out);
        return std::count_if(rows.begin(), rows.end(),
                             [&](const QJsonObject& row) { return row.value(u"device").toString() == device->serial(); });
    };
    ASSERT_TRUE(waitUntil([&] { return rowsOf(modern) > 40 && rowsOf(legacy) > 40; }, 20000)) << stream.err.toStdString();

    modern->unplug();
    ASSERT_TRUE(waitUntil([&] { return stream.err.contains("disconnected"); }, 10000)) << stream.err.toStdString();
    const auto legacyBefore = rowsOf(legacy);
    EXPECT_TRUE(waitUntil([&] { return rowsOf(legacy) > legacyBefore + 20; }, 10000)) << "the other device streams on";
    stream.interrupt();
    EXPECT_EQ(stream.waitForExit(), 0) << stream.err.toStdString();

    qint64 latest = 0;
    for (const QJsonObject& row : deviceRows(stream.out)) {
        const QString device = row.value(u"device").toString();
        ASSERT_TRUE(device == modern->serial() || device == legacy->serial()) << device.toStdString();
        const QDateTime time = QDateTime::fromString(u"2024-"_s + row.value(u"time").toString(), u"yyyy-MM-dd HH:mm:ss.zzz"_s);
        ASSERT_TRUE(time.isValid());
        EXPECT_GE(time.toMSecsSinceEpoch(), latest - 50) << QJsonDocument(row).toJson().toStdString();
        latest = std::max(latest, time.toMSecsSinceEpoch());
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, CompanionE2e, ::testing::ValuesIn(kKinds),
                         [](const ::testing::TestParamInfo<Kind>& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace vf::test
