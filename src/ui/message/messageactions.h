#pragma once
// MessageActions: what the log table offers for its rows, and the message
// viewer behind it. It answers the table's right clicks with the row menu
// (from rowMenuItems()), its double clicks with the viewer and its keys
// (Ctrl+Backspace or Ctrl+Delete clears the log through the Clear action,
// other keys go to the live search). It copies messages, opens a cell's
// first link, searches the web for a cell, names an app for a pid, and
// opens a terminal typing into the device. It adds "Copy Message" and "View
// Message" to the Edit menu, "Import Filters..." to the File menu and "Open
// Typing Terminal" to the Device menu.
//
// Main thread only. The window, model, store, filter list and search are
// not owned and outlive this object.

#include <QObject>
#include <QPointer>
#include <functional>

#include "core/log/logrow.h"
#include "ui/message/rowmenumodel.h"
#include "ui/window/selectabletableview.h"

class QMenu;

namespace vf {
class LogDatasource;
}

namespace vf::ui {

class FilterListController;
class LogTableModel;
class MainWindow;
class SearchController;
class TextViewerWindow;

// The web search engine's address (the search goes to its "/search?q=").
inline constexpr char kWebSearchEngineKey[] = "webSearchEngine";
inline constexpr char kDefaultWebSearchEngine[] = "https://www.google.com";

// Where the messages of `rows` come from, for the viewer's heading: for one
// row its time, app, pid, tid, level and tag; for several their count and
// the time of the first and the last; empty for none.
QString messageDetails(const RowList& rows);

class MessageActions final : public QObject, public TableViewMenuDelegate {
    Q_OBJECT
public:
    MessageActions(MainWindow& window, LogTableModel& model, LogDatasource& store, FilterListController& filters,
                   SearchController& search, QObject* parent = nullptr);
    ~MessageActions() override;

    // The serial for the typing terminal; empty when there is no device.
    void setDeviceSerialSource(std::function<QString()> source) { serialSource_ = std::move(source); }

    // The row menu for a right click on (column, row) of the log table.
    QMenu* menuForRow(int column, int row);
    RowMenuContext menuContext(int column, int row) const;

    void copyMessageOnly();
    void onViewText();
    void openRigtClickedLink();
    void onSearchGoogle();
    void userDefinedAppName();
    // The quick filter becomes "package:NAME" for the clicked row's app.
    void showOnlyApp();
    void openTypingTerminal();

    // TableViewMenuDelegate (the log table).
    QMenu* menuForTableView(SelectableTableView* view, int column, int row) override;
    bool onKeyEventForTableView(SelectableTableView* view, QKeyEvent* event) override;
    void onDoubleClick(SelectableTableView* view, int row) override;

private:
    void addMenuBarItems();
    RowList selectedRows() const;
    QString cellValue(int column, int row) const;
    void addItems(QMenu* menu, const QList<RowMenuItem>& items);
    void trigger(RowMenuAction action);

    MainWindow& window_;
    SelectableTableView& table_;  // the window's log table when it was made: its tab's
    LogTableModel& model_;
    LogDatasource& store_;
    FilterListController& filters_;
    SearchController& search_;
    QPointer<TextViewerWindow> textViewer_;
    std::function<QString()> serialSource_;
    int column_ = -1;  // the right-clicked cell
    int row_ = -1;
};

}  // namespace vf::ui
