#pragma once
// SearchController: finding text in the log table. It drives the search
// field (Find focuses it, Find Next / Find Previous step from the selected
// row and wrap around), marks the matches through the highlight delegate,
// says "No match" on the status line where a beep may be silent, clears the
// field and its marks on Escape in it, and runs the
// live search: characters typed into the log table go into the search field,
// Backspace takes one back, Escape ends it. The live search also ends when
// the application loses focus.
//
// Main thread only. The window, model, highlight delegate and status line
// are not owned and outlive the controller.

#include <QObject>
#include <QString>

class QKeyEvent;

namespace vf::ui {

class HighlightDelegate;
class LogTableModel;
class MainWindow;
class SelectableTableView;
class StatusLine;

class SearchController final : public QObject {
    Q_OBJECT
public:
    SearchController(MainWindow& window, LogTableModel& model, HighlightDelegate& highlight, StatusLine& status,
                     QObject* parent = nullptr);

    // Marks `text` and selects its first match from the selected row on.
    void search(const QString& text);
    void find();
    // The next match of the field's text; with an empty field: find().
    void findNext();
    void findPrevious();
    // Empties the search field and its marks (Escape in the field).
    void clearSearch();
    // A key without Ctrl typed into the log table: Return finds the next
    // match, printable text and Backspace edit the live search, Escape ends
    // it. False for keys the table handles itself.
    bool onTableKey(QKeyEvent* event);
    bool isLiveSearching() const { return isLiveSearching_; }
    // The text this tab searched for last (the field is shared by the tabs).
    const QString& searchText() const { return searchText_; }

private:
    void doSearch(const QString& text, int direction);
    void setSearchText(const QString& text);

    MainWindow& window_;
    SelectableTableView& table_;  // the window's log table when it was made: its tab's
    LogTableModel& model_;
    HighlightDelegate& highlight_;
    StatusLine& status_;
    bool isLiveSearching_ = false;
    QString searchText_;
};

}  // namespace vf::ui
