#include "cli/filters.h"

#include <algorithm>
#include <vector>

#include "core/filter/query.h"
#include "core/log/processlines.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

// The text a quick-filter error position points into: the field's own text
// for a "p: " predicate or a query, else the filled template.
QString quickFilterShownText(const QString& quick) {
    return quickFilterMode(quick) == QuickFilterMode::Words ? quickFilterText(quick) : quick;
}

FilterProblem problemFrom(const QString& source, const QString& text, const ParseError& error) {
    return {source, text, error.message, error.position};
}

std::string toUtf8(const QString& s) { return s.toStdString(); }

}  // namespace

FilterBuild buildFilter(const QStringList& filters, const QString& quick, const QStringList& queries) {
    std::vector<PredicatePtr> selected;
    for (qsizetype i = 0; i < filters.size(); ++i) {
        const QString source = filters.size() == 1 ? u"--filter"_s : u"--filter %1"_s.arg(i + 1);
        ParseResult parsed = Predicate::parse(filters.at(i));
        if (!parsed.predicate) {
            const ParseError error = parsed.error.value_or(ParseError{u"cannot parse the filter"_s, 0});
            return {nullptr, problemFrom(source, filters.at(i), error)};
        }
        selected.push_back(std::move(parsed.predicate));
    }
    PredicatePtr quickPredicate;
    if (!quick.isEmpty()) {
        ParseResult parsed = quickFilterPredicate(quick);
        if (!parsed.predicate) {
            const ParseError error = parsed.error.value_or(ParseError{u"cannot parse the quick filter"_s, 0});
            return {nullptr, problemFrom(u"--quick"_s, quickFilterShownText(quick), error)};
        }
        quickPredicate = std::move(parsed.predicate);
    }
    for (qsizetype i = 0; i < queries.size(); ++i) {
        QueryResult compiled = compileQuery(queries.at(i));
        if (!compiled.predicate) {
            const QString source = queries.size() == 1 ? u"--query"_s : u"--query %1"_s.arg(i + 1);
            return {nullptr, problemFrom(source, queries.at(i), *compiled.error)};
        }
        selected.push_back(std::move(compiled.predicate));
    }
    return {combineFilters(selected, quickPredicate), std::nullopt};
}

std::optional<int> prepareFilter(const CliOptions& options, bool onStream, std::ostream& err, PredicatePtr& predicate) {
    FilterBuild build = buildFilter(options.filters, options.quick, options.queries);
    if (!build.problem && onStream && (queryUses(build.predicate) & kQueryUsesCrashes) != 0)
        build.problem = FilterProblem{u"--query"_s, {},
                                      u"is:crash needs the whole log: use it with \"convert\" or \"crashes FILE\""_s,
                                      std::nullopt};
    if (build.problem) {
        reportFilterProblem(err, *build.problem);
        return kExitUsage;
    }
    predicate = std::move(build.predicate);
    return std::nullopt;
}

FilterEcho filterEcho(const QString& text, qsizetype position, qsizetype context) {
    const QList<uint> before = text.left(std::clamp<qsizetype>(position, 0, text.size())).toUcs4();
    const QList<uint> after = text.mid(std::clamp<qsizetype>(position, 0, text.size())).toUcs4();
    const qsizetype from = qMax<qsizetype>(0, before.size() - context);
    const qsizetype to = qMin(after.size(), context);
    const QString ellipsis = u"\u2026"_s;
    FilterEcho echo;
    if (from > 0) echo.line = ellipsis;
    echo.line += QString::fromUcs4(reinterpret_cast<const char32_t*>(before.constData() + from), before.size() - from);
    // The caret line repeats tabs and counts code points, so it lines up on a terminal.
    for (const QChar c : std::as_const(echo.line)) {
        if (!c.isLowSurrogate()) echo.caretPad += c == u'\t' ? u'\t' : u' ';
    }
    echo.line += QString::fromUcs4(reinterpret_cast<const char32_t*>(after.constData()), to);
    if (to < after.size()) echo.line += ellipsis;
    return echo;
}

void reportFilterProblem(std::ostream& err, const FilterProblem& problem) {
    err << "vellumfox-cli: " << toUtf8(problem.source);
    if (!problem.position) {
        err << ": " << toUtf8(problem.message) << '\n';
        if (!problem.text.isEmpty()) err << "  " << toUtf8(filterEcho(problem.text, 0, kEchoContext).line) << '\n';
        return;
    }
    const qsizetype position = std::clamp<qsizetype>(*problem.position, 0, problem.text.size());
    err << ", position " << position << ": " << toUtf8(problem.message) << '\n';
    const FilterEcho echo = filterEcho(problem.text, position, kEchoContext);
    err << "  " << toUtf8(echo.line) << '\n' << "  " << toUtf8(echo.caretPad) << "^\n";
}

std::optional<bool> rowPasses(const Predicate* predicate, const Row& row, QString* error) {
    if (!predicate) return true;
    QString message;
    const bool passes = predicate->evaluate(RowFieldSource(row), &message);
    if (!message.isNull()) {
        if (error) *error = message;
        return std::nullopt;
    }
    return passes;
}

bool isOfPackages(std::string_view app, const QStringList& packages) {
    if (packages.isEmpty()) return true;
    return std::any_of(packages.begin(), packages.end(),
                       [app](const QString& package) { return appIsPackage(app, package.toStdString()); });
}

}  // namespace vf::cli
