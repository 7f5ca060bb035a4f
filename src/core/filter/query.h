#pragma once
// Queries: the key:value language of the quick-filter field and of the
// companion's --query, compiled into the filter language's own predicate
// tree, so that a query, a saved filter and a quick filter run through one
// evaluator.
//
//   tag:Net  msg=:"connection reset"  package~:^com\.example  -level:E  timeout
//   (tag:Net | tag:Http) & level:W  age:5m  is:crash
//
// Terms: key:value (the field contains value, any case), key=:value (equals,
// any case), key~:regex (a PCRE2 expression finds a match), a leading "-"
// negates; a bare word or a quoted phrase is searched for in the tag, the
// message and the package. Keys: tag, message (msg), package, process, pid,
// tid, level, age, is. Without | & ( ), positive terms of one key are ORed
// and everything else is ANDed; with them, & (or two terms side by side)
// binds tighter than |, and parentheses group. docs/query-language.md has
// the whole table.
//
// A query whose terms all exist in the filter language compiles to a plain
// predicate that prints as filter-language text. One that uses age, is or a
// regex compiles to a predicate that prints as QUERY "text", which the
// filter language reads back (so saved filters and --saved may hold it).
//
// Everything here is a pure function of its arguments; any thread.

#include <QString>
#include <QStringList>
#include <QStringView>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/filter/predicate.h"

namespace vf {

// What the terms that depend on the log are measured against.
struct QueryContext {
    // The time `age` counts back from, as rows write it ("MM-dd
    // HH:mm:ss.SSS"): the newest row of a file. Empty: the local time when
    // the query is compiled (a live device).
    std::string newestTime;
    // The idx of every row of every crash in the crash inbox, ascending;
    // `is:crash` passes exactly these. Null: no crash is known.
    std::shared_ptr<const std::vector<uint64_t>> crashRows;
};

// Which terms depending on the context a predicate holds.
enum QueryUse : uint8_t { kQueryUsesAge = 1, kQueryUsesCrashes = 2 };

struct QueryResult {
    PredicatePtr predicate;           // null when the query is malformed
    std::optional<ParseError> error;  // message and UTF-16 position in the query
    // The equivalent filter-language text; empty when the query uses a term
    // the filter language has no form for (then predicate->format() is its
    // QUERY "..." form).
    QString filterText;
    uint8_t uses = 0;  // QueryUse flags
};

QueryResult compileQuery(QStringView query, const QueryContext& context = {});

// Whether `text` holds a term whose key is one of the query keys, even a
// malformed one: the quick-filter field then reads the text as a query.
bool looksLikeQuery(QStringView text);

// The QueryUse flags of every query inside `predicate`.
uint8_t queryUses(const PredicatePtr& predicate);

// `predicate` with every query inside it compiled again against
// `context`; the same pointer when it holds none.
PredicatePtr bindQueryContext(const PredicatePtr& predicate, const QueryContext& context);

// What may replace the word that ends at `cursor` in `text`: a key
// ("tag:") for the start of a key, and after a key's colon its values: the
// level words, crash and stacktrace, or `tags` / `packages` (the values seen
// so far; any order). Nothing for an empty word or a value of another key.
struct QueryCompletion {
    qsizetype start = 0;     // where the word starts (after a '-')
    QString prefix;          // the word so far, text[start, cursor)
    QStringList candidates;  // whole replacements for it, that begin with prefix (any case)
};
QueryCompletion completeQueryWord(QStringView text, qsizetype cursor, const QStringList& tags,
                                  const QStringList& packages);

}  // namespace vf
