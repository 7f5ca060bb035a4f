#pragma once
// Turning --filter, --quick and --query into the one predicate the viewer
// would apply: the selected saved filters AND the quick-filter field (AND
// the queries), combined by the filter module's own rules. Any thread.

#include <QString>
#include <QStringList>
#include <optional>
#include <ostream>
#include <string_view>

#include "cli/options.h"
#include "core/filter/predicate.h"
#include "core/log/logrow.h"

namespace vf::cli {

// Why a filter could not be used, with enough to point at the spot.
struct FilterProblem {
    QString source;    // "--filter 2", "--quick", "--query", "filter"
    QString text;      // the text the position refers to
    QString message;
    std::optional<qsizetype> position;  // UTF-16 offset into `text`
};

struct FilterBuild {
    PredicatePtr predicate;  // null: no filter (every row passes)
    std::optional<FilterProblem> problem;
};

// Parses every filter, the quick-filter text and every query, and combines
// them. Queries are compiled without a log: bind the result to the log's
// context (bindQueryContext) once the rows are there.
FilterBuild buildFilter(const QStringList& filters, const QString& quick, const QStringList& queries = {});

// The filter of the command line (--filter, --saved already resolved into
// filters, --quick, --query), checked. On a problem it is reported on `err`
// and the exit status returned. `onStream`: rows come from the device, which
// `is:crash` cannot be applied to (it needs the whole log).
std::optional<int> prepareFilter(const CliOptions& options, bool onStream, std::ostream& err, PredicatePtr& predicate);

// Writes "vellumfox-cli: SOURCE, position N: MESSAGE", then the text and a
// caret under the position (tabs kept so the caret lines up). A long text is
// shown only around the position (see filterEcho).
void reportFilterProblem(std::ostream& err, const FilterProblem& problem);

// The part of `text` an error message shows: at most `context` characters
// (code points) on either side of `position`, with "…" where it was cut,
// and the padding that puts a caret under the position. Pure.
inline constexpr qsizetype kEchoContext = 60;
struct FilterEcho {
    QString line;
    QString caretPad;
};
FilterEcho filterEcho(const QString& text, qsizetype position, qsizetype context);

// Evaluates `predicate` on `row`; a null predicate passes everything.
// Returns nullopt and sets *error when the filter cannot be evaluated.
std::optional<bool> rowPasses(const Predicate* predicate, const Row& row, QString* error);

// --package: whether an app column belongs to one of `packages` (every app
// when there are none); see appIsPackage().
bool isOfPackages(std::string_view app, const QStringList& packages);

}  // namespace vf::cli
