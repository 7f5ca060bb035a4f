#pragma once
// The predicate tree behind vf::Predicate. Internal to the filter module:
// other modules see only predicate.h.
//
// Nodes are immutable once built; everything a comparison needs per row
// (folded constant, search tables) is prepared in its constructor, so
// evaluation allocates nothing for ASCII rows and is safe from any thread.

#include <QString>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "core/filter/predicate.h"
#include "core/filter/textmatch.h"

namespace vf::filter {

enum class Outcome : uint8_t { False, True, Error };

class Node : public Predicate {
public:
    // Extension: a leaf of a query the filter language has no form for;
    // Query: a whole compiled query (querynodes.h).
    enum class Kind : uint8_t { Constant, Comparison, And, Or, Not, Foreign, Extension, Query };

    explicit Node(Kind kind) : kind_(kind) {}
    Kind kind() const { return kind_; }

    // One row. On Error the reason goes to *error when error is not null.
    virtual Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const = 0;

    // The node this one prints as: a compound of one part prints as its part.
    virtual const Node* printed() const { return this; }

    bool evaluate(const FieldSource& row, QString* error) const final;

private:
    Kind kind_;
};

class ConstantPredicate final : public Node {
public:
    explicit ConstantPredicate(bool value) : Node(Kind::Constant), value_(value) {}
    Outcome test(const FieldSource&, FieldScratch&, QString*) const override {
        return value_ ? Outcome::True : Outcome::False;
    }
    QString format() const override;

private:
    bool value_;
};

enum class CompareOp : uint8_t { Equal, NotEqual, Contains, In, BeginsWith, EndsWith, Like };

class ComparisonPredicate final : public Node {
public:
    // `options` is a mix of textmatch::Options.
    ComparisonPredicate(QString key, CompareOp op, uint8_t options, QString value);

    Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const override;
    QString format() const override;
    HeldText heldText() const override;

private:
    bool matches(std::string_view field) const;
    bool matchesFolding(std::string_view field) const;
    bool matchesIn(std::string_view field) const;

    QString key_;
    std::optional<RowKey> rowKey_;  // unset: not a row key, every row fails with an error
    CompareOp op_;
    uint8_t options_;
    QString value_;
    std::string folded_;  // the value folded under options_ (UTF-8)
    bool foldedAscii_ = true;
    textmatch::Searcher searcher_;        // Contains
    std::array<bool, 128> inBytes_ = {};  // In: one-byte ASCII fields found in folded_
};

class CompoundPredicate final : public Node {
public:
    // Kind::And, Or or Not (Not takes exactly one part).
    CompoundPredicate(Kind kind, std::vector<PredicatePtr> parts);

    Outcome test(const FieldSource& row, FieldScratch& scratch, QString* error) const override;
    QString format() const override;
    const Node* printed() const override;
    HeldText heldText() const override;

    const std::vector<PredicatePtr>& parts() const { return parts_; }

private:
    QString formatPart(const Node* part) const;

    std::vector<const Node*> nodes_;    // the parts as nodes (borrowed from parts_)
    std::vector<PredicatePtr> parts_;   // owners
};

// Quoting and key spelling as the printer writes them.
QString quoted(QStringView value);
// A token as an error message quotes it: a long one only by its first 40
// characters and "…", so a hostile text does not come back whole.
QString shownToken(QStringView token);
QString keyText(QStringView key);
bool isReservedWord(QStringView word);

}  // namespace vf::filter
