#pragma once
// StatusLine: the main window's status bar, and the only code that writes
// it: how many rows are shown ("Viewing ..."), the filter in force
// ("Filter: ..."), passing notes (a search without a match, what a device's
// state asks of the user, the report a crashed run left), what the log
// table says while it is empty, and the bar of a long task (a file opening).
//
// Main thread only. The window outlives it.

#include <QString>

#include "ui/window/statustexts.h"

class QLabel;
class QProgressBar;
class QTimer;
class QWidget;

namespace vf::ui {

class MainWindow;

class StatusLine final {
public:
    // Puts its labels into `window`'s status bar.
    explicit StatusLine(MainWindow& window);
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    // The count of `shown` rows, and the empty table's hint.
    void showCounts(qsizetype shown, TableState state);
    // "Filter: " and `description`.
    void showFilter(const QString& description);
    // A note until the next one, or for `timeoutMs` when that is not 0. It
    // sits beside the count and the filter, which stay in view.
    void showNote(const QString& text, int timeoutMs = 0);
    void clearNote();
    // What every tab holds together (rows, memory); empty: nothing, one tab.
    void showTotals(const QString& text);
    QString totalsText() const;

    // The bar of a long task, with `text` beside it: `done` of `total`
    // (a busy bar while `total` is 0), until hideProgress(). Notes leave it
    // in place.
    void showProgress(const QString& text, uint64_t done, uint64_t total);
    void hideProgress();

    QString viewingText() const;
    // The task's text and its bar's value in thousandths; -1: no bar.
    QString progressText() const;
    int progressPermille() const;
    QString filterText() const;
    QString note() const;

private:
    MainWindow& window_;
    QLabel* viewing_ = nullptr;
    QLabel* filter_ = nullptr;
    QLabel* note_ = nullptr;
    QTimer* noteTimer_ = nullptr;
    QWidget* task_ = nullptr;  // the label and the bar, on the bar's right
    QLabel* taskText_ = nullptr;
    QProgressBar* taskBar_ = nullptr;
    QLabel* totals_ = nullptr;
};

}  // namespace vf::ui
