#pragma once
// FilterInForce: the one filter the log table shows, whoever chose it (the
// filter list with the quick filter, the editor's preview, a crash of the
// crashes panel). Setting it hands it to the store, whose pass runs off the
// GUI thread, and names it on the status line. Queries inside it (age,
// is:crash) are bound to the context its source gives at that moment.
//
// Main thread only. The store and the status line outlive it.

#include <QString>
#include <functional>

#include "core/filter/predicate.h"
#include "core/filter/query.h"

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
    // What the queries of a filter are measured against (the rows shown,
    // the crashes listed); without one they are left as compiled.
    void setQueryContext(std::function<QueryContext()> context) { context_ = std::move(context); }
    // The crash inbox changed (to `revision`): a filter with is:crash is
    // bound again, so that it shows the crashes listed now.
    void crashesChanged(uint64_t revision);
    const PredicatePtr& predicate() const { return predicate_; }
    // Names it on the status line again (its tab became the current one).
    void show() const;
    // Whether the store filters by it yet (its pass has landed).
    bool hasLanded() const;

private:
    LogDatasource& store_;
    StatusLine& status_;
    PredicatePtr predicate_;
    QString description_;
    std::function<QueryContext()> context_;
    uint64_t crashRevision_ = 0;
};

}  // namespace vf::ui
