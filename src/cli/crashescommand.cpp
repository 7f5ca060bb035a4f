#include "cli/crashescommand.h"

#include <algorithm>

#include "cli/filters.h"
#include "cli/logfile.h"
#include "cli/rowwriter.h"
#include "core/log/querycontext.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

constexpr char16_t kCrashesHelp[] =
    uR"(usage: vellumfox-cli crashes FILE [--json] [--package NAME]... [FILTERS]
       vellumfox-cli [-s SERIAL] [-H HOST] [-P PORT] crashes --stream [--json]
                     [--clear] [--no-reconnect] [-b LIST] [FILTERS]

Opens a saved log or a bugreport as "convert" does and lists the crashes and
ANRs in it, as the viewer's Crashes panel shows them: Java and Kotlin
exceptions, crashes of the system process, native crashes (tombstones and
libc's "Fatal signal") and ANRs. Lines of other processes that interleave
with a crash do not belong to it. One line per crash:
  TIME  KIND  APP (PID)  TITLE  [ROWS rows, idx FIRST-LAST]

  --json          one JSON object per line with the keys kind, app, pid,
                  time, title, rows (the number of rows), firstIdx, lastIdx
  --package NAME  with FILE: only the crashes of this app, in every user or
                  as NAME@USER in one (repeatable); see "vellumfox-cli help
                  convert"
  --stream        read the device log instead of a file, as "stream" does
                  (same device choice, ADB server and reconnection), and
                  print each crash once its block is complete: the thread
                  that wrote it writes a line that is not part of it, or
                  the system reports its process dead, or 2,000 lines pass
                  without one, or the device goes away, or the stream ends
                  (Ctrl+C or SIGTERM, exit status 0). A crash cut off that
                  way is printed with the rows it has.
  --clear         with --stream: clear the device log first, so that only
                  new crashes are listed
  --no-reconnect  with --stream: end with exit status 1 when the device
                  goes away
  -b LIST         with --stream: the log buffers to read, as for "stream"
                  (by default main, system and crash: a stack trace often
                  lands only in the crash buffer)

FILTERS (--filter PREDICATE, --saved NAME, --query QUERY, each repeatable
and ANDed, as for "convert") list only the crashes one of whose rows
passes: --query package:com.example lists that app's crashes, --query
age:1h those of the last hour. The detector still reads every row.
is:crash cannot be used with --stream.

At most 1,000 crashes are kept at once, as in the viewer's panel: from a log
with more, the newest 1,000 are listed and a line on standard error says how
many older ones were dropped. With --stream each crash is printed as soon as
it is complete, so the limit only bounds what is held at a time.
)";

// Whether one of the crash's rows is among `passing`.
bool anyRowIn(const CrashRecord& crash, const std::set<RowIdx>& passing) {
    return std::any_of(crash.rows.begin(), crash.rows.end(), [&](RowIdx idx) { return passing.count(idx) != 0; });
}

}  // namespace

std::string crashTextLine(const CrashRecord& crash) {
    std::string line = crash.time.empty() ? std::string("-") : crash.time;
    line += "  ";
    line += crashKindName(crash.kind);
    line += "  ";
    line += crash.app.empty() ? std::string("?") : crash.app;
    line += " (" + crash.pid + ")  " + crash.title;
    line += "  [" + std::to_string(crash.rows.size()) + " rows, idx " + std::to_string(crash.firstIdx().value()) + '-' +
            std::to_string(crash.lastIdx().value()) + ']';
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
    line += ",\"firstIdx\":" + std::to_string(crash.firstIdx().value());
    line += ",\"lastIdx\":" + std::to_string(crash.lastIdx().value()) + '}';
    return line;
}

int runCrashes(const CliOptions& options, std::ostream& out, std::ostream& err, bool terminal, bool progress) {
    PredicatePtr filter;
    if (const auto status = prepareFilter(options, false, err, filter)) return *status;
    const SavedLog log = openSavedLog(options.file, progress ? &err : nullptr);
    if (!log.error.isEmpty()) {
        err << "vellumfox-cli: " << u"cannot open %1: %2"_s.arg(options.file, log.error).toStdString() << '\n';
        return kExitFailure;
    }
    CrashDetector detector;
    for (const RowPtr& row : log.rows) detector.feed(*row);
    detector.finish();
    std::set<RowIdx> passing;
    if (filter) {
        QueryContext context = fileQueryContext(log.rows, 0);
        context.crashRows = crashRowsOf(detector);
        filter = bindQueryContext(filter, context);
        for (const RowPtr& row : log.rows)
            if (rowPasses(filter.get(), *row, nullptr).value_or(false)) passing.insert(row->idx());
    }
    const bool json = options.format == OutputFormat::Json;
    for (const CrashRecord& crash : detector.crashes()) {
        if (filter && !anyRowIn(crash, passing)) continue;
        if (!isOfPackages(crash.app, options.packages)) continue;
        const std::string line = json ? crashJsonLine(crash) : crashTextLine(crash);
        out << (terminal && !json ? terminalSafe(line) : line) << '\n';
    }
    out.flush();
    if (const uint64_t dropped = detector.droppedCount()) {
        err << "vellumfox-cli: " << dropped << " older crashes were dropped: only the newest "
            << CrashDetector::kMaxCrashes << " are kept\n";
    }
    return kExitOk;
}

CrashPrinter::CrashPrinter(std::ostream& out, bool json, bool terminal, PredicatePtr filter)
    : out_(out), json_(json), terminal_(terminal), filter_(std::move(filter)) {}

void CrashPrinter::takeRow(const RowPtr& row) {
    detector_.feed(*row);
    if (filter_ && rowPasses(filter_.get(), *row, nullptr).value_or(false)) passing_.insert(row->idx());
    lastIdx_ = row->idx();
    if (++fed_ % kPassingLookback == 0) forgetOldPassingRows();
    printCompleted();
}

void CrashPrinter::forgetOldPassingRows() {
    if (passing_.empty()) return;
    RowIdx floor(lastIdx_.value() > kPassingLookback ? lastIdx_.value() - kPassingLookback : 0);
    for (const CrashRecord& crash : detector_.crashes())
        if (std::binary_search(unprinted_.begin(), unprinted_.end(), crash.id))
            floor = std::min(floor, crash.firstIdx());
    passing_.erase(passing_.begin(), passing_.lower_bound(floor));
}

void CrashPrinter::streamStopped() {
    detector_.finish();
    printCompleted();
}

void CrashPrinter::printCompleted() {
    if (detector_.revision() == revision_ && unprinted_.empty()) return;
    revision_ = detector_.revision();
    const auto& crashes = detector_.crashes();
    for (const CrashRecord& crash : crashes) {
        if (crash.id <= lastSeenId_) continue;
        unprinted_.push_back(crash.id);
        lastSeenId_ = crash.id;
    }
    bool printed = false;
    std::erase_if(unprinted_, [&](uint64_t id) {
        if (detector_.isOpen(id)) return false;
        // Gone when it joined an earlier crash or fell to the bound.
        const auto it = std::lower_bound(crashes.begin(), crashes.end(), id,
                                         [](const CrashRecord& c, uint64_t wanted) { return c.id < wanted; });
        if (it == crashes.end() || it->id != id) return true;
        if (filter_ && !anyRowIn(*it, passing_)) return true;
        const std::string line = json_ ? crashJsonLine(*it) : crashTextLine(*it);
        out_ << (terminal_ && !json_ ? terminalSafe(line) : line) << '\n';
        printed = true;
        return true;
    });
    if (printed) out_.flush();
}

QString crashesHelpText() { return QString::fromUtf16(kCrashesHelp); }

}  // namespace vf::cli
