// The controller's side of the filter list: what it puts in force. The list,
// the library and the editor are FilterListController's.
#include <QLabel>
#include <QMessageBox>

#include "core/support/logger.h"
#include "ui/mainwindow.h"
#include "ui/connectioncontroller.h"
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

void VellumfoxAppDelegate::onFilterCorrupt(const QString& reason) {
    auto* box = new QMessageBox(QMessageBox::Critical, u"Filter is corrupt"_s, u"Filter is corrupt"_s,
                                QMessageBox::Ok, window_.get());
    box->setInformativeText(reason);
    box->setWindowModality(Qt::ApplicationModal);
    connection_->showBox(box);
}

}  // namespace vf::ui
