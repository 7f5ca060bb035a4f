#pragma once
// The Crashes panel: the crashes and ANRs the crash detector found in the
// log, newest first, as a second tab beside the filter list, with their
// count in the toolbar. Choosing a crash shows exactly its rows (a filter of
// their idx) and selects the first; "Copy Crash" copies its lines as text.
// A crash found while the table follows the log marks the count until the
// user looks at the panel.
//
// The panel feeds its detector from the store's rows: on each table update
// it takes the rows appended since the last (the mark of the store's list
// says which); a list replaced (cleared, a file opened) starts it afresh.
// What it needs of the rest of the viewer goes through its CrashesHost.
//
// Main thread only (the detector it owns is fed on the main thread).

#include <QPointer>
#include <QWidget>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/filter/predicate.h"
#include "core/log/crashdetector.h"
#include "core/log/storechange.h"

class QAction;
class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QTabWidget;

namespace vf {
class LogDatasource;
}

namespace vf::ui {

class MainWindow;

// What the crashes panel asks of the viewer. Main thread.
class CrashesHost {
public:
    virtual ~CrashesHost() = default;
    // Puts `filter` in force in place of the filter list's choice; the
    // status line names it by `description`.
    virtual void showOnly(PredicatePtr filter, const QString& description) = 0;
    // The filter in force, whoever chose it.
    virtual PredicatePtr filterInForce() const = 0;
    // Whether the table's rows are those of the filter in force yet.
    virtual bool filterShown() const = 0;
    // Selects the shown row `idx` of `source` (a row's `source`, which tells
    // the sources of a merged timeline apart) alone, at the top of the
    // table; false when it is not shown.
    virtual bool selectRowAtTop(RowIdx idx, std::string_view source) = 0;
    // Whether the rows come from several sources (a merged timeline), so a
    // crash's rows are told by their source as well as their idx. A single
    // source's rows are not: its name changes with its tab's title.
    virtual bool mixesSources() const = 0;
};

class CrashesPanel final : public QWidget {
    Q_OBJECT
public:
    // Builds the panel into `window` (a page of the tab beside the filter
    // list, an action in the toolbar) for the window's current log table's
    // source, reading the rows of `store`; both show while that table is current. The window owns it; the
    // store and the host outlive it.
    CrashesPanel(MainWindow& window, const LogDatasource& store, CrashesHost& host);

    // The table has shown new rows: feed the ones not seen yet, refresh the
    // list, and select the chosen crash's first row once its filter landed.
    // `following`: the rows come from a device and the table follows them,
    // so a new crash is news until the panel is looked at.
    void onLogUpdated(bool following);

    const CrashDetector& detector() const { return detector_; }
    QListWidget* list() const { return list_; }
    QAction* countAction() const { return countAction_; }
    bool isMarked() const { return marked_; }
    // The line under the list: how many crashes, and how many the limit dropped.
    QString summaryText() const;

    // Shows the rows of the crash in list position `row` (newest first).
    void chooseCrash(int row);
    // The chosen crash's lines ("time app(pid) tid type tag: text"), as much
    // of it as the store still holds; empty when no crash is chosen.
    QString crashText() const;
    void copyCrash();

private:
    void clear();
    void onTabChanged();
    // Its page of the side tabs is the one shown.
    bool isLookedAt() const;
    void feedNewRows(bool following);
    void refreshList();
    void updateCount();
    void setMarked(bool marked);
    const CrashRecord* chosenCrash() const;
    void showRows(const CrashRecord& crash);

    const LogDatasource& store_;
    CrashesHost& host_;
    CrashDetector detector_;
    QTabWidget* tabs_ = nullptr;
    QStackedWidget* stack_ = nullptr;  // one page per source
    QListWidget* list_ = nullptr;
    QPushButton* copyButton_ = nullptr;
    QLabel* hint_ = nullptr;
    QAction* countAction_ = nullptr;
    ListMark fed_;                 // the store's list as far as it was fed
    uint64_t shownRevision_ = 0;   // the detector's revision the list shows
    uint64_t seenDetected_ = 0;    // crashes found when the user last looked
    bool marked_ = false;
    uint64_t chosenId_ = 0;                  // the crash whose rows are shown
    PredicatePtr chosenFilter_;              // the filter showing them
    size_t chosenRows_ = 0;                  // how many rows that filter passes
    // The row (idx, source) to select once that filter landed.
    std::optional<std::pair<RowIdx, std::string>> pendingSelect_;
};

}  // namespace vf::ui
