// The log table: refreshes, follow mode, selection, fonts and the status line.
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QPropertyAnimation>
#include <QScrollBar>

#include "core/log/logexport.h"
#include "core/support/buildinfo.h"
#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "ui/crashespanel.h"
#include "ui/highlightdelegate.h"
#include "ui/logtablemodel.h"
#include "ui/mainwindow.h"
#include "ui/statustexts.h"
#include "ui/tablecolumns.h"
#include "ui/connectioncontroller.h"
#include "ui/vellumfoxappdelegate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

const RowList& VellumfoxAppDelegate::logData() const { return tableModel_->rows(); }

void VellumfoxAppDelegate::onLogUpdated(const LogUpdate& update) {
    SelectableTableView* table = window_->logTable();
    const std::optional<uint64_t> anchor = scrollToBottom_ ? std::nullopt : firstVisibleIdx();
    isReloading_ = true;
    // An update posted before the new filter's pass landed is not the one
    // the selection waits for.
    const bool filterLanded = filterUpdating_ && logDatasource_->logDataFilter() == predicate_;
    tableModel_->setRows(update.rows, update.change);
    if (filterLanded) {
        restoreRowSelections();
        filterUpdating_ = false;
    } else if (anchor) {
        keepFirstVisible(*anchor);
    }
    isReloading_ = false;
    table->viewport()->update();
    followLog();
    updateStatus();
    if (crashes_ != nullptr) crashes_->onLogUpdated();  // the crash detector sees the new rows
}

std::optional<uint64_t> VellumfoxAppDelegate::firstVisibleIdx() const {
    const Row* row = tableModel_->rowAt(window_->logTable()->rowAt(0));
    return row != nullptr ? std::optional<uint64_t>(row->idx()) : std::nullopt;
}

// Old rows dropped from the front must not move the rows the user is reading.
void VellumfoxAppDelegate::keepFirstVisible(uint64_t idx) {
    SelectableTableView* table = window_->logTable();
    const Row* first = tableModel_->rowAt(table->rowAt(0));
    if (first != nullptr && first->idx() == idx) return;
    const int row = tableModel_->rowOfIdx(idx);
    if (row < 0) return;
    VF_LOG("Old last row: {}, new last row: {}", table->rowAt(0), row);
    table->scrollTo(tableModel_->index(row, 0), QAbstractItemView::PositionAtTop);
}

void VellumfoxAppDelegate::clearLog() {
    logDatasource_->clearLog();
    tableModel_->setRows({});
    if (crashes_ != nullptr) crashes_->clear();
    updateStatus();
}

void VellumfoxAppDelegate::followLog() {
    if (scrollToBottom_) window_->logTable()->scrollToBottom();
}

void VellumfoxAppDelegate::changeScrollToBottom(bool follow) {
    if (scrollToBottom_ == follow) return;
    scrollToBottom_ = follow;
    window_->followAction->setChecked(follow);
}

void VellumfoxAppDelegate::toggleAutoFollow() {
    changeScrollToBottom(!scrollToBottom_);
    window_->followAction->setChecked(scrollToBottom_);
    followLog();
}

void VellumfoxAppDelegate::onScrollChanged() {
    if (!isReloading_) changeScrollToBottom(nearEnd());
}

bool VellumfoxAppDelegate::nearEnd() const {
    SelectableTableView* table = window_->logTable();
    const int lastVisible = table->rowAt(table->viewport()->height() - 1);
    // Unsigned on purpose: "no row" (-1) counts as the end, and with fewer
    // than five rows any real row is "above" it.
    const auto last = static_cast<unsigned long>(static_cast<long>(lastVisible));
    const auto threshold = static_cast<unsigned long>(static_cast<long>(tableModel_->rowCount()) - 5);
    return last >= threshold;
}

int VellumfoxAppDelegate::selectedRow() const {
    const QItemSelectionModel* selection = window_->logTable()->selectionModel();
    const QModelIndex current = selection->currentIndex();
    if (current.isValid() && selection->isRowSelected(current.row(), {})) return current.row();
    const QModelIndexList rows = selection->selectedRows();
    int last = -1;
    for (const QModelIndex& index : rows) last = qMax(last, index.row());
    return last;
}

void VellumfoxAppDelegate::onLogTableSelectionChanged() {
    if (filterUpdating_ || isReloading_) return;
    const int row = selectedRow();
    const Row* selected = tableModel_->rowAt(row);
    if (selected == nullptr) {
        selectedLogMessage_.reset();
        return;
    }
    VF_LOG("Selected logDataTable row: {}", row);
    selectedLogMessage_ = selected->idx();
    changeScrollToBottom(row == tableModel_->rowCount() - 1);
}

void VellumfoxAppDelegate::restoreRowSelections() {
    if (tableModel_->rowCount() == 0 || !selectedLogMessage_) return;
    const int row = tableModel_->rowOfIdx(*selectedLogMessage_);
    if (row < 0) return;
    SelectableTableView* table = window_->logTable();
    QWidget* focused = QApplication::focusWidget();
    table->selectRowAlone(row);
    table->scrollTo(tableModel_->index(row, 0), QAbstractItemView::PositionAtCenter);
    // The centred row wins over following, unless it is at the end anyway.
    changeScrollToBottom(nearEnd());
    if (focused != nullptr) focused->setFocus();
}

void VellumfoxAppDelegate::applyStyles() {
    SelectableTableView* table = window_->logTable();
    table->verticalHeader()->setMinimumSectionSize(1);
    table->verticalHeader()->setDefaultSectionSize(styles_.rowHeight);
    table->horizontalHeader()->setFont(QApplication::font());
    followFontSize(table->horizontalHeader(), styles_.pointSize);
}

void VellumfoxAppDelegate::changeFontSize(bool bigger) {
    VF_LOG("makeBigger:{}", int(bigger));
    const double size = steppedFontSize(readFontSize(), bigger);
    Preferences::setValue(QLatin1String(prefs::kDefaultFontSize), size);
    fontsChanged();
}

void VellumfoxAppDelegate::copy() {
    SelectableTableView* table = window_->logTable();
    QModelIndexList indexes = table->selectionModel()->selectedRows();
    std::sort(indexes.begin(), indexes.end());
    RowList rows;
    rows.reserve(indexes.size());
    for (const QModelIndex& index : std::as_const(indexes)) rows.append(tableModel_->rows().at(index.row()));
    if (rows.isEmpty()) return;
    QApplication::clipboard()->setText(copyText(rows, std::nullopt));
}

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
