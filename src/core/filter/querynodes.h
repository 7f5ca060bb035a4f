#pragma once
// The leaves a query needs where the filter language has none (the age of a
// row, the rows of crashes, stack-trace lines, regular expressions), and the
// node that keeps a query's own text inside a predicate tree. Internal to
// the filter module: other modules see query.h.
//
// Like every node, these are immutable once built and may be evaluated from
// any number of threads at once.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/filter/nodes.h"
#include "core/filter/query.h"

namespace vf::filter {

// A row time ("MM-dd HH:mm:ss.SSS", as every layout writes it) as
// milliseconds into a year of 366 days; nullopt when it is not one. Rows
// carry no year, so times are compared on that circle (see AgePredicate).
std::optional<int64_t> yearMilliseconds(std::string_view time);
// The local time now, the same way.
int64_t yearMillisecondsNow();
inline constexpr int64_t kYearMilliseconds = 366LL * 24 * 3600 * 1000;

// Rows no older than `span` before `reference`. A row up to half a year
// after the reference counts as newer (a live log goes on after the filter
// is set), so only the half year before the reference is ever "old"; a span
// of half a year or more passes every row with a time. Rows without a time
// fail.
class AgePredicate final : public Node {
public:
    AgePredicate(int64_t span, int64_t reference, QString term);
    Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const override;
    QString format() const override { return term_; }

private:
    int64_t span_;
    int64_t reference_;
    QString term_;
};

// Rows whose idx is in a sorted list (the rows of the crash inbox).
class IdxSetPredicate final : public Node {
public:
    IdxSetPredicate(std::shared_ptr<const std::vector<uint64_t>> sorted, QString term);
    Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const override;
    QString format() const override { return term_; }

private:
    std::shared_ptr<const std::vector<uint64_t>> sorted_;
    QString term_;
};

// Whether a message is a line of a Java stack trace: a frame "at …(…)",
// "Caused by: …" or "... N more" (leading white space allowed). Pure.
bool isStackTraceLine(std::string_view text);

class StackTracePredicate final : public Node {
public:
    explicit StackTracePredicate(QString term) : Node(Kind::Extension), term_(std::move(term)) {}
    Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const override;
    QString format() const override { return term_; }

private:
    QString term_;
};

// A PCRE2 expression that finds a match somewhere in a field. Compiled once
// (JIT where the system has it); each thread matches with its own buffers.
class RegexPredicate final : public Node {
public:
    struct Compiled;
    // The error message and the UTF-8 offset in `pattern` where it lies.
    struct Error {
        QString message;
        size_t offset = 0;
    };
    static std::shared_ptr<const RegexPredicate> make(RowKey key, const std::string& pattern, QString term,
                                                      Error* error);
    RegexPredicate(RowKey key, std::shared_ptr<Compiled> compiled, QString term);
    ~RegexPredicate() override;

    Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const override;
    QString format() const override { return term_; }
    // The pattern's required words when they are long enough to be rare,
    // else the pattern itself fit for searching whole text (regexscan.h),
    // else any required words; for keys that are pieces of the line.
    HeldText heldText() const override { return held_; }

private:
    RowKey key_;
    std::shared_ptr<Compiled> compiled_;
    QString term_;
    HeldText held_;
};

// A compiled query inside a predicate tree: evaluates its tree and prints
// as QUERY "text", so that it can be stored and read back, and compiled
// again against another context.
class QueryPredicate final : public Node {
public:
    QueryPredicate(QString text, PredicatePtr tree, uint8_t uses);
    Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const override {
        return tree_->test(row, scratch, error);
    }
    QString format() const override;
    HeldText heldText() const override { return tree_->heldText(); }

    const QString& text() const { return text_; }
    uint8_t uses() const { return uses_; }

private:
    QString text_;
    PredicatePtr owner_;
    const Node* tree_;
    uint8_t uses_;
};

}  // namespace vf::filter
