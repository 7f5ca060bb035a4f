#include "cli/filecommands.h"

#include <vector>

#include "cli/filters.h"
#include "cli/logfile.h"
#include "cli/rowwriter.h"
#include "core/log/querycontext.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

std::string utf8(const QString& s) { return s.toStdString(); }

void fail(std::ostream& err, const QString& message) { err << "vellumfox-cli: " << utf8(message) << '\n'; }

// Keeps rows until the process ends, never freeing them: the system takes
// its memory back whole, far faster than a million rows released one by
// one. They stay reachable, so leak checkers do not count them.
void leaveToExit(RowList rows) {
    static auto* const kept = new std::vector<RowList>();
    kept->push_back(std::move(rows));
}

}  // namespace

int runConvert(const CliOptions& options, std::ostream& out, std::ostream& err, bool terminal, bool progress,
               bool exitsAfter) {
    PredicatePtr predicate;
    if (const auto status = prepareFilter(options, false, err, predicate)) return *status;

    const SavedLog log = openSavedLog(options.file, progress ? &err : nullptr);
    if (!log.error.isEmpty()) {
        fail(err, u"cannot open %1: %2"_s.arg(options.file, log.error));
        return kExitFailure;
    }
    predicate = bindQueryContext(predicate, fileQueryContext(log.rows, queryUses(predicate)));
    // Filter everything before writing anything: a filter that fails on some
    // row must not leave half an output behind.
    RowList passing;
    qsizetype passed = 0;
    for (const RowPtr& row : log.rows) {
        if (!isOfPackages(row->app(), options.packages)) continue;
        QString error;
        const auto passes = rowPasses(predicate.get(), *row, &error);
        if (!passes) {
            fail(err, u"the filter cannot be evaluated on row %1: %2"_s.arg(row->idx().value()).arg(error));
            return kExitUsage;
        }
        if (!*passes) continue;
        ++passed;
        if (!options.count) passing.append(row);
    }
    if (options.count) {
        out << passed << '\n';
    } else {
        const auto writer = makeRowWriter(options.format, out, false, terminal);
        for (const RowPtr& row : std::as_const(passing)) writer->write(row);
    }
    out.flush();
    if (exitsAfter) {
        leaveToExit(std::move(passing));
        leaveToExit(std::move(log.rows));
    }
    return kExitOk;
}

int runDetect(const CliOptions& options, std::ostream& out, std::ostream& err) {
    const LayoutDetection detection = detectLayout(options.file);
    if (!detection.error.isEmpty()) {
        fail(err, u"cannot open %1: %2"_s.arg(options.file, detection.error));
        return kExitFailure;
    }
    if (const ReportLayout& report = detection.report; report.kind != ReportLayout::Kind::None) {
        out << "- " << utf8(report.kindText());
        if (!report.entry.isEmpty()) out << ": " << utf8(report.entry);
        out << '\n';
        for (const ReportLayout::Section& section : report.sections)
            out << "  " << utf8(ReportLayout::sectionText(section)) << '\n';
        if (const QString part = report.partText(); !part.isEmpty()) out << "  (" << utf8(part) << ")\n";
        return kExitOk;
    }
    if (detection.propertyList) {
        out << "- vellumfox\n";
        return kExitOk;
    }
    out << int(detection.format) << ' ' << utf8(logLineFormatName(detection.format)) << '\n';
    return detection.format == LogLineFormat::None ? kExitFailure : kExitOk;
}

int runCheckFilter(const CliOptions& options, std::ostream& out, std::ostream& err) {
    ParseResult parsed = Predicate::parse(options.predicate);
    if (!parsed.predicate) {
        const ParseError error = parsed.error.value_or(ParseError{u"cannot parse the filter"_s, 0});
        reportFilterProblem(err, {u"filter"_s, options.predicate, error.message, error.position});
        return kExitUsage;
    }
    const QString canonical = parsed.predicate->format();
    out << utf8(canonical) << '\n';
    return kExitOk;
}

}  // namespace vf::cli
