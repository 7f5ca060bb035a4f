#pragma once
// FilterListController: the filter list beside the log table and everything
// done with saved filters from the viewer. It owns the library (shared with
// the companion through the "predicates" preference), the list's model, the
// + / - buttons under the list, the list's context menu and the editor
// sheet; it turns the list's choice and the quick-filter field (words, a
// "p: " predicate or a query, see QuickFilterAssist for its completion and
// history) into the one predicate it hands to its host.
//
// Main thread only. The host and the window are not owned and outlive the
// controller.

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <memory>

#include "core/filter/filterlibrary.h"
#include "core/filter/query.h"
#include "core/log/logrow.h"
#include "ui/selectabletableview.h"

class QItemSelection;
class QMessageBox;
class QStringListModel;

namespace vf::ui {

class FilterSheet;
class MainWindow;
class QuickFilterAssist;

// What the filter list needs from the viewer's controller. Main thread.
class FilterListHost {
public:
    virtual ~FilterListHost() = default;
    // Puts `predicate` (null: none) in force: the store and the status line.
    virtual void setPredicate(PredicatePtr predicate) = 0;
    // A new filter is on its way to the table: the refresh that brings it
    // restores the row selection.
    virtual void onFilterUpdating() = 0;
    // A saved filter was chosen in the list: follow the log.
    virtual void onFilterChosen() = 0;
    // Before importing from the open panel: the logger stops.
    virtual void onImportStarting() = 0;
    // What the age and is:crash of queries are measured against now.
    virtual QueryContext queryContext() const = 0;
    // Every row of the store (the tags and packages a query may complete).
    virtual RowList allRows() const = 0;
};

class FilterListController final : public QObject, public TableViewMenuDelegate {
    Q_OBJECT
public:
    FilterListController(MainWindow& window, FilterListHost& host, QObject* parent = nullptr);
    ~FilterListController() override;

    FilterLibrary& library() { return library_; }
    const QStringList& sortedFilterKeys() const { return library_.sortedFilterKeys(); }
    FilterSheet* sheet() const;
    QMessageBox* currentPrompt() const;

    // (Re)reads the library and reloads the list; the chosen filters stay chosen.
    void loadFilters();
    // The list's choice AND the quick filter, handed to the host with its
    // queries bound to the host's context.
    void applySelectedFilters();
    // Opens the editor with the quick filter as a new filter to save: its
    // filter-language text, or QUERY "..." for a query that has none.
    void saveQuickFilter();
    QuickFilterAssist* quickFilterAssist() const { return assist_; }
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

private:
    void buildButtons();
    void reloadFilterList();
    void selectNames(const QStringList& names);
    void onSelectionChanged(const QItemSelection& selected);
    void openSheet(const QString& name, const QString& text);
    void saveFromSheet(const QString& name, const PredicatePtr& predicate);

    MainWindow& window_;
    FilterListHost& host_;
    PreferencesFilterStore store_;
    FilterLibrary library_;
    QStringListModel* model_ = nullptr;
    QuickFilterAssist* assist_ = nullptr;
    QPointer<FilterSheet> sheet_;
    QPointer<QMessageBox> prompt_;
    bool updatingSelection_ = false;
    bool sheetUsed_ = false;
};

}  // namespace vf::ui
