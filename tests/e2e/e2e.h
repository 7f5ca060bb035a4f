#pragma once
// Shared set-up of the end-to-end tests: a harness on the built simulated
// device, a private adb server per test, and small replay logs whose every
// line the tests can recognise. Main thread only.

#include <QFile>
#include <QStringList>
#include <algorithm>

#include "core/log/logdatasource.h"
#include "core/session/logsession.h"
#include "support/fixtures/adbharness.h"
#include "support/fixtures/companionprocess.h"
#ifdef VF_HAVE_UI
#include <memory>

#include "support/fixtures/scriptedadbserver.h"
#include "ui/vellumfoxappdelegate.h"
#endif

namespace vf::test {

// A front end that counts what a session tells it.
class FrontEnd final : public LogSessionDelegate {
public:
    void onLoggerStarted(const QString&) override { ++started; }
    void onLoggerStopped() override { ++stopped; }
    void chooseDevice(const DeviceList&) override { ++asked; }
    void onDeviceModel(const QString&, const QString& model) override { this->model = model; }
    void onSessionNotice(const SessionNotice& notice) override { notices.push_back(notice.kind); }

    int started = 0, stopped = 0, asked = 0;
    QString model;
    std::vector<SessionNotice::Kind> notices;
};


inline AdbHarness makeHarness() {
#ifdef VF_DEVICE_SIM
    return AdbHarness(QString::fromUtf8(VF_DEVICE_SIM));
#else
    return AdbHarness(QString());
#endif
}

// A test on an adb server of its own, started before the test's body (which
// is skipped where adb is not installed).
class E2eTest : public ::testing::Test {
protected:
    void SetUp() override {
        VF_REQUIRE_ADB(harness);
        ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    }
    // Fails the test, saying why, when the device does not come up.
    SimulatedDevice* startDevice(const QStringList& arguments, const QString& state = QStringLiteral("device")) {
        SimulatedDevice* device = harness.startDevice(arguments, state);
        if (device == nullptr) ADD_FAILURE() << harness.lastError().toStdString();
        return device;
    }
    // The companion run on the test's server to its end: its exit status
    // (-1: it crashed or hung) and what it printed.
    struct CompanionRun {
        int status;
        QString out, err;
    };
    CompanionRun runCompanion(const QStringList& arguments) {
        CompanionProcess companion(harness.serverPort(), arguments);
        const int status = companion.waitForExit();
        return {status, QString::fromUtf8(companion.out), QString::fromUtf8(companion.err)};
    }

    AdbHarness harness = makeHarness();
};

// The same on a device of today (false) or on one up to Android 7.1 (true).
class E2eKindTest : public E2eTest, public ::testing::WithParamInterface<bool> {
protected:
    // The simulator's arguments for this kind of device, then `more`.
    QStringList kind(const QStringList& more = {}) const {
        return (GetParam() ? QStringList{QStringLiteral("--legacy")} : QStringList{}) + more;
    }
};
inline std::string kindName(const ::testing::TestParamInfo<bool>& info) { return info.param ? "Legacy" : "Modern"; }

// How many of the store's rows hold `text` (and, given, belong to `app`).
inline qsizetype rowsWith(const LogDatasource& store, const QString& text, const QString& app = {}) {
    const RowList rows = store.getDataAll();
    return std::count_if(rows.cbegin(), rows.cend(), [&](const RowPtr& row) {
        return row->string(RowKey::Text).contains(text) && (app.isNull() || row->string(RowKey::App) == app);
    });
}

// Writes a threadtime log: pid 4120 is the app "org.example.fieldnotes"
// (named by a "Start proc" line), every line's text is "`word` line N"
// (times 09:41:10.000 on, ten lines a second); then the lines of `tail`.
inline QString writeReplayLog(const AdbHarness& harness, int count = 40,
                              const QString& word = QStringLiteral("replayed"), const QByteArray& tail = {}) {
    const QString path = harness.scratchPath(word + QStringLiteral(".log"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return {};
    file.write("03-17 09:41:02.100  1102  1133 I ActivityManager: Start proc 4120:org.example.fieldnotes/u0a121 "
               "for activity org.example.fieldnotes/.ui.MainActivity\r\n");
    static const char levels[] = "VDIWEF";
    for (int i = 0; i < count; ++i) {
        const char level = levels[i % 6];
        const QByteArray tag = i % 2 == 0 ? "MyTag" : "Other";
        file.write(QStringLiteral("03-17 09:41:%1.%2  4120  %3 %4 %5: %6 line %7\r\n")
                       .arg(10 + i / 10)
                       .arg(i % 10 * 100, 3, 10, QLatin1Char('0'))
                       .arg(i % 3 == 0 ? 4120 : 4133)
                       .arg(QLatin1Char(level))
                       .arg(QString::fromLatin1(tag))
                       .arg(word)
                       .arg(i)
                       .toUtf8());
    }
    file.write(tail);
    return path;
}

// Simulator arguments for a fast, predictable device.
inline QStringList fastDevice(const QString& log, const QStringList& more = {}) {
    return QStringList{QStringLiteral("--log"), log, QStringLiteral("--rate"), QStringLiteral("2000"),
                       QStringLiteral("--idle-rate"), QStringLiteral("40"), QStringLiteral("--churn"),
                       QStringLiteral("0")} +
           more;
}

#ifdef VF_HAVE_UI
// The viewer, launched as main() launches it but without crash hooks or
// usage events; `connectAtStart` as main() decides it.
inline std::unique_ptr<ui::VellumfoxAppDelegate> launchViewer(bool connectAtStart) {
    ui::VellumfoxAppDelegate::Options options;
    options.installHooks = false;
    options.connectAtStart = connectAtStart;
    options.recordEvent = [](const QString&) {};
    auto app = std::make_unique<ui::VellumfoxAppDelegate>(options);
    app->applicationDidFinishLaunching();
    return app;
}

// The viewer's tests: the preferences point at the test's server.
class E2eViewerTest : public E2eTest {
protected:
    void SetUp() override {
        E2eTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure())
            preferences = std::make_unique<ScopedAdbPreferences>(harness.serverPort());
    }
    void launch(bool connectAtStart) { app = launchViewer(connectAtStart); }

    std::unique_ptr<ScopedAdbPreferences> preferences;
    std::unique_ptr<ui::VellumfoxAppDelegate> app;
};
#endif

}  // namespace vf::test
