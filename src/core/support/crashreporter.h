#pragma once
// Crash reports kept on this machine: when the program dies of a fatal
// signal, a report "crash-<epoch>.txt" (signal, build, backtrace and the last
// diagnostics lines) is written into the log folder; at the next start the
// viewer asks pendingReport() and tells the user where it is.

#include <QString>
#include <string_view>

namespace vf {

class CrashReporter final {
public:
    // Installs the handlers for SIGSEGV, SIGABRT, SIGBUS, SIGFPE and SIGILL,
    // writing reports into `logDir` (created if missing). Call once from the
    // main thread at start-up, before other threads exist; calling it again
    // only changes the folder.
    static void install(const QString& logDir);
    // Restores the default actions (tests).
    static void uninstall();
    static bool isInstalled();

    // Newest report in the report folder that is newer than the last
    // acknowledged one; empty when there is none. The folder is the one given
    // to install(), else Logger::logDirectory(). Any thread.
    static QString pendingReport();
    // Marks every report present now as seen. Any thread.
    static void acknowledge();

    // Keeps `line` (one formatted diagnostics line) in the small ring of
    // recent lines that a report ends with. Called by the logger's output
    // thread; safe from any thread, never blocks.
    static void noteLine(std::string_view line);

    CrashReporter() = delete;
};

}  // namespace vf
