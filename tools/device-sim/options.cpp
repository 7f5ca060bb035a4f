#include "options.h"

#include <QRegularExpression>
#include <limits>

namespace vf::sim {

namespace {

bool toPort(const QString& text, quint16& port) {
    bool ok = false;
    const uint value = text.toUInt(&ok);
    if (!ok || value > 65535) return false;
    port = static_cast<quint16>(value);
    return true;
}

bool toRate(const QString& text, double& rate) {
    bool ok = false;
    rate = text.toDouble(&ok);
    return ok && rate >= 0;
}

bool toInt(const QString& text, int& out, int min, int max = std::numeric_limits<int>::max()) {
    bool ok = false;
    out = text.toInt(&ok);
    return ok && out >= min && out <= max;
}

// What an option that takes a value made of it.
enum class Value { Taken, Bad, Unknown };

struct Given {
    bool ps = false;
    bool sdk = false;
};

Value applyValue(const QString& name, const QString& value, Options& options, Given& given) {
    if (name == u"--port") {
        if (!toPort(value, options.port)) return Value::Bad;
    } else if (name == u"--connect-server") {
        if (!toPort(value, options.connectServerPort) || options.connectServerPort == 0) return Value::Bad;
    } else if (name == u"--model") {
        options.model = value;
    } else if (name == u"--product") {
        options.product = value;
    } else if (name == u"--sdk") {
        if (!toInt(value, options.sdk, 1)) return Value::Bad;
        given.sdk = true;
    } else if (name == u"--log") {
        options.logFile = value;
    } else if (name == u"--record") {
        options.recordFile = value;
    } else if (name == u"--rate") {
        if (!toRate(value, options.rate)) return Value::Bad;
    } else if (name == u"--idle-rate") {
        if (!toRate(value, options.idleRate)) return Value::Bad;
    } else if (name == u"--churn") {
        if (!toInt(value, options.churnSeconds, 0)) return Value::Bad;
    } else if (name == u"--flash-app") {
        if (!toInt(value, options.flashSeconds, 0)) return Value::Bad;
    } else if (name == u"--ps") {
        if (value != u"toybox" && value != u"toolbox") return Value::Bad;
        options.toolboxPs = value == u"toolbox";
        given.ps = true;
    } else if (name == u"--apps") {
        if (!toInt(value, options.extraApps, 0, 500)) return Value::Bad;
    } else if (name == u"--state") {
        static const QStringList kStates{
            QStringLiteral("device"),    QStringLiteral("unauthorized"), QStringLiteral("offline"),
            QStringLiteral("recovery"),  QStringLiteral("sideload"),     QStringLiteral("bootloader"),
            QStringLiteral("rescue")};
        if (!kStates.contains(value)) return Value::Bad;
        options.state = value;
    } else if (name == u"--screen") {
        const auto match = QRegularExpression(QStringLiteral("^(\\d{2,4})x(\\d{2,4})$")).match(value);
        if (!match.hasMatch()) return Value::Bad;
        options.screenSize = QSize(match.captured(1).toInt(), match.captured(2).toInt());
    } else if (name == u"--displays") {
        if (!toInt(value, options.displays, 1, 4)) return Value::Bad;
    } else if (name == u"--capture-delay") {
        if (!toInt(value, options.captureDelayMs, 0)) return Value::Bad;
    } else if (name == u"--seed") {
        bool ok = false;
        options.seed = value.toUInt(&ok);
        if (!ok) return Value::Bad;
    } else if (name == u"--clock-offset") {
        if (!toInt(value, options.clockOffsetSeconds, std::numeric_limits<int>::min())) return Value::Bad;
    } else {
        return Value::Unknown;
    }
    return Value::Taken;
}

// Options without a value; false when `name` is none of them.
bool applyFlag(const QString& name, Options& options) {
    if (name == u"--legacy") options.legacy = true;
    else if (name == u"--unauthorized") options.state = QStringLiteral("unauthorized");
    else if (name == u"--no-build-prop-model") options.buildPropModel = false;
    else if (name == u"--trace-services") options.traceServices = true;
    else if (name == u"--exit-with-parent") options.exitWithParent = true;
    else if (name == u"--reuse-pids") options.reusePids = true;
    else if (name == u"--work-profile") options.workProfile = true;
    else if (name == u"--buffers") options.buffers = true;
    else if (name == u"--crash-buffer") options.crashBuffer = options.buffers = true;
    else if (name == u"--wrap-when-away") options.wrapWhenAway = true;
    else if (name == u"--record-logcat") options.recordLogcat = true;
    else if (name == u"--secure-window") options.secureWindow = true;
    else return false;
    return true;
}

}  // namespace

QString usage() {
    return QStringLiteral(
        "usage: vellumfox-device-sim [options]\n"
        "  --port N              listen on 127.0.0.1:N (0: pick a free port)\n"
        "  --model NAME          ro.product.model (default \"Vellum Phone 5\")\n"
        "  --product NAME        ro.product.name\n"
        "  --sdk N               ro.build.version.sdk (default 29)\n"
        "  --log FILE            threadtime log to replay (default: the bundled sample)\n"
        "  --rate N              replayed lines per second (default 50)\n"
        "  --idle-rate N         generated lines per second after the replay (default 5)\n"
        "  --churn SECONDS       an app dies and restarts this often (default 20, 0: never)\n"
        "  --flash-app SECONDS   this often an app starts, logs and crashes within 300 ms under a\n"
        "                        pid \"ps\" never lists (default 0: never)\n"
        "  --reuse-pids          each such app takes the pid of the one before (two apps in turn)\n"
        "  --work-profile        an app in user 10 (com.example.work) that logs\n"
        "  --record FILE         append every input command to FILE\n"
        "  --record-logcat       append every logcat command line to the --record FILE too\n"
        "  --buffers             log buffers: system_server writes to system, logcat takes -b and\n"
        "                        prints the buffer markers (default: one main buffer)\n"
        "  --crash-buffer        once the replay is over an app crashes, its stack trace only in\n"
        "                        the crash buffer (implies --buffers)\n"
        "  --wrap-when-away      plugged back in, the buffer has lost its lines up to halfway\n"
        "                        through the time away\n"
        "  --ps toybox|toolbox   toybox (default): plain \"ps\" lists only the shell's own, \"ps -A\" all;\n"
        "                        toolbox: plain \"ps\" lists all, \"ps -A\" nothing\n"
        "  --legacy              behave like a device before Android 7 (old protocol, CR LF shell,\n"
        "                        toolbox ps and sdk 23 unless --ps / --sdk say otherwise)\n"
        "  --state STATE         device (default), unauthorized, offline, recovery, sideload,\n"
        "                        bootloader or rescue\n"
        "  --unauthorized        the same as --state unauthorized\n"
        "  --no-build-prop-model build.prop without ro.product.model and ro.product.name\n"
        "  --apps N              start N more app processes that log (default 0)\n"
        "  --trace-services      print each service the host opens to stderr, with the time\n"
        "  --connect-server N    ask the ADB server on port N to connect to this device\n"
        "  --screen WxH          screenshot size (default 1080x2400)\n"
        "  --displays N          physical displays, 1 to 4 (default 1); the others are smaller\n"
        "  --secure-window       the app on screen forbids capture: screenshots are black\n"
        "  --capture-delay MS    how long a screenshot takes at least (default 150)\n"
        "  --seed N              seed of the generated log (default 7)\n"
        "  --clock-offset S      the device's clock runs S seconds ahead of the host's (negative:\n"
        "                        behind); log lines carry the device's time\n"
        "  --exit-with-parent    end when the starting process ends\n"
        "SIGUSR1 unplugs the device, SIGUSR2 plugs it back in.\n");
}

std::optional<Options> parseOptions(const QStringList& arguments, QString& error) {
    Options options;
    Given given;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& name = arguments.at(i);
        if (applyFlag(name, options)) continue;
        if (i + 1 >= arguments.size()) {
            error = QStringLiteral("missing value for %1").arg(name);
            return std::nullopt;
        }
        const QString& value = arguments.at(++i);
        switch (applyValue(name, value, options, given)) {
            case Value::Taken:
                break;
            case Value::Bad:
                error = QStringLiteral("bad value for %1: %2").arg(name, value);
                return std::nullopt;
            case Value::Unknown:
                error = QStringLiteral("unknown option %1").arg(name);
                return std::nullopt;
        }
    }
    if (options.legacy && !given.ps) options.toolboxPs = true;
    if (options.legacy && !given.sdk) options.sdk = 23;
    return options;
}

}  // namespace vf::sim
