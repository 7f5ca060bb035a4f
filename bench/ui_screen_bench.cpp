// The remote screen's capture loop against the simulated device at
// 1080x2400, through Debian's adb server: frames per second, decode time and
// PNG bytes per frame, and the GUI event loop's worst delay (a 5 ms timer)
// while the window shows every frame. Goals: worst delay under 16 ms; the
// frame rate set by the device's round trip (capture delay plus transfer),
// not by the viewer. Also the black-frame check against a decode.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QBuffer>
#include <QPainter>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <functional>
#include <cstdio>
#include <ctime>
#include <vector>

#include "core/screen/screencapreader.h"
#include "ui/screen/remotescreenmonitorsheet.h"
#include "ui/screen/screenimageview.h"

namespace {

constexpr int kSeconds = 10;
constexpr int kTickMs = 5;

quint16 freePort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

// "host:devices" of the server on `port`, or empty.
QByteArray listDevices(quint16 port) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    if (!socket.waitForConnected(500)) return {};
    socket.write("000chost:devices");
    QByteArray reply;
    while (socket.waitForReadyRead(500)) reply += socket.readAll();
    return reply;
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(20);
    }
    return true;
}

// The server and the device, both stopped by their PID at the end.
struct Rig {
    QTemporaryDir home;
    QProcess server;
    QProcess device;
    quint16 serverPort = freePort();
    quint16 devicePort = freePort();

    ~Rig() {
        for (QProcess* p : {&device, &server}) {
            if (p->state() == QProcess::NotRunning) continue;
            p->terminate();
            if (!p->waitForFinished(3000)) p->kill();
            p->waitForFinished(1000);
        }
    }

    QString start() {
        const QString adb = QStandardPaths::findExecutable(QStringLiteral("adb"));
        if (adb.isEmpty()) return QStringLiteral("adb is not installed");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), home.path());
        env.insert(QStringLiteral("ADB_EMU"), QStringLiteral("0"));
        server.setProcessEnvironment(env);
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.setStandardOutputFile(home.filePath(QStringLiteral("server.log")));
        server.start(adb, {QStringLiteral("-P"), QString::number(serverPort), QStringLiteral("nodaemon"),
                           QStringLiteral("server")});
        if (!waitFor([&] { return listDevices(serverPort).startsWith("OKAY"); }, 10000)) {
            return QStringLiteral("the adb server did not start");
        }
        device.setStandardOutputFile(home.filePath(QStringLiteral("device.log")));
        device.start(QStringLiteral(VF_DEVICE_SIM),
                     {QStringLiteral("--port"), QString::number(devicePort), QStringLiteral("--connect-server"),
                      QString::number(serverPort), QStringLiteral("--exit-with-parent")});
        if (!waitFor([&] { return listDevices(serverPort).contains(QByteArray(serial().toUtf8() + "\tdevice")); }, 15000)) {
            return QStringLiteral("the simulated device did not come up");
        }
        return {};
    }
    QString serial() const { return QStringLiteral("127.0.0.1:%1").arg(devicePort); }
};

// Runs the event loop for `seconds` with a kTickMs timer and returns how late
// each tick came, sorted. `onTick` runs at every tick.
std::vector<double> tickDelays(int seconds, const std::function<void()>& onTick) {
    std::vector<double> delays;
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.nsecsElapsed();
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        delays.push_back(std::max(0.0, (now - last) / 1e6 - kTickMs));
        last = now;
        onTick();
    });
    tick.start(kTickMs);
    QEventLoop loop;
    QTimer::singleShot(seconds * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    std::sort(delays.begin(), delays.end());
    return delays;
}

// CPU time of the calling thread, in milliseconds.
double threadCpuMs() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

double percentile(const std::vector<double>& sorted, double p) {
    return sorted.empty() ? 0 : sorted[size_t(double(sorted.size() - 1) * p)];
}

void BM_RemoteScreenCaptureLoop(benchmark::State& state) {
    Rig rig;
    if (const QString error = rig.start(); !error.isEmpty()) {
        state.SkipWithError(error.toUtf8().constData());
        return;
    }
    for (auto _ : state) {
        vf::ui::RemoteScreenMonitorSheet window(vf::AdbEndpoint{QStringLiteral("127.0.0.1"), rig.serverPort, {}});
        window.setDeviceId(rig.serial());
        window.showWindow();
        if (!waitFor([&] { return !window.imageView()->image().isNull(); }, 15000)) {
            state.SkipWithError("no screenshot arrived");
            return;
        }
        qint64 shown = 0;
        qint64 lastKey = window.imageView()->image().cacheKey();

        // The same timer with the window idle: what the machine alone costs.
        window.screenSource()->stopMonitoring();
        const double idleCpu0 = threadCpuMs();
        const std::vector<double> idle = tickDelays(3, [] {});
        const double idleCpuPerSecond = (threadCpuMs() - idleCpu0) / 3;
        window.screenSource()->startMonitoring(true);
        QElapsedTimer clock;
        clock.start();
        const vf::DeviceScreenDatasource::Stats before = window.screenSource()->stats();
        const double cpu0 = threadCpuMs();
        const std::vector<double> delays = tickDelays(kSeconds, [&] {
            const qint64 key = window.imageView()->image().cacheKey();
            if (key != lastKey) ++shown;
            lastKey = key;
        });
        const double seconds = clock.elapsed() / 1000.0;
        const double guiCpuPerSecond = (threadCpuMs() - cpu0) / seconds;
        window.close();

        const vf::DeviceScreenDatasource::Stats after = window.screenSource()->stats();
        const double frames = double(after.frames - before.frames);
        const double maxDelay = percentile(delays, 1.0);
        const double p99 = percentile(delays, 0.99);
        const QSize size = window.imageView()->image().size();
        state.counters["fps"] = frames / seconds;
        state.counters["decode_ms"] = frames > 0 ? (after.decodeNanos - before.decodeNanos) / frames / 1e6 : 0;
        state.counters["kbytes_per_frame"] = frames > 0 ? (after.bytes - before.bytes) / frames / 1024 : 0;
        state.counters["max_delay_ms"] = maxDelay;
        std::printf("\n%-34s %12s\n", "figure", "value");
        std::printf("%-34s %7dx%d\n", "device screen", size.width(), size.height());
        std::printf("%-34s %12.2f\n", "frames decoded per second", frames / seconds);
        std::printf("%-34s %12.2f\n", "frames shown per second", double(shown) / seconds);
        std::printf("%-34s %12.1f\n", "round trip per frame (ms)", frames > 0 ? seconds * 1000 / frames : 0);
        std::printf("%-34s %12.1f\n", "decode per frame (ms)",
                    frames > 0 ? (after.decodeNanos - before.decodeNanos) / frames / 1e6 : 0);
        std::printf("%-34s %12.0f\n", "PNG bytes per frame",
                    frames > 0 ? double(after.bytes - before.bytes) / frames : 0);
        std::printf("%-34s %12lld\n", "frames replaced before decoding", after.dropped - before.dropped);
        std::printf("%-34s %7.1f / %.1f\n", "GUI CPU ms/s, refreshing / idle", guiCpuPerSecond, idleCpuPerSecond);
        std::printf("%-34s %12.1f\n", "max GUI event-loop delay (ms)", maxDelay);
        std::printf("%-34s %12.1f\n", "p99 GUI event-loop delay (ms)", p99);
        std::printf("%-34s %12s\n", "goal (ms)", "< 16");
        std::printf("%-34s %7.1f / %.1f\n\n", "same timer, window idle: max / p99", percentile(idle, 1.0),
                    percentile(idle, 0.99));
    }
}
BENCHMARK(BM_RemoteScreenCaptureLoop)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

// The black-frame check of every decoded frame (on the decoder thread): a
// 1080x2400 screen with content costs the size test only; a black one
// (secure window) also a pixel scan. Goal: well under the decode itself.
QByteArray pngOf(bool black) {
    QImage image(1080, 2400, QImage::Format_RGB32);
    image.fill(Qt::black);
    if (!black) {
        QPainter painter(&image);
        painter.fillRect(0, 0, 1080, 120, QColor(0x1d, 0x3b, 0x53));
        painter.setPen(Qt::white);
        QFont font;
        font.setPixelSize(80);
        painter.setFont(font);
        for (int y = 200; y < 2400; y += 160) painter.drawText(40, y, QStringLiteral("Row %1 of a list").arg(y));
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG", 80);
    return png;
}

void BM_BlackFrameCheck(benchmark::State& state) {
    const QByteArray png = pngOf(state.range(0) == 1);
    const QImage image = QImage::fromData(png, "PNG");
    bool black = false;
    for (auto _ : state) {
        black = vf::ScreencapReader::mayBeUniform(png) && vf::ui::isAllBlack(image);
        benchmark::DoNotOptimize(black);
    }
    state.SetLabel(black ? "black frame" : "frame with content");
    state.counters["png_bytes"] = double(png.size());
}
BENCHMARK(BM_BlackFrameCheck)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_DecodeFrame(benchmark::State& state) {
    const QByteArray png = pngOf(state.range(0) == 1);
    for (auto _ : state) benchmark::DoNotOptimize(QImage::fromData(png, "PNG"));
    state.SetLabel(state.range(0) == 1 ? "black frame" : "frame with content");
}
BENCHMARK(BM_DecodeFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
