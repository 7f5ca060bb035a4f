// Search: the search field, Find / Find Next / Find Previous, and the live
// search typed straight into the log table.
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QStatusBar>

#include "core/log/logsearch.h"
#include "ui/highlightdelegate.h"
#include "ui/logtablemodel.h"
#include "ui/mainwindow.h"
#include "ui/messageactions.h"
#include "ui/tablefollower.h"
#include "ui/vellumfoxappdelegate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

bool isNavigationKey(int key) {
    switch (key) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
    case Qt::Key_Home:
    case Qt::Key_End:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Help:
        return true;
    default:
        return key >= Qt::Key_F1 && key <= Qt::Key_F35;
    }
}

}  // namespace

void VellumfoxAppDelegate::search(const QString& text) { doSearch(text, 0); }

void VellumfoxAppDelegate::find() {
    window_->searchField()->setFocus(Qt::ShortcutFocusReason);
    window_->searchField()->selectAll();
}

void VellumfoxAppDelegate::findNext() {
    const QString text = window_->searchField()->text();
    if (text.isEmpty()) find();
    else doSearch(text, 1);
}

void VellumfoxAppDelegate::findPrevious() { doSearch(window_->searchField()->text(), -1); }

void VellumfoxAppDelegate::doSearch(const QString& text, int direction) {
    SelectableTableView* table = window_->logTable();
    highlight_->setSearchText(text);
    const RowList& rows = tableModel_->rows();
    if (rows.isEmpty() || text.isEmpty()) {
        table->viewport()->update();
        return;
    }
    const RowSearch rowSearch(text);
    const int selected = selectedRowOf(*table);
    const SearchOutcome outcome =
        vf::findNext(rows, rowSearch, selected >= 0 ? std::optional<qsizetype>(selected) : std::nullopt, direction);
    for (int i = 0; i < outcome.beeps; ++i) QApplication::beep();
    if (outcome.row) {
        const int row = int(*outcome.row);
        table->selectRowAlone(row);
        table->scrollTo(tableModel_->index(row, 0), QAbstractItemView::EnsureVisible);
        window_->statusBar()->clearMessage();
    } else {
        // A beep is often silent on Linux: say it where the eye is.
        const Row* current = tableModel_->rowAt(selected);
        const bool onlyHere = current != nullptr && rowSearch.matches(*current);
        window_->statusBar()->showMessage((onlyHere ? u"No other match for “%1”"_s : u"No match for “%1”"_s).arg(text),
                                          5000);
    }
    table->viewport()->update();
}

void VellumfoxAppDelegate::setSearchText(const QString& text) {
    window_->searchField()->setText(text);
    doSearch(text, 0);
}

bool VellumfoxAppDelegate::onKeyEventForTableView(SelectableTableView* view, QKeyEvent* event) {
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier);
    const bool command = modifiers & Qt::ControlModifier;
    const int key = event->key();
    if (command) {
        if (key != Qt::Key_Backspace && key != Qt::Key_Delete) return false;
        if (view == window_->logTable()) clearLog();
        return true;
    }
    if (modifiers != Qt::NoModifier || view != window_->logTable()) return false;
    return onLogTableKey(event);
}

bool VellumfoxAppDelegate::onLogTableKey(QKeyEvent* event) {
    const int key = event->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        findNext();
        return true;
    }
    if (isNavigationKey(key)) return false;
    const QString current = window_->searchField()->text();
    if (key == Qt::Key_Backspace || key == Qt::Key_Delete) {
        setSearchText(current.size() < 2 ? QString() : current.chopped(1));
        return true;
    }
    if (key == Qt::Key_Escape) {
        isLiveSearching_ = false;
        setSearchText(QString());
        return true;
    }
    const QString typed = event->text();
    if (typed.isEmpty() || !typed.at(0).isPrint()) return false;
    setSearchText(isLiveSearching_ ? current + typed : typed);
    isLiveSearching_ = true;
    return true;
}

QMenu* VellumfoxAppDelegate::menuForTableView(SelectableTableView* view, int column, int row) {
    if (view != window_->logTable()) return nullptr;
    return messageActions_->menuForRow(column, row);
}

void VellumfoxAppDelegate::onDoubleClick(SelectableTableView* view, int) {
    if (view == window_->logTable()) messageActions_->onViewText();
}

}  // namespace vf::ui
