// The controller's side of the filter list: what it puts in force. The list,
// the library and the editor are FilterListController's.
#include <QLabel>
#include <QMessageBox>

#include "core/log/querycontext.h"
#include "core/support/logger.h"
#include "ui/mainwindow.h"
#include "ui/connectioncontroller.h"
#include "ui/crashespanel.h"
#include "ui/vellumfoxappdelegate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

const QStringList& VellumfoxAppDelegate::sortedFilterKeys() const { return filterList_->sortedFilterKeys(); }

void VellumfoxAppDelegate::loadFilters() { filterList_->loadFilters(); }

void VellumfoxAppDelegate::quickFilter() { filterList_->applySelectedFilters(); }

void VellumfoxAppDelegate::applySelectedFilters() { filterList_->applySelectedFilters(); }

void VellumfoxAppDelegate::importFilters(const QString& path) { filterList_->importFilters(path); }

void VellumfoxAppDelegate::onImportStarting() {
    if (session_->isLogging()) stopLogging();
}

void VellumfoxAppDelegate::setPredicate(PredicatePtr predicate) {
    predicate_ = std::move(predicate);
    logDatasource_->setLogDataFilter(predicate_);
    window_->statusFilter()->setText(predicate_ ? u"Filter: "_s + predicate_->format() : u"Filter: All Messages"_s);
}

// A file: age counts back from its newest row; a device: from now. is:crash
// takes the rows of the crashes the panel lists.
QueryContext VellumfoxAppDelegate::queryContext() const {
    QueryContext context;
    if (!connection_->isDatasourceDevice()) context = fileQueryContext(logDatasource_->getDataAll(), 0);
    if (crashes_ != nullptr) context.crashRows = crashRowsOf(crashes_->detector());
    return context;
}

RowList VellumfoxAppDelegate::allRows() const { return logDatasource_->getDataAll(); }

// A filter with is:crash shows the crashes known when it was bound; one more
// found binds it again.
void VellumfoxAppDelegate::rebindToCrashes() {
    if (crashes_ == nullptr || crashes_->detector().revision() == crashRevision_) return;
    crashRevision_ = crashes_->detector().revision();
    if ((queryUses(predicate_) & kQueryUsesCrashes) != 0) setPredicate(bindQueryContext(predicate_, queryContext()));
}

void VellumfoxAppDelegate::onFilterCorrupt(const QString& reason) {
    auto* box = new QMessageBox(QMessageBox::Critical, u"Filter is corrupt"_s, u"Filter is corrupt"_s,
                                QMessageBox::Ok, window_.get());
    box->setInformativeText(reason);
    box->setWindowModality(Qt::ApplicationModal);
    connection_->showBox(box);
}

}  // namespace vf::ui
