// How the filter list and the quick-filter field become the store's filter.

#include "core/filter/predicate.h"

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

ParseResult quickFilterPredicate(const QString& text) {
    if (text.isEmpty()) return {};
    if (text.startsWith(kPredicatePrefix) && text.size() >= 5) {
        ParseResult result = Predicate::parse(QStringView(text).mid(kPredicatePrefixSkip));
        if (result.error) result.error->position += kPredicatePrefixSkip;
        return result;
    }
    QString filled = kQuickFilterTemplate.toString();
    filled.replace(u"%@"_s, text);
    return Predicate::parse(filled);
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
