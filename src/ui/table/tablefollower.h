#pragma once
// TableFollower: how the log table moves when its rows change. It owns the
// follow mode (keep the last row in view, mirrored by the Follow action), the
// row the user last selected, and the refresh in progress. On each refresh it
// keeps the rows being read where they are (old rows dropped from the front
// must not move them), restores the selected row once a new filter's rows
// land, and scrolls to the end while following. It also copies the selected
// rows.
//
// Main thread only. The window and the model are not owned and outlive the
// follower.

#include <QObject>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/log/logrow.h"
#include "core/log/rowindex.h"
#include "core/log/storechange.h"

class QTableView;

namespace vf::ui {

class LogTableModel;
class MainWindow;
class SelectableTableView;

// The row to act on: the current row if it is selected, else the last
// selected row; -1 without a selection.
int selectedRowOf(const QTableView& table);

class TableFollower final : public QObject {
    Q_OBJECT
public:
    // Listens to the window's log table of the moment (its tab's table) from
    // here on; the Follow action mirrors this follower while that table is
    // the current one.
    TableFollower(MainWindow& window, LogTableModel& model, QObject* parent = nullptr);

    bool scrollToBottom() const { return scrollToBottom_; }
    // The idx of the row the user selected last (kept across refreshes).
    std::optional<RowIdx> selectedLogMessage() const {
        return selectedRow_ ? std::optional(selectedRow_->idx()) : std::nullopt;
    }

    // Sets follow mode and the Follow action's check mark; does not scroll.
    void changeScrollToBottom(bool follow);
    // Flips follow mode and, when it is now on, goes to the end.
    void toggleAutoFollow();
    // Its tab became the current one: the Follow action shows its mode.
    void showFollowMode();
    // A new filter is on its way: the refresh that brings it restores the
    // selection, and selection changes until then are the table's own.
    void onFilterUpdating();
    // Puts the store's update into the model. `filterInForce`: the store
    // already filters with the predicate the controller chose last.
    void showRows(const LogUpdate& update, bool filterInForce);

    // Selects the shown row numbered `idx` of `source` alone, at the top of
    // the table; false when it is not shown. The source tells rows apart
    // in a merged timeline, where sources share index numbers.
    bool selectRowAtTop(RowIdx idx, std::string_view source = {});
    // The selected rows as text on the clipboard, in table order.
    void copySelection() const;

private:
    void followLog();
    bool isCurrent() const;
    void onScrollChanged();
    bool nearEnd() const;
    void onSelectionChanged();
    void restoreRowSelections();
    RowPtr firstVisibleRow() const;
    void keepFirstVisible(const Row& row);

    MainWindow& window_;
    SelectableTableView& table_;
    LogTableModel& model_;
    bool scrollToBottom_ = false;
    bool isReloading_ = false;
    bool filterUpdating_ = false;
    // The row itself, not its index: in a merged timeline rows of different
    // sources share indexes. Holding it keeps it valid after the store let
    // it go.
    RowPtr selectedRow_;
};

}  // namespace vf::ui
