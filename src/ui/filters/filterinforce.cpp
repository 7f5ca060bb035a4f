#include "ui/filters/filterinforce.h"

#include "core/log/logdatasource.h"
#include "ui/window/statusline.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

FilterInForce::FilterInForce(LogDatasource& store, StatusLine& status) : store_(store), status_(status) {}

void FilterInForce::set(PredicatePtr predicate, const QString& description) {
    predicate_ = std::move(predicate);
    store_.setLogDataFilter(predicate_);
    if (!description.isEmpty()) status_.showFilter(description);
    else status_.showFilter(predicate_ ? predicate_->format() : u"All Messages"_s);
}

bool FilterInForce::hasLanded() const { return store_.logDataFilter() == predicate_; }

}  // namespace vf::ui
