#include "ui/table/tablefollower.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QScrollBar>
#include <algorithm>

#include "core/log/logexport.h"
#include "core/support/logger.h"
#include "ui/table/logtablemodel.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"

namespace vf::ui {

int selectedRowOf(const QTableView& table) {
    const QItemSelectionModel* selection = table.selectionModel();
    const QModelIndex current = selection->currentIndex();
    if (current.isValid() && selection->isRowSelected(current.row(), {})) return current.row();
    const QModelIndexList rows = selection->selectedRows();
    int last = -1;
    for (const QModelIndex& index : rows) last = qMax(last, index.row());
    return last;
}

TableFollower::TableFollower(MainWindow& window, LogTableModel& model, QObject* parent)
    : QObject(parent), window_(window), table_(*window.logTable()), model_(model) {
    SelectableTableView* table = &table_;
    connect(table->verticalScrollBar(), &QScrollBar::valueChanged, this, &TableFollower::onScrollChanged);
    connect(table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &TableFollower::onSelectionChanged);
    connect(&window_, &MainWindow::currentSourceChanged, this, &TableFollower::showFollowMode);
}

void TableFollower::showRows(const LogUpdate& update, bool filterInForce) {
    SelectableTableView* table = &table_;
    const RowPtr anchor = scrollToBottom_ ? RowPtr() : firstVisibleRow();
    isReloading_ = true;
    // An update posted before the new filter's pass landed is not the one
    // the selection waits for.
    const bool filterLanded = filterUpdating_ && filterInForce;
    model_.setRows(update.rows, update.change);
    if (filterLanded) {
        restoreRowSelections();
        filterUpdating_ = false;
    } else if (anchor) {
        keepFirstVisible(*anchor);
    }
    isReloading_ = false;
    table->viewport()->update();
    followLog();
}

void TableFollower::onFilterUpdating() { filterUpdating_ = true; }

RowPtr TableFollower::firstVisibleRow() const {
    const qsizetype row = table_.rowAt(0);
    return row >= 0 && row < model_.rows().size() ? model_.rows().at(row) : RowPtr();
}

// Old rows dropped from the front must not move the rows the user is reading.
void TableFollower::keepFirstVisible(const Row& anchor) {
    SelectableTableView* table = &table_;
    if (model_.rowAt(ViewPos(table->rowAt(0))) == &anchor) return;
    const std::optional<ViewPos> row = model_.rowOf(anchor);
    if (!row) return;
    VF_LOG("Old last row: {}, new last row: {}", table->rowAt(0), row->value());
    table->scrollTo(model_.index(row->row(), 0), QAbstractItemView::PositionAtTop);
}

void TableFollower::followLog() {
    if (scrollToBottom_) table_.scrollToBottom();
}

void TableFollower::changeScrollToBottom(bool follow) {
    if (scrollToBottom_ == follow) return;
    scrollToBottom_ = follow;
    if (isCurrent()) window_.followAction->setChecked(follow);
}

void TableFollower::toggleAutoFollow() {
    changeScrollToBottom(!scrollToBottom_);
    showFollowMode();
    followLog();
}

bool TableFollower::isCurrent() const { return window_.logTable() == &table_; }

void TableFollower::showFollowMode() {
    if (isCurrent()) window_.followAction->setChecked(scrollToBottom_);
}

void TableFollower::onScrollChanged() {
    if (!isReloading_) changeScrollToBottom(nearEnd());
}

bool TableFollower::nearEnd() const {
    SelectableTableView* table = &table_;
    const int lastVisible = table->rowAt(table->viewport()->height() - 1);
    // Unsigned on purpose: "no row" (-1) counts as the end, and with fewer
    // than five rows any real row is "above" it.
    const auto last = static_cast<unsigned long>(static_cast<long>(lastVisible));
    const auto threshold = static_cast<unsigned long>(static_cast<long>(model_.rowCount()) - 5);
    return last >= threshold;
}

void TableFollower::onSelectionChanged() {
    if (filterUpdating_ || isReloading_) return;
    const int row = selectedRowOf(table_);
    if (model_.rowAt(ViewPos(row)) == nullptr) {
        selectedRow_ = RowPtr();
        return;
    }
    VF_LOG("Selected logDataTable row: {}", row);
    selectedRow_ = model_.rows().at(row);
    changeScrollToBottom(row == model_.rowCount() - 1);
}

void TableFollower::restoreRowSelections() {
    if (model_.rowCount() == 0 || !selectedRow_) return;
    const std::optional<ViewPos> row = model_.rowOf(*selectedRow_);
    if (!row) return;
    SelectableTableView* table = &table_;
    QWidget* focused = QApplication::focusWidget();
    table->selectRowAlone(row->row());
    table->scrollTo(model_.index(row->row(), 0), QAbstractItemView::PositionAtCenter);
    // The centred row wins over following, unless it is at the end anyway.
    changeScrollToBottom(nearEnd());
    if (focused != nullptr) focused->setFocus();
}

bool TableFollower::selectRowAtTop(RowIdx idx, std::string_view source) {
    const std::optional<ViewPos> row = model_.rowOfIdx(idx, source);
    if (!row) return false;
    SelectableTableView* table = &table_;
    table->selectRowAlone(row->row());
    table->scrollTo(model_.index(row->row(), 0), QAbstractItemView::PositionAtTop);
    return true;
}

void TableFollower::copySelection() const {
    QModelIndexList indexes = table_.selectionModel()->selectedRows();
    std::sort(indexes.begin(), indexes.end());
    RowList rows;
    rows.reserve(indexes.size());
    for (const QModelIndex& index : std::as_const(indexes)) rows.append(model_.rows().at(index.row()));
    if (rows.isEmpty()) return;
    QApplication::clipboard()->setText(copyText(rows, std::nullopt));
}

}  // namespace vf::ui
