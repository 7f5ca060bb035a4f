#include "core/support/logger.h"

#include "core/support/logsinks.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <shared_mutex>
#include <spdlog/async_logger.h>
#include <spdlog/details/os.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/ansicolor_sink.h>
#include <vector>

namespace vf {

namespace {

constexpr std::uint64_t kMaxFileBytes = 524288;
constexpr std::chrono::seconds kRollingFrequency{86400};
constexpr int kArchivedFiles = 1;
constexpr std::size_t kQueueSize = 8192;
constexpr std::chrono::milliseconds kFlushWait{5000};

std::mutex gDirectoryMutex;
QString gDirectoryOverride;

spdlog::level::level_enum levelOf(LogFlag flag) {
    switch (flag) {
    case LogFlag::Error: return spdlog::level::err;
    case LogFlag::Warning: return spdlog::level::warn;
    case LogFlag::Info: return spdlog::level::info;
    case LogFlag::Debug: return spdlog::level::debug;
    case LogFlag::Verbose: return spdlog::level::trace;
    }
    return spdlog::level::debug;
}

std::string_view fileBaseName(std::string_view path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
    const std::size_t dot = path.find_last_of('.');
    if (dot != std::string_view::npos && dot > 0) path = path.substr(0, dot);
    return path;
}

char levelLetter(int level) {
    switch (level) {
    case kLogLevelError: return 'E';
    case kLogLevelWarning: return 'W';
    case kLogLevelInfo: return 'I';
    case kLogLevelDebug: return 'D';
    default: return 'V';
    }
}

}  // namespace

struct Logger::Impl {
    // Writers hold it shared while they hand a line over; register and
    // shutdown hold it exclusively while they swap the outputs.
    mutable std::shared_mutex mutex;
    std::atomic<bool> enabled{false};
    std::atomic<std::uint64_t> mainThreadId{0};
    std::shared_ptr<spdlog::details::thread_pool> pool;
    std::shared_ptr<spdlog::async_logger> logger;
    std::shared_ptr<RollingFileSink> fileSink;
    std::shared_ptr<FlushBarrierSink> barrier;
    std::vector<spdlog::sink_ptr> sinks;
    QString filePath;
    std::mutex flushMutex;  // one flush barrier at a time
    bool exitHookInstalled = false;
};

Logger::Logger() : d(std::make_unique<Impl>()) {}
Logger::~Logger() = default;

Logger& Logger::getInstance() {
    // Never destroyed: lines may still be written while static objects of
    // other modules are torn down. The outputs are closed by the exit hook.
    static Logger* instance = new Logger();
    return *instance;
}

void Logger::registerLogger() {
    {
        std::unique_lock lock(d->mutex);
        if (d->logger) return;

        std::vector<spdlog::sink_ptr> sinks;
        try {
            d->fileSink = std::make_shared<RollingFileSink>(logDirectory(), kMaxFileBytes, kRollingFrequency,
                                                            kArchivedFiles);
            d->fileSink->set_level(spdlog::level::debug);
            d->filePath = d->fileSink->currentPath();
            sinks.push_back(d->fileSink);
        } catch (const spdlog::spdlog_ex& e) {
            // Without a writable folder the console still gets every line.
            std::fprintf(stderr, "cannot open the log file: %s\n", e.what());
            d->fileSink.reset();
        }
        auto console = std::make_shared<spdlog::sinks::ansicolor_stderr_sink_mt>(spdlog::color_mode::automatic);
        console->set_formatter(std::make_unique<LineFormatter>());
        console->set_level(spdlog::level::debug);
        sinks.push_back(console);
        auto recent = std::make_shared<RecentLinesSink>();
        recent->set_level(spdlog::level::debug);
        sinks.push_back(recent);
        d->barrier = std::make_shared<FlushBarrierSink>();
        sinks.push_back(d->barrier);  // last: its flush follows the others'

        d->pool = std::make_shared<spdlog::details::thread_pool>(kQueueSize, 1);
        d->logger = std::make_shared<spdlog::async_logger>("vellumfox", sinks.begin(), sinks.end(), d->pool,
                                                           spdlog::async_overflow_policy::block);
        d->logger->set_level(spdlog::level::trace);
        d->sinks = std::move(sinks);
        d->mainThreadId.store(spdlog::details::os::thread_id());
        d->enabled.store(true);
        if (!d->exitHookInstalled) {
            d->exitHookInstalled = true;
            std::atexit([] { Logger::getInstance().shutdown(); });
        }
    }
    VF_LOG("logging to file: {}", logFilePath());
}

bool Logger::isRegistered() const {
    std::shared_lock lock(d->mutex);
    return d->logger != nullptr;
}

void Logger::flush() {
    std::lock_guard flushLock(d->flushMutex);
    std::shared_lock lock(d->mutex);
    if (!d->logger) return;
    const std::uint64_t before = d->barrier->flushCount();
    d->logger->flush();
    d->barrier->waitForFlushAfter(before, kFlushWait);
}

void Logger::shutdown() {
    flush();
    std::unique_lock lock(d->mutex);
    d->enabled.store(false);
    // The pool's destructor lets the worker finish the queue and joins it.
    d->logger.reset();
    d->pool.reset();
    d->sinks.clear();
    d->fileSink.reset();
    d->barrier.reset();
    d->filePath.clear();
}

QString Logger::logFilePath() const {
    std::shared_lock lock(d->mutex);
    return d->filePath;
}

QString Logger::logDirectory() {
    {
        std::lock_guard lock(gDirectoryMutex);
        if (!gDirectoryOverride.isEmpty()) return gDirectoryOverride;
    }
    QString state = qEnvironmentVariable("XDG_STATE_HOME");
    if (state.isEmpty() || QDir::isRelativePath(state)) state = QDir::homePath() + u"/.local/state";
    return state + u"/vellumfox/logs";
}

void Logger::setLogDirectory(const QString& directory) {
    std::lock_guard lock(gDirectoryMutex);
    gDirectoryOverride = directory;
}

std::string Logger::formatLogMessage(const LogMessage& m) const {
    return formatLine(m.level, stringFromDate(m.timestamp), m.threadId, m.file, m.function, m.text);
}

std::string Logger::formatLine(int level, std::string_view date, std::string_view threadId, std::string_view file,
                               std::string_view function, std::string_view text) const {
    const std::uint64_t mainId = d->mainThreadId.load();
    const bool isMain = mainId != 0 && threadId == std::string_view(fmt::format_int(mainId).c_str());
    return fmt::format("{} {} [{}] {}:{}: {}", date, levelLetter(level), isMain ? std::string_view("UI") : threadId,
                       fileBaseName(file), extractMethodName(function), text);
}

bool Logger::isMainThreadId(std::uint64_t threadId) const {
    const std::uint64_t mainId = d->mainThreadId.load();
    return mainId != 0 && mainId == threadId;
}

std::string Logger::extractMethodName(std::string_view function) {
    const std::size_t blank = function.find(' ');
    if (blank != std::string_view::npos && blank + 1 < function.size()) function.remove_prefix(blank + 1);
    const std::size_t cut = function.find_first_of(" :]");
    return std::string(function.substr(0, cut));
}

std::string Logger::stringFromDate(const QDateTime& date) {
    return date.toLocalTime().toString(QStringLiteral("MM-dd HH:mm:ss")).toStdString();
}

std::string Logger::currentThreadId() {
    return fmt::format_int(spdlog::details::os::thread_id()).str();
}

void Logger::write(LogFlag flag, const char* file, const char* function, int line, std::string text) {
    if (!enabled()) return;
    std::shared_lock lock(d->mutex);
    if (!d->logger) return;
    d->logger->log(spdlog::source_loc{file, line, function}, levelOf(flag), spdlog::string_view_t(text));
}

void Logger::writeSync(LogFlag flag, const char* file, const char* function, int line, std::string text) {
    if (!enabled()) return;
    std::shared_lock lock(d->mutex);
    const spdlog::details::log_msg msg(spdlog::source_loc{file, line, function}, "vellumfox", levelOf(flag),
                                       spdlog::string_view_t(text));
    for (const spdlog::sink_ptr& sink : d->sinks) {
        if (!sink->should_log(msg.level)) continue;
        sink->log(msg);
        sink->flush();
    }
}

bool Logger::enabled() const {
    return d->enabled.load(std::memory_order_relaxed);
}

}  // namespace vf
