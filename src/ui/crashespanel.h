#pragma once
// The Crashes panel: the crashes and ANRs the crash detector found in the
// log, newest first, as a second tab beside the filter list, with their
// count in the toolbar. Choosing a crash shows exactly its rows (a filter of
// their idx) and selects the first; "Copy Crash" copies its lines as text.
// A crash found while the table follows the log marks the count until the
// user looks at the panel.
//
// The panel feeds its detector from the rows the controller already has:
// on each table update it takes the store's rows it has not seen yet (by
// idx). The controller calls onLogUpdated() and clear(); nothing else of
// the controller changes.
//
// Main thread only (the detector it owns is fed on the main thread).

#include <QPointer>
#include <QWidget>
#include <optional>

#include "core/log/crashdetector.h"

class QAction;
class QLabel;
class QListWidget;
class QPushButton;
class QTabWidget;

namespace vf::ui {

class VellumfoxAppDelegate;

class CrashesPanel final : public QWidget {
    Q_OBJECT
public:
    // Builds the panel and puts it into the controller's window (a tab beside
    // the filter list, an action in the toolbar). Call after the window exists.
    explicit CrashesPanel(VellumfoxAppDelegate& controller);

    // The controller has shown new rows: feed the ones not seen yet, refresh
    // the list, and select the chosen crash's first row once its filter landed.
    void onLogUpdated();
    // A new log (cleared, or a file opened): forget every crash.
    void clear();

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
    void onTabChanged();
    void feedNewRows();
    void refreshList();
    void updateCount();
    void setMarked(bool marked);
    const CrashRecord* chosenCrash() const;
    void showRows(const CrashRecord& crash);

    VellumfoxAppDelegate& controller_;
    CrashDetector detector_;
    QTabWidget* tabs_ = nullptr;
    QListWidget* list_ = nullptr;
    QPushButton* copyButton_ = nullptr;
    QLabel* hint_ = nullptr;
    QAction* countAction_ = nullptr;
    uint64_t nextIdx_ = 0;         // rows below this idx were fed
    uint64_t shownRevision_ = 0;   // the detector's revision the list shows
    uint64_t seenDetected_ = 0;    // crashes found when the user last looked
    bool marked_ = false;
    int narrowWidth_ = 0;          // the side's width before the crashes widened it
    uint64_t chosenId_ = 0;                  // the crash whose rows are shown
    PredicatePtr chosenFilter_;              // the filter showing them
    size_t chosenRows_ = 0;                  // how many rows that filter passes
    std::optional<uint64_t> pendingSelect_;  // idx to select once that filter landed
};

}  // namespace vf::ui
