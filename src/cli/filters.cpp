#include "cli/filters.h"

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

// The text a quick-filter error position points into: the field's own text
// for a "p: " predicate, else the filled template.
QString quickFilterShownText(const QString& quick) {
    return isQuickFilterPredicate(quick) ? quick : quickFilterText(quick);
}

FilterProblem problemFrom(const QString& source, const QString& text, const ParseError& error) {
    return {source, text, error.message, error.position};
}

std::string toUtf8(const QString& s) { return s.toStdString(); }

}  // namespace

FilterBuild buildFilter(const QStringList& filters, const QString& quick) {
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
    return {combineFilters(selected, quickPredicate), std::nullopt};
}

void reportFilterProblem(std::ostream& err, const FilterProblem& problem) {
    err << "vellumfox-cli: " << toUtf8(problem.source);
    if (!problem.position) {
        err << ": " << toUtf8(problem.message) << '\n';
        if (!problem.text.isEmpty()) err << "  " << toUtf8(problem.text) << '\n';
        return;
    }
    const qsizetype position = std::clamp<qsizetype>(*problem.position, 0, problem.text.size());
    err << ", position " << position << ": " << toUtf8(problem.message) << '\n';
    // The caret line repeats tabs and counts code points, so it lines up on a terminal.
    QString pad;
    for (char32_t c : problem.text.left(position).toUcs4()) pad += c == U'\t' ? u'\t' : u' ';
    err << "  " << toUtf8(problem.text) << '\n' << "  " << toUtf8(pad) << "^\n";
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

}  // namespace vf::cli
