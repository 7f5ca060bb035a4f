#include "devicelog.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>

namespace vf::sim {

namespace {

constexpr size_t kCapacity = 20000;  // about what a device's main buffer holds
constexpr int kTickMs = 20;

const QRegularExpression& threadtimePattern() {
    static const QRegularExpression pattern(QStringLiteral(
        "^\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d+\\s+(\\d+)\\s+(\\d+)\\s+([VDIWEFA])\\s+([^:]*?)\\s*: ?(.*)$"));
    return pattern;
}

const QRegularExpression& startProcPattern() {
    static const QRegularExpression pattern(QStringLiteral("^Start proc (\\d+):([^/\\s]+)/"));
    return pattern;
}

}  // namespace

QList<ReplayLine> parseThreadtime(const QByteArray& text) {
    QList<ReplayLine> lines;
    for (QByteArray raw : text.split('\n')) {
        if (raw.endsWith('\r')) raw.chop(1);
        const auto match = threadtimePattern().match(QString::fromUtf8(raw));
        if (!match.hasMatch()) continue;
        ReplayLine line;
        line.pid = match.captured(1).toInt();
        line.tid = match.captured(2).toInt();
        line.level = match.captured(3).at(0).toLatin1();
        line.tag = match.captured(4);
        line.message = match.captured(5);
        lines.append(line);
    }
    return lines;
}

QByteArray logcatLine(const LogEntry& entry, bool withUid) {
    // "MM-dd HH:mm:ss.zzz " and then the pid; the uid goes between.
    constexpr qsizetype kTimeColumns = 19;
    if (!withUid) return entry.line;
    return entry.line.left(kTimeColumns) + uidColumn(entry.uid) + ' ' + entry.line.mid(kTimeColumns);
}

QString startProcText(int sdk, int pid, const QString& process, int uid, const QString& hostingType,
                      const QString& component) {
    if (sdk < 21) {
        const int sharedGid = 50000 + uid % 100000 - 10000;
        return QStringLiteral("Start proc %1 for %2 %3: pid=%4 uid=%5 gids={%6, 3003}")
            .arg(process, hostingType, component)
            .arg(pid)
            .arg(uid)
            .arg(sharedGid);
    }
    QString hosting = component;
    if (sdk >= 29) {
        // ComponentName.toShortString(): the class in full, in braces.
        const QString package = component.section(u'/', 0, 0);
        QString cls = component.section(u'/', 1);
        if (cls.startsWith(u'.')) cls.prepend(package);
        hosting = u'{' + package + u'/' + cls + u'}';
    }
    return QStringLiteral("Start proc %1:%2/%3 for %4 %5").arg(pid).arg(process, formattedUid(uid), hostingType, hosting);
}

QByteArray formatThreadtime(const QDateTime& time, int pid, int tid, char level, const QString& tag,
                            const QString& message) {
    const QString stamp = time.toString(QStringLiteral("MM-dd HH:mm:ss.zzz"));
    return QString::asprintf("%s %5d %5d %c %-8s: %s\n", qUtf8Printable(stamp), pid, tid, level,
                             qUtf8Printable(tag), qUtf8Printable(message))
        .toUtf8();
}

DeviceLog::DeviceLog(const Options& options, ProcessTable& processes, QObject* parent)
    : QObject(parent), options_(options), processes_(processes), random_(options.seed) {
    timer_.setInterval(kTickMs);
    connect(&timer_, &QTimer::timeout, this, &DeviceLog::tick);
    connect(&churn_, &QTimer::timeout, this, &DeviceLog::restartApp);
    connect(&flash_, &QTimer::timeout, this, &DeviceLog::runFlashApp);
}

void DeviceLog::start(QList<ReplayLine> replay) {
    replay_ = std::move(replay);
    clock_.start();
    timer_.start();
    if (options_.churnSeconds > 0) churn_.start(options_.churnSeconds * 1000);
    if (options_.flashSeconds > 0) flash_.start(options_.flashSeconds * 1000);
}

void DeviceLog::clear() {
    entries_.clear();
}

void DeviceLog::dropBefore(quint64 seq) {
    while (!entries_.empty() && firstSeq() < seq) entries_.pop_front();
}

void DeviceLog::tick() {
    const bool replaying = replayPos_ < replay_.size();
    const double rate = replaying ? options_.rate : options_.idleRate;
    const qint64 due = qint64(double(clock_.elapsed() - phaseStartMs_) * rate / 1000.0);
    const quint64 before = endSeq_;
    while (written_ < due) {
        if (replaying && replayPos_ >= replay_.size()) {
            // The file is over: the idle phase counts from here.
            phaseStartMs_ = clock_.elapsed();
            written_ = 0;
            if (options_.crashBuffer && !crashedInCrashBuffer_) crashInCrashBuffer();
            break;
        }
        if (replaying) replayOne();
        else generateOne();
        ++written_;
    }
    if (endSeq_ != before) Q_EMIT appended();
}

void DeviceLog::append(int slot, int tid, char level, const QString& tag, const QString& message) {
    const Process& process = processes_.slot(slot);
    appendAs(process.pid, process.uid(), tid, level, tag, message);
}

void DeviceLog::appendAs(int pid, int uid, int tid, char level, const QString& tag, const QString& message,
                         const QByteArray& buffer) {
    const QDateTime now = QDateTime::currentDateTime().addSecs(options_.clockOffsetSeconds);
    entries_.push_back({level, tag, formatThreadtime(now, pid, tid, level, tag, message), uid, buffer});
    ++endSeq_;
    if (entries_.size() > kCapacity) entries_.pop_front();
}

void DeviceLog::appendActivityManager(const QString& message) {
    const int server = processes_.systemServerSlot();
    const Process& process = processes_.slot(server);
    appendAs(process.pid, process.uid(), process.pid + 31, 'I', QStringLiteral("ActivityManager"), message,
             options_.buffers ? "system" : "main");
}

void DeviceLog::crashInCrashBuffer() {
    crashedInCrashBuffer_ = true;
    const Process& app = processes_.slot(processes_.nextUnnamedSlot());
    const QString tag = QStringLiteral("AndroidRuntime");
    const auto crash = [&](const QString& message) { appendAs(app.pid, app.uid(), app.pid, 'E', tag, message, "crash"); };
    crash(QStringLiteral("FATAL EXCEPTION: main"));
    crash(QStringLiteral("Process: %1, PID: %2").arg(app.name).arg(app.pid));
    crash(QStringLiteral("java.lang.IllegalStateException: only in the crash buffer"));
    crash(QStringLiteral("\tat %1.MainActivity.onResume(MainActivity.java:77)").arg(app.name.section(u':', 0, 0)));
}

int DeviceLog::slotForReplayPid(const ReplayLine& line) {
    const auto start = startProcPattern().match(line.message);
    if (start.hasMatch()) {
        const int slot = processes_.slotNamed(start.captured(2), true);
        // The file started this app before: it died since, so it gets a new pid.
        if (std::find(slotOfFilePid_.cbegin(), slotOfFilePid_.cend(), slot) != slotOfFilePid_.cend())
            processes_.restart(slot);
        slotOfFilePid_.insert(start.captured(1).toInt(), slot);
    }
    auto it = slotOfFilePid_.constFind(line.pid);
    if (it != slotOfFilePid_.constEnd()) return *it;
    static const QStringList systemTags = {QStringLiteral("ActivityManager"), QStringLiteral("WindowManager"),
                                           QStringLiteral("PowerManagerService"), QStringLiteral("PackageManager")};
    const int slot = systemTags.contains(line.tag) ? processes_.systemServerSlot() : processes_.nextUnnamedSlot();
    slotOfFilePid_.insert(line.pid, slot);
    return slot;
}

int DeviceLog::mappedTid(int slot, const ReplayLine& line) const {
    const int pid = processes_.slot(slot).pid;
    if (line.tid == line.pid) return pid;
    // Keep distinct threads distinct, close to their process's pid.
    return pid + 1 + int(uint(line.tid * 2654435761u) % 97u);
}

void DeviceLog::replayOne() {
    const ReplayLine& line = replay_.at(replayPos_++);
    const int slot = slotForReplayPid(line);
    QString message = line.message;
    // Pids quoted in the system's own messages follow the mapping too.
    static const QRegularExpression quotedPid(QStringLiteral("^(?:Start proc |.*\\(pid |.*, PID: )(\\d+)"));
    const auto quoted = quotedPid.match(message);
    if (quoted.hasMatch()) {
        const auto mapped = slotOfFilePid_.constFind(quoted.captured(1).toInt());
        if (mapped != slotOfFilePid_.constEnd()) {
            message.replace(quoted.capturedStart(1), quoted.capturedLength(1),
                            QString::number(processes_.slot(*mapped).pid));
        }
    }
    // Devices before Android 5 wrote start lines in their own form.
    static const QRegularExpression newStart(QStringLiteral("^Start proc (\\d+):([^/\\s]+)/\\S+ for (\\S+) ?(.*)$"));
    const auto start = options_.sdk < 21 ? newStart.match(message) : QRegularExpressionMatch();
    if (start.hasMatch()) {
        const int started = processes_.slotNamed(start.captured(2), false);
        const int uid = started >= 0 ? processes_.slot(started).uid() : 10000;
        message = startProcText(options_.sdk, start.captured(1).toInt(), start.captured(2), uid, start.captured(3),
                                start.captured(4));
    }
    append(slot, mappedTid(slot, line), line.level, line.tag, message);
}

void DeviceLog::generateOne() {
    ++generated_;
    int slot = processes_.nextUnnamedSlot();
    const Process& p = processes_.slot(slot);
    const int tid = p.pid + int(random_.bounded(4));
    const quint64 n = generated_;
    if (p.name.startsWith(u"org.example.fieldnotes")) {
        static const char levels[] = "VDDIIWE";
        const char level = levels[random_.bounded(7)];
        switch (level) {
            case 'V': append(slot, tid, level, QStringLiteral("NoteCache"), QStringLiteral("hit key=note/%1").arg(n % 40)); break;
            case 'D': append(slot, tid, level, QStringLiteral("SyncWorker"),
                             QStringLiteral("payload {\"op\":\"push\",\"seq\":%1,\"notes\":[%2,%3]}").arg(n).arg(n % 13).arg(n % 29)); break;
            case 'I': append(slot, tid, level, QStringLiteral("FieldNotes"), QStringLiteral("Saved note %1 (%2 bytes)").arg(n % 40).arg(100 + n % 900)); break;
            case 'W': append(slot, tid, level, QStringLiteral("SyncWorker"), QStringLiteral("Retrying in %1 ms").arg(250 * (1 + n % 8))); break;
            default: append(slot, tid, level, QStringLiteral("SyncWorker"), QStringLiteral("Upload failed: HTTP 503 (attempt %1)").arg(1 + n % 5)); break;
        }
        return;
    }
    if (p.name == u"system_server") {
        append(slot, tid, 'D', QStringLiteral("PowerManagerService"),
               QStringLiteral("acquire lock=%1, flags=0x1, tag=\"View Lock\", name=com.android.systemui, ws=null")
                   .arg(200000000 + n * 7919 % 99999999));
        return;
    }
    static const char* const chatter[] = {"onDraw frame=%1", "heartbeat %1", "state ok (%1)", "tick %1"};
    const QString tag = p.name.section(u'.', -1).section(u':', 0, 0);
    append(slot, tid, n % 11 == 0 ? 'W' : 'D', tag.left(23),
           QString::fromLatin1(chatter[n % 4]).arg(n));
}

void DeviceLog::restartApp() {
    const auto restart = processes_.restartRandomApp();
    if (!restart) return;
    const Process& app = processes_.slot(restart->slot);
    appendActivityManager(QStringLiteral("Process %1 (pid %2) has died").arg(app.name).arg(restart->oldPid));
    const QString component = app.name.section(u':', 0, 0) + QStringLiteral("/.MainService");
    appendActivityManager(startProcText(options_.sdk, app.pid, app.name, app.uid(), QStringLiteral("service"), component));
    Q_EMIT appended();
}

// An app that starts, writes a few lines and crashes within 300 ms, as a
// developer's app does on a bad build: its pid is never in "ps".
void DeviceLog::runFlashApp() {
    const FlashApp app = flashApp(flashRuns_);
    const quint64 run = flashRuns_++;
    const int pid = options_.reusePids && lastFlashPid_ != 0 ? lastFlashPid_ : processes_.freshPid();
    lastFlashPid_ = pid;
    const int sdk = options_.sdk;
    appendActivityManager(startProcText(sdk, pid, app.package, app.uid, sdk >= 29 ? QStringLiteral("pre-top-activity")
                                                                                  : QStringLiteral("activity"),
                                        app.package + QStringLiteral("/.MainActivity")));
    Q_EMIT appended();
    const auto later = [this](int ms, auto write) {
        QTimer::singleShot(ms, this, [this, write] {
            write();
            Q_EMIT appended();
        });
    };
    later(40, [=, this] { appendAs(pid, app.uid, pid, 'D', QStringLiteral("Flash"), QStringLiteral("onCreate run %1").arg(run)); });
    later(80, [=, this] {
        appendAs(pid, app.uid, pid + 1, 'I', QStringLiteral("Flash"), QStringLiteral("loading settings for run %1").arg(run));
    });
    later(150, [=, this] {
        const QString tag = QStringLiteral("AndroidRuntime");
        appendAs(pid, app.uid, pid, 'E', tag, QStringLiteral("FATAL EXCEPTION: main"));
        appendAs(pid, app.uid, pid, 'E', tag, QStringLiteral("Process: %1, PID: %2").arg(app.package).arg(pid));
        appendAs(pid, app.uid, pid, 'E', tag, QStringLiteral("java.lang.IllegalStateException: flash run %1").arg(run));
        appendAs(pid, app.uid, pid, 'E', tag, QStringLiteral("\tat %1.MainActivity.onCreate(MainActivity.java:42)").arg(app.package));
        appendAs(pid, app.uid, pid, 'E', tag, QStringLiteral("\tat android.app.Activity.performCreate(Activity.java:8000)"));
    });
    later(250, [=, this] {
        appendActivityManager(QStringLiteral("Process %1 (pid %2) has died%3")
                                  .arg(app.package)
                                  .arg(pid)
                                  .arg(sdk >= 24 ? QStringLiteral(": fg  TOP") : QStringLiteral(".")));
    });
}

}  // namespace vf::sim
