// The controller's side of the log table: refreshes and the status line.
// Follow mode, selection and fonts are TableFollower's.
#include <QLabel>

#include "core/support/buildinfo.h"
#include "ui/connectioncontroller.h"
#include "ui/crashespanel.h"
#include "ui/logtablemodel.h"
#include "ui/mainwindow.h"
#include "ui/statustexts.h"
#include "ui/tablefollower.h"
#include "ui/vellumfoxappdelegate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

const RowList& VellumfoxAppDelegate::logData() const { return tableModel_->rows(); }

void VellumfoxAppDelegate::onLogUpdated(const LogUpdate& update) {
    follower_->showRows(update, logDatasource_->logDataFilter() == predicate_);
    updateStatus();
    if (crashes_ != nullptr) crashes_->onLogUpdated();  // the crash detector sees the new rows
    rebindToCrashes();
}

void VellumfoxAppDelegate::clearLog() {
    logDatasource_->clearLog();
    tableModel_->setRows({});
    if (crashes_ != nullptr) crashes_->clear();
    updateStatus();
}

bool VellumfoxAppDelegate::scrollToBottom() const { return follower_->scrollToBottom(); }

std::optional<uint64_t> VellumfoxAppDelegate::selectedLogMessage() const { return follower_->selectedLogMessage(); }

void VellumfoxAppDelegate::onFilterUpdating() { follower_->onFilterUpdating(); }

void VellumfoxAppDelegate::changeScrollToBottom(bool follow) { follower_->changeScrollToBottom(follow); }

void VellumfoxAppDelegate::toggleAutoFollow() { follower_->toggleAutoFollow(); }

void VellumfoxAppDelegate::changeFontSize(bool bigger) {
    follower_->changeFontSize(bigger);
    fontsChanged();
}

void VellumfoxAppDelegate::copy() { follower_->copySelection(); }

void VellumfoxAppDelegate::updateStatus() {
    const qsizetype shown = tableModel_->rowCount();
    QString text;
    if (predicate_) {
        const qsizetype total = logDatasource_->logEventCount();
        if (shown != 0 || total != 0) {
            text = u"Viewing %1 of %2"_s.arg(shown).arg(total);
            if (session_->isLogging()) text += u"+"_s;
        }
    } else if (shown != 0) {
        text = u"Viewing: %1"_s.arg(shown);
    }
    if (text.isEmpty()) text = u"No Data       v(%1)"_s.arg(QLatin1String(build::kVersion));
    window_->statusViewing()->setText(text);
    window_->logTable()->setPlaceholderText(emptyTableHint(
        shown, {logDatasource_->logEventCount(), connection_->isDatasourceDevice(), session_->isLogging(),
                window_->statusFilter()->text()}));
}

}  // namespace vf::ui
