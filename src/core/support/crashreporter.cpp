#include "core/support/crashreporter.h"

#include "core/support/buildinfo.h"
#include "core/support/logger.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <execinfo.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <mutex>
#include <unistd.h>

namespace vf {

namespace {

// Everything the handler touches is static storage prepared in advance: in
// a signal handler only open/write/close and friends are allowed.
constexpr int kSignals[] = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL};
constexpr std::size_t kRingLines = 40;
constexpr std::size_t kRingLineBytes = 512;
constexpr char kReportPrefix[] = "crash-";
constexpr char kReportSuffix[] = ".txt";
constexpr char kAcknowledgedMarker[] = ".crash-acknowledged";

struct RingLine {
    std::atomic<std::size_t> length{0};
    char text[kRingLineBytes];
};
RingLine gRing[kRingLines];
std::atomic<std::uint64_t> gRingNext{0};

char gReportDir[PATH_MAX] = {};
char gBuildLine[256] = {};
struct sigaction gPrevious[std::size(kSignals)];
std::atomic<bool> gInstalled{false};
alignas(16) char gAltStack[64 * 1024];

std::mutex gDirMutex;
QString gDir;

void writeText(int fd, const char* text, std::size_t length) {
    while (length > 0) {
        const ssize_t n = ::write(fd, text, length);
        if (n <= 0) return;
        text += n;
        length -= std::size_t(n);
    }
}

void writeText(int fd, const char* text) {
    writeText(fd, text, std::strlen(text));
}

// Decimal digits of `value` into `out` (room for 21 bytes), async-signal-safe.
const char* decimal(unsigned long long value, char* out) {
    char* end = out + 20;
    *end = '\0';
    char* p = end;
    do {
        *--p = char('0' + value % 10);
        value /= 10;
    } while (value != 0);
    return p;
}

const char* signalName(int sig) {
    switch (sig) {
    case SIGSEGV: return "SIGSEGV";
    case SIGABRT: return "SIGABRT";
    case SIGBUS: return "SIGBUS";
    case SIGFPE: return "SIGFPE";
    case SIGILL: return "SIGILL";
    default: return "signal";
    }
}

void writeRecentLines(int fd) {
    const std::uint64_t next = gRingNext.load();
    const std::uint64_t first = next > kRingLines ? next - kRingLines : 0;
    for (std::uint64_t i = first; i < next; ++i) {
        const RingLine& line = gRing[i % kRingLines];
        writeText(fd, line.text, std::min(line.length.load(), kRingLineBytes));
    }
}

void onFatalSignal(int sig) {
    char digits[21];
    char path[PATH_MAX + 64] = {};
    std::size_t used = 0;
    auto append = [&](const char* text) {
        for (; *text != '\0' && used + 1 < sizeof(path); ++text) path[used++] = *text;
    };
    append(gReportDir);
    append("/");
    append(kReportPrefix);
    append(decimal((unsigned long long)std::time(nullptr), digits));
    append(kReportSuffix);

    const int fd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd >= 0) {
        writeText(fd, "Signal: ");
        writeText(fd, signalName(sig));
        writeText(fd, " (");
        writeText(fd, decimal((unsigned long long)sig, digits));
        writeText(fd, ")\n");
        writeText(fd, gBuildLine);
        writeText(fd, "\nBacktrace:\n");
        void* frames[64];
        backtrace_symbols_fd(frames, backtrace(frames, 64), fd);
        writeText(fd, "\nRecent diagnostics:\n");
        writeRecentLines(fd);
        ::close(fd);
        writeText(STDERR_FILENO, "fatal signal, crash report written to ");
        writeText(STDERR_FILENO, path);
        writeText(STDERR_FILENO, "\n");
    }
    // Die of the same signal with the default action, so that the exit
    // status and any core dump look as they would without us.
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

QString reportDirectory() {
    std::lock_guard lock(gDirMutex);
    return gDir.isEmpty() ? Logger::logDirectory() : gDir;
}

// Reports of `dir` with their time stamps, newest first.
std::vector<std::pair<qint64, QString>> reportsIn(const QString& dir) {
    std::vector<std::pair<qint64, QString>> reports;
    const QString prefix = QString::fromLatin1(kReportPrefix);
    const QString suffix = QString::fromLatin1(kReportSuffix);
    const QStringList names = QDir(dir).entryList({prefix + u'*' + suffix}, QDir::Files);
    for (const QString& name : names) {
        bool ok = false;
        const qint64 epoch = name.mid(prefix.size(), name.size() - prefix.size() - suffix.size()).toLongLong(&ok);
        if (ok) reports.emplace_back(epoch, QDir(dir).filePath(name));
    }
    std::sort(reports.begin(), reports.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    return reports;
}

qint64 acknowledgedEpoch(const QString& dir) {
    QFile marker(QDir(dir).filePath(QString::fromLatin1(kAcknowledgedMarker)));
    if (!marker.open(QIODevice::ReadOnly)) return -1;
    bool ok = false;
    const qint64 epoch = marker.readAll().trimmed().toLongLong(&ok);
    return ok ? epoch : -1;
}

}  // namespace

void CrashReporter::install(const QString& logDir) {
    QDir().mkpath(logDir);
    {
        std::lock_guard lock(gDirMutex);
        gDir = logDir;
    }
    const QByteArray dir = QFile::encodeName(QDir(logDir).absolutePath());
    std::memset(gReportDir, 0, sizeof(gReportDir));
    std::memcpy(gReportDir, dir.constData(), std::min<std::size_t>(std::size_t(dir.size()), sizeof(gReportDir) - 1));
    const auto built = fmt::format_to_n(gBuildLine, sizeof(gBuildLine) - 1, "Version: {} ({}), built {}, build {}\n",
                                        build::kVersion, build::kGitHash, build::kBuildDate, build::kBuildNumber);
    *built.out = '\0';
    if (gInstalled.exchange(true)) return;

    // backtrace() loads its unwinder on first use, which must not happen
    // inside the handler.
    void* warmUp[1];
    backtrace(warmUp, 1);

    stack_t alt{};
    alt.ss_sp = gAltStack;
    alt.ss_size = sizeof(gAltStack);
    sigaltstack(&alt, nullptr);  // lets a stack overflow on this thread still be reported

    struct sigaction action{};
    action.sa_handler = onFatalSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND | SA_ONSTACK;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &action, &gPrevious[i]);
}

void CrashReporter::uninstall() {
    if (!gInstalled.exchange(false)) return;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &gPrevious[i], nullptr);
}

bool CrashReporter::isInstalled() {
    return gInstalled.load();
}

QString CrashReporter::pendingReport() {
    const QString dir = reportDirectory();
    const auto reports = reportsIn(dir);
    if (reports.empty() || reports.front().first <= acknowledgedEpoch(dir)) return {};
    return reports.front().second;
}

void CrashReporter::acknowledge() {
    const QString dir = reportDirectory();
    const auto reports = reportsIn(dir);
    if (reports.empty()) return;
    QSaveFile marker(QDir(dir).filePath(QString::fromLatin1(kAcknowledgedMarker)));
    if (!marker.open(QIODevice::WriteOnly)) return;
    marker.write(QByteArray::number(reports.front().first) + '\n');
    marker.commit();
}

void CrashReporter::noteLine(std::string_view line) {
    // Claim the slot first: a handler that interrupts the copy sees an empty
    // slot rather than half of a line under an old length.
    RingLine& slot = gRing[gRingNext.fetch_add(1) % kRingLines];
    slot.length.store(0);
    std::size_t length = std::min(line.size(), kRingLineBytes - 1);
    std::memcpy(slot.text, line.data(), length);
    if (length == 0 || slot.text[length - 1] != '\n') slot.text[length++] = '\n';
    slot.length.store(length);
}

}  // namespace vf
