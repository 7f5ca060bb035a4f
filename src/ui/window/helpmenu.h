#pragma once
// The main window's Help menu: the keyboard shortcuts (read from the
// window's own menus, so the list is never stale), how to write a log tag
// expression, the query language (docs/query-language.md, built in), a
// feedback mail, and About.
//
// Main thread only; the menu and its dialogs belong to the window.

class QDialog;
class QMainWindow;
class QMenu;
class QString;

namespace vf::ui {

QMenu* addHelpMenu(QMainWindow* window);

// The shortcuts of every menu item of `window` and the log table's own
// keys, as an HTML table.
QString shortcutsHtml(const QMainWindow* window);

// Shows the query language's page in a window of its own (deleted on close).
QDialog* showQueryLanguage(QMainWindow* window);

}  // namespace vf::ui
