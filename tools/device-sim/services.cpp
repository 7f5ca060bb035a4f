// The shell commands the simulated device knows. Each runs on its own
// stream; one-shot commands write their output and finish, logcat follows
// the device's log buffer until the host closes the stream.
#include <QDateTime>
#include <QElapsedTimer>
#include <QPointer>
#include <QSet>
#include <QTimer>

#include "device.h"
#include "shellline.h"
#include "stream.h"

namespace vf::sim {

namespace {

constexpr qsizetype kLogcatBacklog = 64 * 1024;  // queued bytes before logcat waits for the host

// What a logcat command line asks for besides its tags.
struct LogcatRequest {
    bool withUid = false;
    QSet<QByteArray> buffers;  // empty: every buffer (a device without --buffers has only main)
    QByteArray since;          // "-T 'MM-dd HH:mm:ss.SSS'": lines from then on; empty: all
};

class LogcatService final : public QObject {
public:
    LogcatService(Stream* stream, DeviceLog& log, const QString& tags, LogcatRequest request, bool markers)
        : QObject(stream), stream_(stream), log_(log), filter_(tags), request_(std::move(request)),
          markers_(markers), next_(log.firstSeq()) {
        connect(&log_, &DeviceLog::appended, this, &LogcatService::pull);
        connect(stream_, &Stream::drained, this, &LogcatService::pull);
        if (!markers_) stream_->write("--------- beginning of main\n");
        // Lines are in time order: skip to the first one at or after the start time.
        while (!request_.since.isEmpty() && next_ < log_.endSeq() &&
               log_.at(next_).line.left(request_.since.size()) < request_.since)
            ++next_;
        pull();
    }

private:
    void pull() {
        if (next_ < log_.firstSeq()) next_ = log_.firstSeq();  // cleared or overrun
        QByteArray out;
        while (next_ < log_.endSeq() && stream_->pendingBytes() + out.size() < kLogcatBacklog) {
            const LogEntry& entry = log_.at(next_++);
            if (!request_.buffers.isEmpty() && !request_.buffers.contains(entry.buffer)) continue;
            if (!filter_.allows(entry.tag, entry.level)) continue;
            if (markers_ && entry.buffer != current_) {
                out += (begun_.contains(entry.buffer) ? "--------- switch to " : "--------- beginning of ") +
                       entry.buffer + '\n';
                begun_.insert(entry.buffer);
                current_ = entry.buffer;
            }
            out += logcatLine(entry, request_.withUid);
        }
        stream_->write(out);
    }

    Stream* stream_;
    DeviceLog& log_;
    LogTagFilter filter_;
    const LogcatRequest request_;
    const bool markers_;
    QSet<QByteArray> begun_;
    QByteArray current_;
    quint64 next_;
};

// The values of one option ("-b main -b system,crash").
QStringList optionValues(const QStringList& argv, const QString& option) {
    QStringList values;
    for (qsizetype i = 1; i + 1 < argv.size(); ++i)
        if (argv.at(i) == option) values += argv.at(i + 1).split(u',');
    return values;
}

LogcatRequest logcatRequest(const QStringList& argv) {
    LogcatRequest request;
    request.withUid = optionValues(argv, QStringLiteral("-v")).contains(QStringLiteral("uid"));
    for (const QString& name : optionValues(argv, QStringLiteral("-b"))) {
        if (name == u"all") return request.buffers.clear(), request;
        if (name == u"default") request.buffers += {"main", "system", "crash"};
        else request.buffers.insert(name.toUtf8());
    }
    const QStringList since = optionValues(argv, QStringLiteral("-T"));
    if (!since.isEmpty()) request.since = since.last().toUtf8();
    return request;
}

QByteArray runLogcatOnce(Device& device, const QStringList& argv, const QString& tags, bool& streaming) {
    streaming = false;
    const LogcatRequest request = logcatRequest(argv);
    const bool withUid = request.withUid;
    // Before Android 7 logcat knew no uid format: it says so, prints its usage and exits.
    if (withUid && device.options().sdk < 24) {
        return "Invalid parameter uid to -v\n"
               "Usage: logcat [options] [filterspecs]\n"
               "options include:\n"
               "  -v <format>     Sets the log print format, where <format> is:\n\n"
               "                  brief color long printable process raw tag thread\n"
               "                  threadtime time usec\n";
    }
    // Before Android 5 logcat knew no start time and no crash buffer.
    if (device.options().sdk < 21 && argv.contains(QStringLiteral("-T"))) {
        return "logcat: invalid option -- T\n"
               "Unrecognized Option\n"
               "Usage: logcat [options] [filterspecs]\n";
    }
    if (device.options().sdk < 21 && request.buffers.contains("crash"))
        return "Unable to open log device '/dev/log/crash': No such file or directory\n";
    if (argv.contains(QStringLiteral("-c"))) {
        device.log().clear();
        return {};
    }
    if (argv.contains(QStringLiteral("-d"))) {
        const LogTagFilter filter(tags);
        QByteArray out = "--------- beginning of main\n";
        for (quint64 s = device.log().firstSeq(); s < device.log().endSeq(); ++s) {
            const LogEntry& entry = device.log().at(s);
            if (filter.allows(entry.tag, entry.level)) out += logcatLine(entry, withUid);
        }
        return out;
    }
    streaming = true;
    return {};
}

// Filter rules given as words after the options ("logcat -v threadtime MyTag:D *:S").
QString logcatTags(const ShellLine& line) {
    QStringList rules;
    for (qsizetype i = 1; i < line.argv.size(); ++i) {
        const QString& word = line.argv.at(i);
        if (word.startsWith(u'-')) {
            if (word == u"-v" || word == u"-b" || word == u"-T" || word == u"-t") ++i;
            continue;
        }
        rules.append(word);
    }
    return rules.isEmpty() ? line.environment.value(QStringLiteral("ANDROID_LOG_TAGS")) : rules.join(u' ');
}

// "cmd package list packages [-U] [--user U]" and "pm list packages ...":
// Android 7 brought "cmd" and the uids of "-U"; older devices know neither.
QByteArray packageManager(Device& device, const QStringList& argv) {
    const bool viaCmd = argv.value(0) == u"cmd";
    const QStringList args = argv.mid(viaCmd ? 2 : 1);
    const bool modern = device.options().sdk >= 24;
    if (viaCmd && !modern) return "/system/bin/sh: cmd: not found\n";
    if (viaCmd && argv.value(1) != u"package") return "Can't find service: " + argv.value(1).toUtf8() + '\n';
    if (args.value(0) != u"list" || args.value(1) != u"packages") return "Error: unknown command\n";
    if (!modern && args.contains(QStringLiteral("-U")))
        return "Error: Unknown option: -U\nusage: pm list packages [-f] [-d] [-e] [-s] [-3] [-i] [-u] [--user USER_ID] [FILTER]\n";
    return device.processes().packageListing(args.mid(2));
}

// What screencap prints before the PNG on a device with several displays
// when no display is named.
constexpr char kMultipleDisplaysWarning[] =
    "[Warning] Multiple displays were found, but no display id was specified! Defaulting to the first display "
    "found, however this default is not guaranteed to be consistent across captures. A display id should be "
    "specified.\n"
    "A display ID can be specified with the [-d display-id] option.\n"
    "See \"dumpsys SurfaceFlinger --display-id\" for valid display IDs.\n";

// "screencap [-d ID] -p". A phone takes a while to grab and compress its
// screen: the PNG goes out no sooner than the capture delay after the request.
void runScreencap(Stream* stream, Device& device, const QStringList& argv) {
    const qsizetype d = argv.indexOf(QStringLiteral("-d"));
    int display = 0;
    QByteArray png;
    if (d < 0) {
        if (device.options().displays > 1) png = kMultipleDisplaysWarning;
    } else {
        while (display < device.options().displays && Device::displayId(display) != argv.value(d + 1)) ++display;
        if (display == device.options().displays) {
            stream->write("Display Id '" + argv.value(d + 1).toUtf8() + "' is not valid.\n");
            stream->finish();
            return;
        }
    }
    QElapsedTimer timer;
    timer.start();
    png += device.screenshot(display);
    const qint64 wait = qMax<qint64>(0, device.options().captureDelayMs - timer.elapsed());
    QPointer<Stream> guard(stream);
    QTimer::singleShot(int(wait), stream, [guard, png] {
        if (guard == nullptr) return;
        guard->write(png);
        guard->finish();
    });
}

// "dumpsys SurfaceFlinger --display-id" and "dumpsys power" (the lines a
// viewer reads of them).
QByteArray dumpsys(Device& device, const QStringList& args) {
    if (args.value(0) == u"SurfaceFlinger") {
        if (args.value(1) == u"--display-id") return device.displayListing();
        return "Build configuration: [sf PRESENT_TIME_OFFSET=0] [simulated]\n";
    }
    if (args.value(0) == u"display") return device.displayDump();
    if (args.value(0) == u"power") {
        return "POWER MANAGER (dumpsys power)\n\nPower Manager State:\n  mDirty=0x0\n  mWakefulness=Awake\n"
               "  mWakefulnessChanging=false\n  mIsPowered=true\n";
    }
    return "Can't find service: " + args.value(0).toUtf8() + '\n';
}

// "date" on the device's clock: "+%s.%N" (seconds and nanoseconds since the
// epoch, what the viewer measures the clock by) or the plain form.
QByteArray deviceDate(const Device& device, const QString& format) {
    const QDateTime now = QDateTime::currentDateTime().addSecs(device.options().clockOffsetSeconds);
    if (format == u"+%s.%N") {
        const qint64 ms = now.toMSecsSinceEpoch();
        return QByteArray::number(ms / 1000) + '.' + QByteArray::number(ms % 1000 * 1000000).rightJustified(9, '0') +
               '\n';
    }
    return now.toString(QStringLiteral("ddd MMM d HH:mm:ss yyyy")).toUtf8() + '\n';
}

// Runs the statement of `line` whose words are `line.argv`. Returns true when
// it became a stream that outlives the call (logcat following the log).
bool runCommand(const ShellLine& line, const QString& command, Stream* stream, Device& device, QByteArray& out) {
    const QString program = line.argv.value(0);
    if (program.isEmpty()) {
        // An interactive shell is not simulated.
    } else if (program == u"cat") {
        for (qsizetype i = 1; i < line.argv.size(); ++i) {
            if (line.argv.at(i) == u"/system/build.prop") out += device.buildProp();
            else out += (u"cat: " + line.argv.at(i) + u": No such file or directory\n").toUtf8();
        }
    } else if (program == u"getprop") {
        out = device.getprop(line.argv.value(1));
    } else if (program == u"ps") {
        out = device.processes().psOutput(line.argv.mid(1), device.options().toolboxPs);
    } else if (program == u"logcat") {
        bool streaming = false;
        const QString tags = logcatTags(line);
        out = runLogcatOnce(device, line.argv, tags, streaming);
        if (device.options().recordLogcat) device.record(line.argv.join(u' '));
        if (streaming) {
            new LogcatService(stream, device.log(), tags, logcatRequest(line.argv), device.options().buffers);
            return true;
        }
    } else if (program == u"cmd" || program == u"pm") {
        out = packageManager(device, line.argv);
    } else if (program == u"screencap") {
        if (line.argv.contains(QStringLiteral("-p"))) {
            runScreencap(stream, device, line.argv);
            return true;
        }
        out = QByteArray("screencap: only -p is simulated\n");
    } else if (program == u"dumpsys") {
        out = dumpsys(device, line.argv.mid(1));
    } else if (program == u"input") {
        out = device.input(line.argv, command);
    } else if (program == u"date") {
        out = deviceDate(device, line.argv.value(1));
    } else if (program == u"echo") {
        out = (line.argv.mid(1).join(u' ') + u'\n').toUtf8();
    } else {
        out = (u"/system/bin/sh: " + program + u": not found\n").toUtf8();
    }
    return false;
}

// "a; b; c": each command in turn, one output; a streaming command ends the line.
void runShell(const QString& command, Stream* stream, Device& device) {
    const ShellLine parsed = parseShellLine(command);
    for (const QStringList& words : parsed.commands) {
        ShellLine one = parsed;
        one.argv = words;
        QByteArray out;
        if (runCommand(one, command, stream, device, out)) return;
        if (!out.isEmpty()) stream->write(out);
    }
    stream->finish();
}

}  // namespace

bool startService(const QByteArray& name, Stream* stream, Device& device) {
    if (name.startsWith("shell:")) {
        runShell(QString::fromUtf8(name.mid(6)), stream, device);
        return true;
    }
    return false;
}

}  // namespace vf::sim
