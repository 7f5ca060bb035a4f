#pragma once
// The program's diagnostics log: every line goes, asynchronously, to a rolling
// file in the per-user log folder and to the console, both formatted as
//   "MM-dd HH:mm:ss L [thread] File:method: message".
//
// Use VF_LOG("text {}", arg) everywhere; it carries the source file, the
// function and the line. Formatting uses {} placeholders; QString and
// QByteArray arguments are accepted.

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringView>
#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>

template <>
struct fmt::formatter<QString> : fmt::formatter<std::string_view> {
    template <typename Ctx>
    auto format(const QString& s, Ctx& ctx) const {
        const QByteArray utf8 = s.toUtf8();
        return fmt::formatter<std::string_view>::format(std::string_view(utf8.constData(), size_t(utf8.size())), ctx);
    }
};
template <>
struct fmt::formatter<QStringView> : fmt::formatter<std::string_view> {
    template <typename Ctx>
    auto format(QStringView s, Ctx& ctx) const {
        const QByteArray utf8 = s.toUtf8();
        return fmt::formatter<std::string_view>::format(std::string_view(utf8.constData(), size_t(utf8.size())), ctx);
    }
};
template <>
struct fmt::formatter<QByteArray> : fmt::formatter<std::string_view> {
    template <typename Ctx>
    auto format(const QByteArray& s, Ctx& ctx) const {
        return fmt::formatter<std::string_view>::format(std::string_view(s.constData(), size_t(s.size())), ctx);
    }
};

namespace vf {

// Flags of a diagnostics line (which kind of line it is).
enum class LogFlag : int { Error = 1, Warning = 2, Info = 4, Debug = 8, Verbose = 16 };

// Level values of the logging framework; every line of the program is sent
// at the global level kLogLevelAll (31), which the formatter prints as "V".
inline constexpr int kLogLevelError = 1;
inline constexpr int kLogLevelWarning = 3;
inline constexpr int kLogLevelInfo = 7;
inline constexpr int kLogLevelDebug = 15;
inline constexpr int kLogLevelAll = 31;

// One diagnostics message, as the formatter sees it.
struct LogMessage {
    int level = kLogLevelAll;
    LogFlag flag = LogFlag::Debug;
    QDateTime timestamp;
    std::string threadId;  // the framework's form of the writing thread's id
    std::string file;      // source path as given by __FILE__
    std::string function;  // __func__ of the writer
    int line = 0;
    std::string text;
};

class Logger final {
public:
    // The shared instance (created on first use, thread-safe).
    static Logger& getInstance();

    // Installs the file and console outputs; idempotent. Call once from the
    // main thread at start-up: the calling thread is printed as "UI".
    void registerLogger();
    bool isRegistered() const;  // any thread

    // Flushes and removes the outputs (end of the program, tests); a later
    // registerLogger() starts afresh. Also runs by itself at process exit.
    // Any thread; lines written meanwhile are dropped.
    void shutdown();
    // Waits until every line handed over so far is in the file. Any thread.
    void flush();

    // Path of the log file written to (empty before registerLogger()). Any thread.
    QString logFilePath() const;
    // The per-user folder that holds the log file and crash reports:
    // $XDG_STATE_HOME/vellumfox/logs (default ~/.local/state/vellumfox/logs),
    // unless setLogDirectory() chose another. Any thread.
    static QString logDirectory();
    // Redirects the log folder (tests, the command-line companion); empty
    // restores the default. Takes effect at the next registerLogger().
    static void setLogDirectory(const QString& directory);

    // Formats one line, exactly as both outputs print it. Any thread.
    std::string formatLogMessage(const LogMessage& message) const;
    // The same from parts: `date` already written, `file` a source path,
    // `function` the writer's function name. Any thread.
    std::string formatLine(int level, std::string_view date, std::string_view threadId, std::string_view file,
                           std::string_view function, std::string_view text) const;

    // Formatter helpers, any thread: the method part of a function name
    // ("-[AdbSocket connect]" -> "connect"), and "MM-dd HH:mm:ss" in local time.
    static std::string extractMethodName(std::string_view function);
    static std::string stringFromDate(const QDateTime& date);
    // Whether `threadId` is the thread that registered the logger. Any thread.
    bool isMainThreadId(std::uint64_t threadId) const;
    // Thread id of the calling thread in the framework's form (the kernel thread id).
    static std::string currentThreadId();

    // Hands one line to the outputs (asynchronously). Cheap no-op when
    // nothing is registered. Any thread; `file` and `function` must be
    // string literals (they are read later by the output thread).
    void write(LogFlag flag, const char* file, const char* function, int line, std::string text);
    // The same, written by the calling thread before it returns.
    void writeSync(LogFlag flag, const char* file, const char* function, int line, std::string text);

    // Whether lines go anywhere: one atomic load. Any thread.
    bool enabled() const;

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

private:
    Logger();
    ~Logger();
    struct Impl;
    std::unique_ptr<Impl> d;
};

namespace detail {
template <typename... Args>
inline void log(LogFlag flag, const char* file, const char* function, int line,
                fmt::format_string<Args...> format, Args&&... args) {
    Logger& logger = Logger::getInstance();
    if (!logger.enabled()) return;
    logger.write(flag, file, function, line, fmt::format(format, std::forward<Args>(args)...));
}
}  // namespace detail

}  // namespace vf

// The one logging macro of the program: debug-flag lines at the global level.
#define VF_LOG(...) ::vf::detail::log(::vf::LogFlag::Debug, __FILE__, __func__, __LINE__, __VA_ARGS__)
// Error-flag lines (rare: unreadable files and the like).
#define VF_LOG_ERROR(...) ::vf::detail::log(::vf::LogFlag::Error, __FILE__, __func__, __LINE__, __VA_ARGS__)
