#include "cli/crashescommand.h"

#include "cli/logfile.h"
#include "cli/rowwriter.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

constexpr char16_t kCrashesHelp[] =
    uR"(usage: vellumfox-cli crashes FILE [--json]

Opens a saved log as "convert" does and lists the crashes and ANRs in it, as
the viewer's Crashes panel shows them: Java and Kotlin exceptions, crashes of
the system process, native crashes (tombstones and libc's "Fatal signal")
and ANRs. Lines of other processes that interleave with a crash do not
belong to it. One line per crash:
  TIME  KIND  APP (PID)  TITLE  [ROWS rows, idx FIRST-LAST]

  --json   one JSON object per line with the keys kind, app, pid, time,
           title, rows (the number of rows), firstIdx and lastIdx
)";

}  // namespace

std::string crashTextLine(const CrashRecord& crash) {
    std::string line = crash.time.empty() ? std::string("-") : crash.time;
    line += "  ";
    line += crashKindName(crash.kind);
    line += "  ";
    line += crash.app.empty() ? std::string("?") : crash.app;
    line += " (" + crash.pid + ")  " + crash.title;
    line += "  [" + std::to_string(crash.rows.size()) + " rows, idx " + std::to_string(crash.firstIdx()) + '-' +
            std::to_string(crash.lastIdx()) + ']';
    return line;
}

std::string crashJsonLine(const CrashRecord& crash) {
    std::string line = "{\"kind\":";
    appendJsonString(line, crashKindName(crash.kind));
    line += ",\"app\":";
    appendJsonString(line, crash.app);
    line += ",\"pid\":";
    appendJsonString(line, crash.pid);
    line += ",\"time\":";
    appendJsonString(line, crash.time);
    line += ",\"title\":";
    appendJsonString(line, crash.title);
    line += ",\"rows\":" + std::to_string(crash.rows.size());
    line += ",\"firstIdx\":" + std::to_string(crash.firstIdx());
    line += ",\"lastIdx\":" + std::to_string(crash.lastIdx()) + '}';
    return line;
}

int runCrashes(const CliOptions& options, std::ostream& out, std::ostream& err) {
    const SavedLog log = openSavedLog(options.file);
    if (!log.error.isEmpty()) {
        err << "vellumfox-cli: " << u"cannot open %1: %2"_s.arg(options.file, log.error).toStdString() << '\n';
        return kExitFailure;
    }
    CrashDetector detector;
    for (const RowPtr& row : log.rows) detector.feed(*row);
    detector.finish();
    const bool json = options.format == OutputFormat::Json;
    for (const CrashRecord& crash : detector.crashes()) out << (json ? crashJsonLine(crash) : crashTextLine(crash)) << '\n';
    out.flush();
    return kExitOk;
}

QString crashesHelpText() { return QString::fromUtf16(kCrashesHelp); }

}  // namespace vf::cli
