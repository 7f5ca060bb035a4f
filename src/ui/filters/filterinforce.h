#pragma once
// FilterInForce: the one filter the log table shows, whoever chose it (the
// filter list with the quick filter, the editor's preview, a crash of the
// crashes panel). Setting it hands it to the store, whose pass runs off the
// GUI thread, and names it on the status line.
//
// Main thread only. The store and the status line outlive it.

#include <QString>

#include "core/filter/predicate.h"

namespace vf {
class LogDatasource;
}

namespace vf::ui {

class StatusLine;

class FilterInForce final {
public:
    FilterInForce(LogDatasource& store, StatusLine& status);
    FilterInForce(const FilterInForce&) = delete;
    FilterInForce& operator=(const FilterInForce&) = delete;

    // Puts `predicate` (null: every row) in force; the status line names it
    // by `description`, or by its text when that is empty.
    void set(PredicatePtr predicate, const QString& description = {});
    const PredicatePtr& predicate() const { return predicate_; }
    // Whether the store filters by it yet (its pass has landed).
    bool hasLanded() const;

private:
    LogDatasource& store_;
    StatusLine& status_;
    PredicatePtr predicate_;
};

}  // namespace vf::ui
