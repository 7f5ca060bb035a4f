#pragma once
// CliApplication: parses the command line and runs one sub-command.
//
// Main thread. A QCoreApplication must exist; "devices" and "stream" run a
// local event loop until they are done. Nothing global is touched except
// the preferences storage (switched to a private file for the run, then
// restored) and, during "stream", the SIGINT/SIGTERM handlers.

#include <QString>
#include <QStringList>
#include <istream>
#include <ostream>

namespace vf::cli {

struct CliEnvironment {
    QString androidSerial;          // $ANDROID_SERIAL
    bool stdoutIsTerminal = false;  // level colours only on a terminal
    bool stderrIsTerminal = false;  // progress of long file reads only on a terminal
    bool noColor = false;           // $NO_COLOR is set
    std::istream* in = nullptr;     // "pretty" reads it; null: standard input
    bool exitsAfter = false;        // the process ends after the command: large memory is left to the system
};

class CliApplication final {
public:
    // `out` receives the output, `err` the messages; both must outlive the object.
    CliApplication(std::ostream& out, std::ostream& err, CliEnvironment environment);

    // Runs the command line (without the program name); returns the exit status.
    int run(const QStringList& arguments);

    CliApplication(const CliApplication&) = delete;
    CliApplication& operator=(const CliApplication&) = delete;

private:
    std::ostream& out_;
    std::ostream& err_;
    CliEnvironment environment_;
};

}  // namespace vf::cli
