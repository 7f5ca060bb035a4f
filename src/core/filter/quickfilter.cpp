// How the filter list and the quick-filter field become the store's filter.

#include "core/filter/predicate.h"
#include "core/filter/query.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace {
// The quick-filter text goes between the quotes as typed, unescaped: a quote
// in it breaks the parse, which users of the field have come to expect.
constexpr QStringView kQuickFilterTemplate =
    u"(name CONTAINS[cd] '%@' OR text CONTAINS[cd] '%@' OR app CONTAINS[cd] '%@' OR pid CONTAINS[cd] '%@' "
    u"OR tid CONTAINS[cd] '%@')";
constexpr QStringView kPredicatePrefix = u"p: ";
constexpr qsizetype kPredicatePrefixSkip = 2;  // the blank after "p:" stays
}  // namespace

bool isQuickFilterPredicate(const QString& text) { return text.startsWith(kPredicatePrefix) && text.size() >= 5; }

QuickFilterMode quickFilterMode(const QString& text) {
    if (text.isEmpty()) return QuickFilterMode::Empty;
    if (isQuickFilterPredicate(text)) return QuickFilterMode::Predicate;
    return looksLikeQuery(text) ? QuickFilterMode::Query : QuickFilterMode::Words;
}

QString quickFilterText(const QString& text) {
    switch (quickFilterMode(text)) {
        case QuickFilterMode::Empty: return {};
        case QuickFilterMode::Predicate: return text.mid(kPredicatePrefixSkip);
        case QuickFilterMode::Query: return text;
        case QuickFilterMode::Words: break;
    }
    QString filled = kQuickFilterTemplate.toString();
    filled.replace(u"%@"_s, text);
    return filled;
}

ParseResult quickFilterPredicate(const QString& text) {
    const QuickFilterMode mode = quickFilterMode(text);
    if (mode == QuickFilterMode::Empty) return {};
    if (mode == QuickFilterMode::Query) {
        QueryResult compiled = compileQuery(text);
        return ParseResult{std::move(compiled.predicate), compiled.error};
    }
    ParseResult result = Predicate::parse(quickFilterText(text));
    // Errors in "p: " text point into the field's own text.
    if (result.error && isQuickFilterPredicate(text)) result.error->position += kPredicatePrefixSkip;
    return result;
}

PredicatePtr combineFilters(const std::vector<PredicatePtr>& selected, const PredicatePtr& quick) {
    std::vector<PredicatePtr> parts;
    for (const PredicatePtr& part : selected)
        if (part) parts.push_back(part);
    if (quick) parts.push_back(quick);
    if (parts.empty()) return nullptr;
    return Predicate::makeAnd(std::move(parts));
}

}  // namespace vf
