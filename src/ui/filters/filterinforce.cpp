#include "ui/filters/filterinforce.h"

#include "core/log/logdatasource.h"
#include "ui/window/statusline.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

FilterInForce::FilterInForce(LogDatasource& store, StatusLine& status) : store_(store), status_(status) {}

void FilterInForce::set(PredicatePtr predicate, const QString& description) {
    if (context_ && queryUses(predicate) != 0) predicate = bindQueryContext(predicate, context_());
    predicate_ = std::move(predicate);
    description_ = description;
    store_.setLogDataFilter(predicate_);
    show();
}

void FilterInForce::show() const {
    if (!description_.isEmpty()) status_.showFilter(description_);
    else status_.showFilter(predicate_ ? predicate_->format() : u"All Messages"_s);
}

void FilterInForce::crashesChanged(uint64_t revision) {
    if (revision == crashRevision_) return;
    crashRevision_ = revision;
    if ((queryUses(predicate_) & kQueryUsesCrashes) != 0) set(predicate_, description_);
}

bool FilterInForce::hasLanded() const { return store_.logDataFilter() == predicate_; }

}  // namespace vf::ui
