#pragma once
// FilterListController: the filter list beside the log table and everything
// done with saved filters from the viewer. It owns the library (shared with
// the companion through the "predicates" preference), the list's model, the
// + / - buttons under the list, the list's context menu and the editor
// sheet; it turns the list's choice, the level selector and the
// quick-filter field (words, a "p: " predicate or a query, see
// QuickFilterAssist for its completion and history) into the one predicate
// it puts in force, named on the status line in the user's words. It is the
// only writer of the list's selection, the level selector and the
// quick-filter field.
//
// Main thread only. The window and every filter in force it is given are not
// owned and outlive the controller (or are handed over before they go).

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>
#include <memory>

#include "core/filter/filterlibrary.h"
#include "core/log/logrow.h"
#include "ui/window/selectabletableview.h"

class QItemSelection;
class QMessageBox;
class QStringListModel;

namespace vf::ui {

class FilterInForce;
class FilterSheet;
class MainWindow;
class QuickFilterAssist;

class FilterListController final : public QObject, public TableViewMenuDelegate {
    Q_OBJECT
public:
    // Its choices go nowhere until showFor() gives it the current tab's filter.
    explicit FilterListController(MainWindow& window, QObject* parent = nullptr);
    ~FilterListController() override;

    FilterLibrary& library() { return library_; }
    const QStringList& sortedFilterKeys() const { return library_.sortedFilterKeys(); }
    FilterSheet* sheet() const;
    QMessageBox* currentPrompt() const;

    // (Re)reads the library and reloads the list; the chosen filters stay chosen.
    void loadFilters();
    // The list's choice AND the level AND the quick filter, put in force.
    void applySelectedFilters();
    // Opens the editor with the quick filter as a new filter to save: its
    // filter-language text, or QUERY "..." for a query that has none.
    void saveQuickFilter();
    // The store's rows, whose tags and packages the quick filter completes.
    void setRowSource(std::function<RowList()> rows) { rows_ = std::move(rows); }
    QuickFilterAssist* quickFilterAssist() const { return assist_; }
    // Every row: "All Messages" chosen, the quick filter empty, every level.
    void showAllMessages();
    // What the list, the level selector and the quick filter say, kept by
    // each tab while another is current.
    struct Choice {
        QStringList names;         // the saved filters chosen
        bool allMessages = true;   // "All Messages" chosen
        QString quickText;
        int level = 0;             // the level selector's index
    };
    Choice choice() const;
    // Another tab is current: from now on its `filter` takes the choices,
    // and the widgets show the `choice` that tab had. Nothing is applied
    // again (the tab's filter stays in force as it is).
    void showFor(FilterInForce& filter, const Choice& choice);
    // No row of the list chosen (a filter chosen elsewhere is in force).
    void clearChoice();
    // The selected list rows >= 1 in ascending order, and their names.
    QList<int> selectedFilterRows() const;
    int selectedRow() const;  // the first selected row, or -1
    QStringList selectedFilterNames() const;

    // Library actions (the + / - buttons, the list's menu, the File menu).
    void addFilter();
    void removeFilter();
    void editFilter();
    void newFilterFromSelected();
    void exportSelectedFilters();
    void importFilters();                     // asks for a file
    void importFilters(const QString& path);  // opening a ".filters" file

    // From a log table cell: the column's row key, its header title, the value.
    void filterBySelected(const QString& key, const QString& title, const QString& value);
    void applyQuickFilter(const QString& title, const QString& value);
    void updateFilterWithSelected(bool include, const QString& key, const QString& value);

    // The editor sheet.
    void showPredicateEditor();
    void closePredicateSheet();  // Save
    void applyPredicate();       // preview
    void cancelPredicateEditing();

    // TableViewMenuDelegate (the filter list).
    QMenu* menuForTableView(SelectableTableView* view, int column, int row) override;
    bool onKeyEventForTableView(SelectableTableView*, QKeyEvent*) override { return false; }
    void onDoubleClick(SelectableTableView* view, int row) override;

Q_SIGNALS:
    // A new filter is on its way to the table: the refresh that brings it
    // restores the row selection.
    void filterChanging();
    // A saved filter was chosen in the list: the table follows the log.
    void filterChosen();
    // Filters are about to be imported from the open panel.
    void importStarting();

private:
    void buildButtons();
    void reloadFilterList();
    void selectNames(const QStringList& names);
    void onSelectionChanged(const QItemSelection& selected);
    void openSheet(const QString& name, const QString& text);
    void saveFromSheet(const QString& name, const PredicatePtr& predicate);

    MainWindow& window_;
    FilterInForce* filter_ = nullptr;  // the current tab's
    PreferencesFilterStore store_;
    FilterLibrary library_;
    QStringListModel* model_ = nullptr;
    QuickFilterAssist* assist_ = nullptr;
    std::function<RowList()> rows_;
    QPointer<FilterSheet> sheet_;
    QPointer<QMessageBox> prompt_;
    bool updatingSelection_ = false;
    bool sheetUsed_ = false;
};

}  // namespace vf::ui
