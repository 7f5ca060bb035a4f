#pragma once
// Shared set-up of the end-to-end tests: a harness on the built simulated
// device, and small replay logs whose every line the tests can recognise.

#include <QFile>
#include <QStringList>

#include "core/session/logsession.h"
#include "support/fixtures/adbharness.h"
#ifdef VF_HAVE_UI
#include <memory>

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

// Writes a threadtime log: pid 4120 is the app "org.example.fieldnotes"
// (named by a "Start proc" line), every line's text is "`word` line N".
inline QString writeReplayLog(const AdbHarness& harness, int count = 40,
                              const QString& word = QStringLiteral("replayed")) {
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
#endif

}  // namespace vf::test
