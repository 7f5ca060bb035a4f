// The controller's side of the log table's keys and menus. Searching is
// SearchController's; these forward to it for the menus and the tests.
#include <QKeyEvent>
#include <QMenu>

#include "ui/mainwindow.h"
#include "ui/messageactions.h"
#include "ui/searchcontroller.h"
#include "ui/vellumfoxappdelegate.h"

namespace vf::ui {

void VellumfoxAppDelegate::search(const QString& text) { search_->search(text); }

void VellumfoxAppDelegate::find() { search_->find(); }

void VellumfoxAppDelegate::findNext() { search_->findNext(); }

void VellumfoxAppDelegate::findPrevious() { search_->findPrevious(); }

bool VellumfoxAppDelegate::isLiveSearching() const { return search_->isLiveSearching(); }

bool VellumfoxAppDelegate::onKeyEventForTableView(SelectableTableView* view, QKeyEvent* event) {
    const bool onLog = view == window_->logTable();
    if (event->modifiers() & Qt::ControlModifier) {
        const int key = event->key();
        if (key != Qt::Key_Backspace && key != Qt::Key_Delete) return false;
        if (onLog) clearLog();
        return true;
    }
    return onLog && search_->onTableKey(event);
}

QMenu* VellumfoxAppDelegate::menuForTableView(SelectableTableView* view, int column, int row) {
    if (view != window_->logTable()) return nullptr;
    return messageActions_->menuForRow(column, row);
}

void VellumfoxAppDelegate::onDoubleClick(SelectableTableView* view, int) {
    if (view == window_->logTable()) messageActions_->onViewText();
}

}  // namespace vf::ui
