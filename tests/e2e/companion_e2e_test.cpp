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

#include "core/adb/devicestate.h"
#include "e2e.h"
#include "support/fixtures/companionprocess.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;


// A device row as time|pid|tid|text: the same line streamed twice has one
// key. The store writes the tid of a process's main thread as "-".
QString rowKey(const QString& time, const QString& pid, const QString& tid, const QString& text) {
    return time + u'|' + pid + u'|' + (tid == pid ? u"-"_s : tid) + u'|' + text.trimmed();
}

// The device's own buffer ("logcat -d"), as keys.
QStringList deviceBuffer(const AdbHarness& harness, const QString& serial) {
    static const QRegularExpression line(uR"(^(\d\d-\d\d [\d:.]+)\s+(\d+)\s+(\d+) \w \S.*?: (.*)$)"_s);
    QStringList keys;
    for (const QByteArray& raw : harness.shell(serial, u"logcat -d"_s).split('\n')) {
        const auto m = line.match(QString::fromUtf8(raw).remove(u'\r'));
        if (m.hasMatch()) keys.append(rowKey(m.captured(1), m.captured(2), m.captured(3), m.captured(4)));
    }
    return keys;
}

// pid -> name of every process in the device's table.
QMap<QString, QString> processNames(const AdbHarness& harness, const QString& serial, bool legacy) {
    QMap<QString, QString> names;
    const QByteArray ps = harness.shell(serial, legacy ? u"ps"_s : u"ps -A"_s);
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

class CompanionE2e : public E2eKindTest {
protected:
    void SetUp() override {
        E2eKindTest::SetUp();
        log = writeReplayLog(harness);
    }
    SimulatedDevice* startDevice(const QStringList& more, const QString& state = u"device"_s) {
        return E2eTest::startDevice(fastDevice(log, kind(more)), state);
    }
    bool legacy() const { return GetParam(); }

    QString log;
};

// Devices in every state: listed with their model (also where build.prop
// has none), refused by the server with failures we tell apart, refused by
// stream with a reason, and an offline one waited for until Ctrl+C.
TEST_P(CompanionE2e, DevicesInEveryStateAreListedRefusedOrWaitedFor) {
    SimulatedDevice* plain = startDevice({u"--model"_s, u"Plain"_s});
    SimulatedDevice* bare = startDevice({u"--model"_s, u"Bare Ten"_s, u"--no-build-prop-model"_s});
    SimulatedDevice* locked = startDevice({u"--unauthorized"_s}, u"unauthorized"_s);
    SimulatedDevice* offline = startDevice({u"--state"_s, u"offline"_s}, u"offline"_s);
    SimulatedDevice* recovery = startDevice({u"--state"_s, u"recovery"_s}, u"recovery"_s);
    ASSERT_TRUE(plain && bare && locked && offline && recovery);

    const CompanionRun devices = runCompanion({u"devices"_s});
    EXPECT_EQ(devices.status, 0) << devices.err.toStdString();
    QStringList lines = devices.out.split(u'\n', Qt::SkipEmptyParts);
    lines.sort();
    QStringList expected{plain->serial() + u"\tdevice\tPlain", bare->serial() + u"\tdevice\tBare Ten",
                         locked->serial() + u"\tunauthorized\t-", offline->serial() + u"\toffline\t-",
                         // adbd in recovery answers shell commands: its name is found too.
                         recovery->serial() + u"\trecovery\tVellum Phone 5"};
    expected.sort();
    EXPECT_EQ(lines.join(u'|').toStdString(), expected.join(u'|').toStdString());

    const auto failureOf = [&](const QByteArray& request) {
        const HostReply reply = hostRequest(harness.serverPort(), request);
        EXPECT_FALSE(reply.ok) << request.constData();
        return adbFailureKind(reply.failure);
    };
    EXPECT_EQ(failureOf("host:transport:" + locked->serial().toUtf8()), AdbFailureKind::Unauthorized);
    EXPECT_EQ(failureOf("host:transport:" + offline->serial().toUtf8()), AdbFailureKind::Offline);
    EXPECT_EQ(failureOf("host:transport:nosuch-serial"), AdbFailureKind::DeviceNotFound);
    EXPECT_EQ(failureOf("host:transport-any"), AdbFailureKind::MoreThanOneDevice);

    const std::pair<QString, QString> refused[] = {
        {u"MISSING"_s, u"device 'MISSING' not found"_s},
        {locked->serial(), u"device %1 is not authorized"_s.arg(locked->serial())}};
    for (const auto& [serial, error] : refused) {
        const CompanionRun stream = runCompanion({u"-s"_s, serial, u"stream"_s});
        EXPECT_EQ(stream.status, 1) << serial.toStdString();
        EXPECT_TRUE(stream.err.contains(error)) << stream.err.toStdString();
        EXPECT_TRUE(stream.out.isEmpty()) << stream.out.toStdString();
    }

    CompanionProcess waiting(harness.serverPort(), {u"-s"_s, offline->serial(), u"stream"_s});
    ASSERT_TRUE(waitUntil([&] { return waiting.err.contains("is offline"); }, 10000)) << waiting.err.toStdString();
    waiting.interrupt();
    EXPECT_EQ(waiting.waitForExit(), 0);
    EXPECT_FALSE(waiting.err.contains("streaming from")) << waiting.err.toStdString();
    EXPECT_EQ(waiting.err.count("is offline"), 1) << "said once while waiting";
    EXPECT_TRUE(waiting.out.isEmpty()) << waiting.out.toStdString();
}

// Unplugged and plugged back in, the device replays its buffer: the stream
// goes on with every line the device logged exactly once, also those logged
// while it was away, and rows carry the app of their process.
TEST_P(CompanionE2e, StreamKeepsGoingAcrossAReplugWithAppNames) {
    // The device of today runs an hour ahead of the host, the old one an hour
    // behind: what is a replay is decided on the device's clock either way.
    SimulatedDevice* device = startDevice({u"--clock-offset"_s, legacy() ? u"-3600"_s : u"3600"_s});
    ASSERT_TRUE(device);
    CompanionProcess stream(harness.serverPort(), {u"-s"_s, device->serial(), u"stream"_s, u"--format"_s, u"json"_s});
    ASSERT_TRUE(waitUntil([&] { return deviceRows(stream.out).size() > 80; }, 15000)) << stream.err.toStdString();

    device->unplug();
    ASSERT_TRUE(waitUntil([&] { return stream.err.contains("disconnected"); }, 10000)) << stream.err.toStdString();
    device->replug();
    ASSERT_TRUE(harness.waitForDeviceState(device->serial(), u"device"_s, 30000));
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
    ASSERT_TRUE(names.values().contains(u"org.example.fieldnotes"_s));
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
    SimulatedDevice* device = startDevice({u"--flash-app"_s, u"1"_s, u"--reuse-pids"_s, u"--trace-services"_s});
    ASSERT_TRUE(device);
    const auto flashApp = [](const QString& app) { return app.startsWith(u"com.example.flash"); };
    const auto ofFlash = [](const QJsonObject& row) {
        const QString text = row.value(u"text").toString();
        return row.value(u"name").toString() == u"Flash" || text.contains(u"flash run") ||
               text.startsWith(u"Process: com.example.flash");
    };
    QElapsedTimer elapsed;
    elapsed.start();
    CompanionProcess stream(harness.serverPort(), {u"-s"_s, device->serial(), u"stream"_s, u"--format"_s, u"json"_s});
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

    CompanionProcess crashes(harness.serverPort(),
                             {u"-s"_s, device->serial(), u"crashes"_s, u"--stream"_s, u"--json"_s});
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
    return u"%1x%2"_s.arg(word(16)).arg(word(20));
}

// A foldable: two displays listed with their ids, each captured with -d
// (the cover screen is smaller), the main one without -d despite the
// warning printed before its PNG, and to standard output through a pipe.
TEST_P(CompanionE2e, ScreenshotsOfEachDisplayOfAFoldable) {
    SimulatedDevice* device =
        startDevice({u"--displays"_s, u"2"_s, u"--screen"_s, u"360x800"_s, u"--capture-delay"_s, u"0"_s});
    ASSERT_TRUE(device);
    const QStringList serial{u"-s"_s, device->serial()};

    const CompanionRun displays = runCompanion(serial + QStringList{u"displays"_s});
    ASSERT_EQ(displays.status, 0) << displays.err.toStdString();
    const QStringList lines = displays.out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2) << displays.out.toStdString();
    EXPECT_EQ(lines.at(1).section(u'\t', 1).toStdString(), "Cover screen");

    const struct {
        QStringList display;
        const char* size;
    } shots[] = {{{}, "360x800"},
                 {{u"-d"_s, lines.at(0).section(u'\t', 0, 0)}, "360x800"},
                 {{u"-d"_s, lines.at(1).section(u'\t', 0, 0)}, "216x480"}};
    for (const auto& shot : shots) {
        const QString file = harness.scratchPath(u"shot.png"_s);
        QFile::remove(file);
        const CompanionRun screenshot =
            runCompanion(serial + QStringList{u"screenshot"_s} + shot.display + QStringList{u"-o"_s, file});
        ASSERT_EQ(screenshot.status, 0) << screenshot.err.toStdString();
        QFile png(file);
        ASSERT_TRUE(png.open(QIODevice::ReadOnly)) << shot.display.join(u' ').toStdString();
        EXPECT_EQ(pngSize(png.readAll()).toStdString(), shot.size) << shot.display.join(u' ').toStdString();
    }

    CompanionProcess piped(harness.serverPort(), serial + QStringList{u"screenshot"_s, u"-o"_s, u"-"_s});
    ASSERT_EQ(piped.waitForExit(), 0) << piped.err.toStdString();
    EXPECT_EQ(pngSize(piped.out).toStdString(), "360x800");

    const CompanionRun unknown = runCompanion(serial + QStringList{u"screenshot"_s, u"-d"_s, u"12"_s, u"-o"_s, u"-"_s});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(unknown.err.contains(u"the device sent no image (is the display one"_s)) << unknown.err.toStdString();
}

// A device of today and one from before Android 8 in one stream: every row
// names its device, rows come in time order (within 50 ms: the devices'
// lines cross on the way), and unplugging one leaves the other streaming.
class CompanionE2eDevices : public E2eTest {};
TEST_F(CompanionE2eDevices, TwoDevicesStreamIntoOneOutput) {
    const QString log = writeReplayLog(harness);
    SimulatedDevice* modern = startDevice(fastDevice(log));
    SimulatedDevice* legacy = startDevice(fastDevice(log, {u"--legacy"_s}));
    ASSERT_TRUE(modern && legacy);
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

INSTANTIATE_TEST_SUITE_P(Kinds, CompanionE2e, ::testing::Values(false, true), kindName);

}  // namespace
}  // namespace vf::test
