#include "processes.h"

#include <QRegularExpression>
#include <algorithm>
#include <tuple>

namespace vf::sim {

namespace {

Process fixed(const char* user, int pid, int ppid, quint64 vsz, quint64 rss, const char* wchan, const char* name,
              bool chatty) {
    Process p;
    p.user = QString::fromLatin1(user);
    p.pid = pid;
    p.ppid = ppid;
    p.vsz = vsz;
    p.rss = rss;
    p.wchan = QString::fromLatin1(wchan);
    p.name = QString::fromLatin1(name);
    p.chatty = chatty;
    return p;
}

constexpr int kZygotePid = 611;
constexpr int kUidsPerUser = 100000;
constexpr int kFirstAppId = 10000;
constexpr int kFirstIsolatedId = 99000;
constexpr int kWorkUser = 10;

const QList<QPair<QString, int>>& systemUsers() {
    static const QList<QPair<QString, int>> users{{QStringLiteral("root"), 0},     {QStringLiteral("system"), 1000},
                                                  {QStringLiteral("radio"), 1001}, {QStringLiteral("logd"), 1036},
                                                  {QStringLiteral("shell"), 2000}};
    return users;
}

// The system's packages (installed for every user), and one that shares
// its uid with an app (a shared user id).
const QList<QPair<QString, int>>& otherPackages() {
    static const QList<QPair<QString, int>> packages{{QStringLiteral("android"), 1000},
                                                     {QStringLiteral("com.android.settings"), 1000},
                                                     {QStringLiteral("com.android.phone"), 1001},
                                                     {QStringLiteral("com.android.systemui"), 10052},
                                                     {QStringLiteral("org.example.fieldnotes.widget"), 10121}};
    return packages;
}

}  // namespace

FlashApp flashApp(quint64 run) {
    return run % 2 == 0 ? FlashApp{QStringLiteral("com.example.flash"), 10190}
                        : FlashApp{QStringLiteral("com.example.flash2"), 10191};
}

int uidOfUser(const QString& user) {
    for (const auto& [name, uid] : systemUsers())
        if (name == user) return uid;
    static const QRegularExpression appUser(QStringLiteral("^u(\\d+)_a(\\d+)$"));
    const auto match = appUser.match(user);
    if (!match.hasMatch()) return -1;
    return match.captured(1).toInt() * kUidsPerUser + kFirstAppId + match.captured(2).toInt();
}

QString userOfUid(int uid) {
    const int user = uid / kUidsPerUser, appId = uid % kUidsPerUser;
    if (appId >= kFirstAppId) return QStringLiteral("u%1_a%2").arg(user).arg(appId - kFirstAppId);
    for (const auto& [name, id] : systemUsers())
        if (id == appId) return user == 0 ? name : QStringLiteral("u%1_%2").arg(user).arg(name);
    return QString::number(uid);
}

QString formattedUid(int uid) {
    if (uid < kFirstAppId) return QString::number(uid);
    const int user = uid / kUidsPerUser, appId = uid % kUidsPerUser;
    if (appId >= kFirstIsolatedId) return QStringLiteral("u%1i%2").arg(user).arg(appId - kFirstIsolatedId);
    if (appId >= kFirstAppId) return QStringLiteral("u%1a%2").arg(user).arg(appId - kFirstAppId);
    return QStringLiteral("u%1s%2").arg(user).arg(appId);
}

QByteArray uidColumn(int uid) {
    const QString name = userOfUid(uid);
    if (name.size() <= 5 && uidOfUser(name) == uid) return QString::asprintf("%5s", qUtf8Printable(name)).toUtf8();
    return QString::asprintf("%5d", uid).toUtf8();
}

int Process::uid() const { return uidOfUser(user); }

ProcessTable::ProcessTable(quint32 seed, int extraApps, bool workProfile) : random_(seed) {
    slots_ = {
        fixed("root", 1, 0, 10904, 2100, "SyS_epoll_wait", "init", false),
        fixed("root", 2, 0, 0, 0, "kthreadd", "kthreadd", false),
        fixed("root", 3, 2, 0, 0, "smpboot_thread_fn", "ksoftirqd/0", false),
        fixed("logd", 402, 1, 31220, 6040, "SyS_rt_sigsuspend", "logd", false),
        fixed("system", 415, 1, 12632, 3120, "binder_ioctl", "servicemanager", false),
        fixed("root", 430, 1, 44188, 8912, "SyS_epoll_wait", "vold", true),
        fixed("system", 520, 1, 189772, 24980, "SyS_epoll_wait", "surfaceflinger", true),
        fixed("shell", 560, 1, 20300, 3420, "SyS_epoll_wait", "adbd", false),
        fixed("root", kZygotePid, 1, 4351232, 118340, "poll_schedule_timeout", "zygote64", false),
        fixed("system", 1102, kZygotePid, 4712600, 212880, "SyS_epoll_wait", "system_server", true),
        fixed("radio", 1530, kZygotePid, 4392100, 78220, "SyS_epoll_wait", "com.android.phone", true),
        fixed("u0_a52", 1544, kZygotePid, 4502340, 152100, "SyS_epoll_wait", "com.android.systemui", true),
    };
    systemServer_ = 9;
    startApp(QStringLiteral("com.android.launcher3"), QStringLiteral("u0_a40"));
    startApp(QStringLiteral("org.example.fieldnotes"), QStringLiteral("u0_a121"));
    startApp(QStringLiteral("org.example.fieldnotes:sync"), QStringLiteral("u0_a121"));
    startApp(QStringLiteral("net.example.weatherly"), QStringLiteral("u0_a133"));
    for (int i = 0; i < extraApps; ++i) startApp(QStringLiteral("com.example.bench%1").arg(i, 2, 10, QLatin1Char('0')), {});
    if (workProfile) startApp(QStringLiteral("com.example.work"), userOfUid(kWorkUser * kUidsPerUser + 10150));
}

int ProcessTable::startApp(const QString& name, const QString& user) {
    Process p;
    p.user = user.isEmpty() ? QStringLiteral("u0_a%1").arg(nextAppUid_++) : user;
    p.pid = allocatePid();
    p.ppid = kZygotePid;
    p.vsz = 4300000 + random_.bounded(600000);
    p.rss = 60000 + random_.bounded(90000);
    p.wchan = QStringLiteral("SyS_epoll_wait");
    p.name = name;
    p.app = true;
    slots_.append(p);
    return int(slots_.size()) - 1;
}

int ProcessTable::slotNamed(const QString& name, bool startIfMissing) {
    for (int i = 0; i < slots_.size(); ++i) {
        if (slots_.at(i).name == name) return i;
    }
    if (!startIfMissing) return -1;
    // Processes of one app (name:suffix) share the app's user.
    QString user;
    const int base = slotNamed(name.section(u':', 0, 0), false);
    if (base >= 0) user = slots_.at(base).user;
    return startApp(name, user);
}

int ProcessTable::nextUnnamedSlot() {
    QList<int> chatty;
    for (int i = 0; i < slots_.size(); ++i) {
        if (slots_.at(i).chatty) chatty.append(i);
    }
    return chatty.at(nextUnnamed_++ % chatty.size());
}

std::optional<ProcessTable::Restart> ProcessTable::restartRandomApp() {
    QList<int> apps;
    for (int i = 0; i < slots_.size(); ++i) {
        if (slots_.at(i).app) apps.append(i);
    }
    if (apps.isEmpty()) return std::nullopt;
    const int index = apps.at(int(random_.bounded(apps.size())));
    const Restart restart{index, slots_[index].pid};
    slots_[index].pid = allocatePid();
    return restart;
}

QByteArray ProcessTable::packageListing(const QStringList& args) const {
    const bool withUid = args.contains(QStringLiteral("-U"));
    const qsizetype userAt = args.indexOf(QStringLiteral("--user"));
    const QString userArg = userAt >= 0 ? args.value(userAt + 1) : QStringLiteral("0");
    // Packages and the user they are installed for (-1: every user).
    QList<std::tuple<QString, int, int>> installed;
    for (const auto& [package, uid] : otherPackages()) installed.append({package, uid, -1});
    for (quint64 run = 0; run < 2; ++run) installed.append({flashApp(run).package, flashApp(run).uid, 0});
    for (const Process& p : slots_) {
        const int uid = p.uid();
        const QString package = p.name.section(u':', 0, 0);
        const bool known = std::any_of(installed.cbegin(), installed.cend(),
                                       [&](const auto& entry) { return std::get<0>(entry) == package; });
        if (p.app && !known) installed.append({package, uid % kUidsPerUser, uid / kUidsPerUser});
    }
    const bool work = std::any_of(installed.cbegin(), installed.cend(),
                                  [](const auto& entry) { return std::get<2>(entry) == kWorkUser; });
    QList<int> users;
    if (userArg == u"all") users = work ? QList<int>{0, kWorkUser} : QList<int>{0};
    else users = {userArg.toInt()};
    QByteArray out;
    for (const int user : users) {
        for (const auto& [package, appId, onlyUser] : installed) {
            if (onlyUser >= 0 && onlyUser != user) continue;
            out += "package:" + package.toUtf8();
            if (withUid) out += " uid:" + QByteArray::number(user * kUidsPerUser + appId % kUidsPerUser);
            out += '\n';
        }
    }
    return out;
}

int ProcessTable::adbdPid() const {
    for (const Process& p : slots_) {
        if (p.name == u"adbd") return p.pid;
    }
    return 1;
}

QByteArray ProcessTable::formatRow(const Process& p) {
    return QString::asprintf("%-10s %6d %5d %8llu %6llu %-22s %1d %c %s\n", qUtf8Printable(p.user), p.pid, p.ppid,
                             static_cast<unsigned long long>(p.vsz), static_cast<unsigned long long>(p.rss),
                             qUtf8Printable(p.wchan), 0, p.state, qUtf8Printable(p.name))
        .toUtf8();
}

QByteArray ProcessTable::formatToolboxRow(const Process& p) {
    return QString::asprintf("%-9s %-5d %-5d %-6llu %-5llu %-18s %08x %c %s\n", qUtf8Printable(p.user), p.pid,
                             p.ppid, static_cast<unsigned long long>(p.vsz), static_cast<unsigned long long>(p.rss),
                             qUtf8Printable(p.wchan), 0u, p.state, qUtf8Printable(p.name))
        .toUtf8();
}

QByteArray ProcessTable::psOutput(const QStringList& args, bool toolbox) {
    Process shell = fixed("shell", allocatePid(), adbdPid(), 10712, 2640, "sigsuspend", "sh", false);
    Process ps = fixed("shell", allocatePid(), shell.pid, 10988, 2900, "0", "ps", false);
    ps.state = 'R';
    QList<Process> listed;
    if (toolbox) {
        static const QStringList kOptions{QStringLiteral("-t"), QStringLiteral("-x"), QStringLiteral("-P"),
                                          QStringLiteral("-p"), QStringLiteral("-c"), QStringLiteral("-Z"),
                                          QStringLiteral("-n"), QStringLiteral("--abi")};
        QString nameFilter;
        for (const QString& a : args) {
            if (!kOptions.contains(a) && !a.isEmpty() && !a.at(0).isDigit()) nameFilter = a;
        }
        for (const Process& p : slots_ + QList<Process>{shell, ps}) {
            if (p.name.startsWith(nameFilter)) listed.append(p);
        }
        QByteArray out = "USER      PID   PPID  VSIZE  RSS   WCHAN              PC  NAME\n";
        for (const Process& p : listed) out += formatToolboxRow(p);
        return out;
    }
    if (args.contains(QStringLiteral("-A")) || args.contains(QStringLiteral("-e"))) listed = slots_;
    listed += {shell, ps};
    QByteArray out = QByteArrayLiteral(
        "USER          PID  PPID      VSZ    RSS WCHAN                  ADDR S NAME\n");
    for (const Process& p : listed) out += formatRow(p);
    return out;
}

}  // namespace vf::sim
