#pragma once
// The filter language: a small predicate language over log rows.
//
//   key ==[cd] 'v'   key != 'v'   key CONTAINS[c] "v"   key IN[cd] 'E,F,A'
//   p AND q   p OR q   NOT p   ( p )
//
// Options [c] (case-insensitive), [d] (diacritic-insensitive), [cd]. Values
// are compared as text. Predicates are immutable and may be evaluated from
// any thread at once.

#include <QString>
#include <QStringList>
#include <QStringView>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/filter/fieldsource.h"
#include "core/filter/heldtext.h"

namespace vf {

class Predicate;
using PredicatePtr = std::shared_ptr<const Predicate>;

struct ParseError {
    QString message;
    qsizetype position = 0;  // UTF-16 offset into the text where parsing failed
};

struct ParseResult {
    PredicatePtr predicate;            // null when parsing failed
    std::optional<ParseError> error;
};

class Predicate {
public:
    virtual ~Predicate() = default;

    // Parses a predicate text. Any thread. Malformed text, and a key that is
    // not a row key (see fieldsource.h), give an error with its position.
    static ParseResult parse(QStringView text);

    // Whether the row passes. A key the row lacks (any name that is not a row
    // key) is an evaluation error: *error (when not null) is set and false
    // returned. Any thread, concurrently; allocates nothing for ASCII rows.
    virtual bool evaluate(const FieldSource& row, QString* error) const = 0;

    // Canonical text: parse(format()) yields an equal predicate, printing
    // the same text. Any thread.
    virtual QString format() const = 0;

    // What every passing row holds in one of its fields time, app,
    // package, pid, tid, name, text or uid: one of a few words (ignoring
    // ASCII case) or matches of patterns; empty when there is nothing to
    // tell. A pass may skip the rows whose bytes hold none of them without
    // asking evaluate(). Any thread.
    virtual HeldText heldText() const { return {}; }

    // AND of the parts (a compound AND even for one part).
    static PredicatePtr makeAnd(std::vector<PredicatePtr> parts);

    // Fills a template such as "%K ==[cd] %@": %K takes a key, %@ a value
    // (quoted safely), in order; then parses it.
    static ParseResult fromTemplate(QStringView format, const QStringList& arguments);
};

// The five level presets, name and text, in their fixed order.
struct FilterPreset {
    const char* name;
    const char* text;
};
inline constexpr FilterPreset kLogLevelPresets[] = {
    {"LogLevel Verbose", "type IN[cd] 'V,D,I,W,E,F,A'"},
    {"LogLevel Debug", "type IN[cd] 'D,I,W,E,F,A'"},
    {"LogLevel Info", "type IN[cd] 'I,W,E,F,A'"},
    {"LogLevel Warn", "type IN[cd] 'W,E,F,A'"},
    {"LogLevel Error", "type IN[cd] 'E,F,A'"},
};

// How the quick-filter field reads its text: nothing; a "p: " predicate (at
// least 5 characters, parsed from the third on); a query (any term with a
// query key, see query.h); or words for the five-field CONTAINS template.
enum class QuickFilterMode : uint8_t { Empty, Predicate, Query, Words };
QuickFilterMode quickFilterMode(const QString& text);

// The quick-filter field's predicate, by its mode. Empty text: no predicate.
// A query is compiled without a log: bind it (bindQueryContext) before use.
ParseResult quickFilterPredicate(const QString& text);
// The text the field's text is parsed as: the predicate text of a "p: "
// text (error positions 2 less here), the query itself, or the filled
// template; empty for empty text.
QString quickFilterText(const QString& text);
// Whether the field's text is a "p: " predicate of its own.
bool isQuickFilterPredicate(const QString& text);

// The filter the store applies: AND of the selected saved filters and the
// quick filter, or null when there are none.
PredicatePtr combineFilters(const std::vector<PredicatePtr>& selected, const PredicatePtr& quick);

}  // namespace vf
