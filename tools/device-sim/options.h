#pragma once
// Everything the simulated device is told on its command line.

#include <QSize>
#include <QString>
#include <QStringList>
#include <optional>

namespace vf::sim {

struct Options {
    quint16 port = 0;  // 0: any free port
    QString model = QStringLiteral("Vellum Phone 5");
    QString product = QStringLiteral("vellum_phone");
    QString device = QStringLiteral("vellum");
    int sdk = 29;
    double rate = 50;      // replayed lines per second
    double idleRate = 5;   // generated lines per second once the replay is over
    int churnSeconds = 20; // an app dies and restarts this often; 0 = never
    int flashSeconds = 0;  // an app starts, logs and crashes within 300 ms this often; 0 = never
    bool reusePids = false;    // each such app takes the pid of the one before
    bool workProfile = false;  // an app in user 10
    QString logFile;       // threadtime lines to replay
    QString recordFile;    // input commands are appended here
    bool toolboxPs = false;
    bool legacy = false;
    // What the connection banner says: "device", "recovery", "sideload",
    // "bootloader", "rescue"; "unauthorized" answers with AUTH tokens only,
    // "offline" never answers the host's CNXN.
    QString state = QStringLiteral("device");
    bool buildPropModel = true;
    int extraApps = 0;           // more app processes that write log lines (benchmarks)
    bool traceServices = false;  // print every service the host opens, with the time, to stderr  // false: build.prop without ro.product.model / .name (many Android 10+ builds)
    quint16 connectServerPort = 0;  // send "host:connect" to this ADB server
    QSize screenSize{1080, 2400};
    int displays = 1;           // physical displays; more than one makes screencap warn without -d
    bool secureWindow = false;  // the app on screen forbids capture: every screenshot is black
    int captureDelayMs = 150;  // a phone's screencap takes about this long
    quint32 seed = 7;
    int clockOffsetSeconds = 0;  // the device's clock against the host's
    bool exitWithParent = false;
    // Log buffers: system_server's lines go to "system", logcat honours
    // "-b" and prints the markers of the buffers it switches between.
    bool buffers = false;
    bool crashBuffer = false;   // one app crash, after the replay, only in the crash buffer (implies buffers)
    bool wrapWhenAway = false;  // a replugged device has lost its lines up to halfway through its time away
    bool recordLogcat = false;  // logcat command lines go to the --record file too

    // The port part of the serial the ADB server gives the device.
    QString serial(quint16 boundPort) const { return QStringLiteral("127.0.0.1:%1").arg(boundPort); }
};

// Reads the arguments (without the program name). On a usage error returns
// nothing and sets `error`.
std::optional<Options> parseOptions(const QStringList& arguments, QString& error);

// The usage text printed for --help and after a usage error.
QString usage();

}  // namespace vf::sim
