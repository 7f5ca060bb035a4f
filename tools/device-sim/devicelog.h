#pragma once
// The simulated device's log buffer. A replayed threadtime file is written
// into it at a fixed rate, with the times of now and the pids of the
// simulated processes; after the file, generated lines follow at an idle
// rate, and apps die and restart now and then.

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QRandomGenerator>
#include <QString>
#include <QTimer>
#include <deque>

#include "options.h"
#include "processes.h"

namespace vf::sim {

struct LogEntry {
    char level = 'I';
    QString tag;
    QByteArray line;  // threadtime text with its LF
    int uid = 0;      // of the process that wrote it
    QByteArray buffer = "main";
};

// The entry as "logcat -v threadtime" prints it, with the uid column after
// the time when `withUid` ("-v uid").
QByteArray logcatLine(const LogEntry& entry, bool withUid);

// ActivityManager's start line as the device's Android version writes it:
// "Start proc PID:NAME/u0a190 for TYPE {PKG/PKG.Main}" (Android 10 and
// later), "... for TYPE PKG/.Main" (5-9), "Start proc NAME for TYPE
// PKG/.Main: pid=PID uid=UID gids={...}" (before 5). `component` is the
// short form ("PKG/.Main").
QString startProcText(int sdk, int pid, const QString& process, int uid, const QString& hostingType,
                      const QString& component);

// One line of a threadtime file, before it is given a time and a process.
struct ReplayLine {
    int pid = 0;
    int tid = 0;
    char level = 'I';
    QString tag;
    QString message;
};

// The threadtime lines of `text` (CR LF or LF); other lines are skipped.
QList<ReplayLine> parseThreadtime(const QByteArray& text);

// "MM-dd HH:mm:ss.zzz  PID  TID L TAG     : message\n"
QByteArray formatThreadtime(const QDateTime& time, int pid, int tid, char level, const QString& tag,
                            const QString& message);

class DeviceLog final : public QObject {
    Q_OBJECT
public:
    DeviceLog(const Options& options, ProcessTable& processes, QObject* parent = nullptr);

    // Starts writing lines; `replay` is the parsed file (may be empty).
    void start(QList<ReplayLine> replay);

    // "logcat -c": forgets every line written so far.
    void clear();
    // The buffer wrapped: the lines before `seq` are gone.
    void dropBefore(quint64 seq);

    // Sequence numbers: lines [firstSeq, endSeq) are in the buffer.
    quint64 firstSeq() const { return endSeq_ - entries_.size(); }
    quint64 endSeq() const { return endSeq_; }
    const LogEntry& at(quint64 seq) const { return entries_.at(size_t(seq - firstSeq())); }

Q_SIGNALS:
    void appended();

private:
    void tick();
    void replayOne();
    void generateOne();
    void restartApp();
    void runFlashApp();
    void append(int slot, int tid, char level, const QString& tag, const QString& message);
    void appendAs(int pid, int uid, int tid, char level, const QString& tag, const QString& message,
                  const QByteArray& buffer = "main");
    // An app's crash whose stack trace goes only to the crash buffer.
    void crashInCrashBuffer();
    // A line of system_server's ActivityManager.
    void appendActivityManager(const QString& message);
    int slotForReplayPid(const ReplayLine& line);
    int mappedTid(int slot, const ReplayLine& line) const;

    const Options& options_;
    ProcessTable& processes_;
    QList<ReplayLine> replay_;
    qsizetype replayPos_ = 0;
    QHash<int, int> slotOfFilePid_;
    std::deque<LogEntry> entries_;
    quint64 endSeq_ = 0;
    QTimer timer_;
    QTimer churn_;
    QTimer flash_;
    quint64 flashRuns_ = 0;
    int lastFlashPid_ = 0;
    QElapsedTimer clock_;
    qint64 written_ = 0;      // lines written in the current phase
    qint64 phaseStartMs_ = 0;
    QRandomGenerator random_;
    quint64 generated_ = 0;
    bool crashedInCrashBuffer_ = false;
};

}  // namespace vf::sim
