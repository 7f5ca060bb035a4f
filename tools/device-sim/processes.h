#pragma once
// The simulated device's processes. Each long-lived process sits in a slot
// whose pid changes when the app dies and starts again; log lines are
// written by slots, so a restarted app logs under its new pid.

#include <QByteArray>
#include <QList>
#include <QRandomGenerator>
#include <QString>
#include <optional>

namespace vf::sim {

struct Process {
    QString user;  // "u0_a121", "system", ...
    int pid = 0;
    int ppid = 0;
    quint64 vsz = 0;
    quint64 rss = 0;
    QString wchan;
    char state = 'S';
    QString name;
    bool app = false;    // an application (may die and restart)
    bool chatty = true;  // writes log lines of its own

    int uid() const;
};

// The apps that start, log and crash within moments (--flash-app), in turn:
// installed, never listed by "ps".
struct FlashApp {
    QString package;
    int uid = 0;
};
FlashApp flashApp(quint64 run);

// The uid of a user name as the C library names users: "root", "system",
// "shell" ..., "u10_a150" (user 10, app 10150). -1 for a name it does not know.
int uidOfUser(const QString& user);
// "u10_a150" for the uid 1010150; system users by name.
QString userOfUid(int uid);
// The uid as the system formats it in start lines: "u0a121", "1000".
QString formattedUid(int uid);
// The uid column of "logcat -v uid": the user's name when it has at most
// five characters, else the number, right-aligned in five.
QByteArray uidColumn(int uid);

class ProcessTable final {
public:
    // `extraApps` more apps (com.example.benchNN) beside the usual ones;
    // `workProfile`: an app in user 10 besides.
    explicit ProcessTable(quint32 seed, int extraApps = 0, bool workProfile = false);

    int slotCount() const { return int(slots_.size()); }
    const Process& slot(int index) const { return slots_.at(index); }

    // The slot of the named process, or -1. With `startIfMissing` an unknown
    // name starts as a new app.
    int slotNamed(const QString& name, bool startIfMissing);

    // Slots handed out in turn to the pids of a replayed log that no
    // "Start proc" line has named.
    int nextUnnamedSlot();

    struct Restart {
        int slot;
        int oldPid;
    };
    // Kills one app and starts it again under a new pid.
    std::optional<Restart> restartRandomApp();
    // Gives the slot's process a new pid (it died and was started again).
    void restart(int slot) { slots_[slot].pid = allocatePid(); }

    // The output of "ps" with `args`. Every call starts a new shell and a new
    // ps process, as on a device. Toybox (Android 8+) lists only these two
    // unless asked with -A or -e; toolbox (up to 7.1) lists every process,
    // and takes a word that is not one of its options as a name to look for
    // (so "ps -A" lists nothing).
    QByteArray psOutput(const QStringList& args, bool toolbox);

    // The package manager's "list packages" with `args` ("-U", "--user
    // all" or "--user N"): the packages of every app and a few of the
    // system's, one of them sharing its uid with another.
    QByteArray packageListing(const QStringList& args) const;

    // A pid no process has, for a process that never shows in "ps".
    int freshPid() { return allocatePid(); }

    int systemServerSlot() const { return systemServer_; }
    int adbdPid() const;

private:
    int startApp(const QString& name, const QString& user);
    int allocatePid() { return nextPid_++; }
    static QByteArray formatRow(const Process& p);
    static QByteArray formatToolboxRow(const Process& p);

    QList<Process> slots_;
    QRandomGenerator random_;
    int nextPid_ = 2000;
    int nextUnnamed_ = 0;
    int nextAppUid_ = 120;
    int systemServer_ = 0;
};

}  // namespace vf::sim
