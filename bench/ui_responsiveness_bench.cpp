// How responsive the viewer stays while a device floods it: the main window
// with the real store, a feeder thread handing the store 20,000 lines per
// second for about ten seconds with follow on, and a 5 ms timer on the GUI
// thread measuring how late the event loop serves it. Goal: max and p99
// delay under 50 ms.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "core/log/logdatasource.h"
#include "core/support/preferences.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/table/logtablemodel.h"
#include "ui/vellumfoxappdelegate.h"
#include "ui/window/mainwindow.h"

namespace {

constexpr int kLinesPerSecond = 20000;
constexpr int kSeconds = 10;
constexpr int kTickMs = 5;

// Conversations that never report: the feeder stands in for the stream.
class SilentConversation final : public vf::StoreConversation {
public:
    void stop() override {}
};
class SilentConnector final : public vf::StoreConnector {
public:
    std::unique_ptr<vf::StoreConversation> connectLogReader(vf::LogReaderDelegate*, const QString&, const QString&,
                                                            QObject*) override {
        return std::make_unique<SilentConversation>();
    }
    std::unique_ptr<vf::StoreConversation> connectShellCommand(vf::ShellCommandDelegate*, const QString&,
                                                               const QString&, QObject*) override {
        return std::make_unique<SilentConversation>();
    }
};

// One device, listed at once; no server to start.
class OneDevice final : public vf::SessionAdb {
public:
    void loadDeviceList(vf::DeviceListDelegate* delegate) override {
        delegate->onDevicesConnected({vf::DeviceRecord{QStringLiteral("bench-device"), QStringLiteral("bench-device"),
                                                        {}, {}, QStringLiteral("device")}});
    }
    void startAdb(std::function<void(bool)> completion) override { completion(false); }
};

// Threadtime lines of the sample device log, each ending with LF.
std::vector<std::string> sampleLines() {
    QFile file(QStringLiteral(VF_SAMPLE_LOG));
    std::vector<std::string> lines;
    if (!file.open(QIODevice::ReadOnly)) return lines;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        const QByteArray line = raw.trimmed();
        if (!line.isEmpty()) lines.push_back(line.toStdString() + "\n");
    }
    return lines;
}

void BM_GuiDelayUnderFlood(benchmark::State& state) {
    const std::vector<std::string> lines = sampleLines();
    if (lines.empty()) {
        state.SkipWithError("sample log not found");
        return;
    }
    QTemporaryDir dir;
    vf::Preferences::setStorageFile(dir.filePath(QStringLiteral("prefs.ini")));
    for (auto _ : state) {
        vf::ui::VellumfoxAppDelegate::Options options;
        options.installHooks = false;
        options.connectAtStart = false;
        options.makeAdb = [] { return std::unique_ptr<vf::SessionAdb>(std::make_unique<OneDevice>()); };
        options.connector = std::make_shared<SilentConnector>();
        vf::ui::VellumfoxAppDelegate app(options);
        app.applicationDidFinishLaunching();
        vf::LogDatasource* store = app.tab().store.get();
        app.tab().connection->startLogging();

        std::atomic<bool> running{true};
        std::atomic<long> fed{0};
        std::thread feeder([&] {
            // Batches every millisecond, paced against the clock.
            const auto start = std::chrono::steady_clock::now();
            size_t next = 0;
            while (running.load()) {
                const auto elapsed = std::chrono::steady_clock::now() - start;
                const long due = long(std::chrono::duration<double>(elapsed).count() * kLinesPerSecond);
                while (fed.load() < due) {
                    // Fresh, rising times so the store's replay guard keeps every line.
                    std::string line = lines[next++ % lines.size()];
                    const long ms = fed.load();
                    char stamp[32];
                    std::snprintf(stamp, sizeof stamp, "03-18 %02ld:%02ld:%02ld.%03ld", (ms / 3600000) % 24,
                                  (ms / 60000) % 60, (ms / 1000) % 60, ms % 1000);
                    if (line.size() > 18) line.replace(0, 18, stamp);
                    store->addLiveLine(line);
                    fed.fetch_add(1);
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });

        std::vector<double> delays;
        delays.reserve(kSeconds * 1000 / kTickMs + 16);
        QElapsedTimer clock;
        clock.start();
        qint64 last = clock.nsecsElapsed();
        QTimer tick;
        tick.setTimerType(Qt::PreciseTimer);
        QObject::connect(&tick, &QTimer::timeout, [&] {
            const qint64 now = clock.nsecsElapsed();
            delays.push_back(std::max(0.0, (now - last) / 1e6 - kTickMs));
            last = now;
        });
        tick.start(kTickMs);
        QEventLoop loop;
        QTimer::singleShot(kSeconds * 1000, &loop, &QEventLoop::quit);
        loop.exec();
        running = false;
        feeder.join();
        tick.stop();
        app.tab().connection->stopLogging();

        std::sort(delays.begin(), delays.end());
        const double maxDelay = delays.empty() ? 0 : delays.back();
        const double p99 = delays.empty() ? 0 : delays[size_t(double(delays.size() - 1) * 0.99)];
        state.counters["lines_per_s"] = double(fed.load()) / (clock.elapsed() / 1000.0);
        state.counters["max_delay_ms"] = maxDelay;
        state.counters["p99_delay_ms"] = p99;
        state.counters["rows_shown"] = app.tab().model->rowCount();
        std::printf("\n%-28s %12s\n", "figure", "value");
        std::printf("%-28s %12.0f\n", "lines fed per second", double(fed.load()) / (clock.elapsed() / 1000.0));
        std::printf("%-28s %12.1f\n", "max event-loop delay (ms)", maxDelay);
        std::printf("%-28s %12.1f\n", "p99 event-loop delay (ms)", p99);
        std::printf("%-28s %12s\n", "goal (ms)", "< 50");
        std::printf("%-28s %12d\n\n", "rows in the table", app.tab().model->rowCount());
    }
    vf::Preferences::setStorageFile(QString());
}
BENCHMARK(BM_GuiDelayUnderFlood)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
