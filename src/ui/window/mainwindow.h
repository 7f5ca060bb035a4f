#pragma once
// The viewer's main window: toolbar (connect, clear, follow, quick filter,
// search), the filter list beside the log table, the status bar and the
// menus. It holds widgets only: the parts of the controller
// (VellumfoxAppDelegate) write them, each widget from one part, and the
// controller connects the actions.
//
// Main thread only.

#include <QKeySequence>
#include <QList>
#include <QMainWindow>

class QAction;
class QComboBox;
class QLineEdit;
class QSplitter;
class QTabWidget;
class QToolBar;

namespace vf::ui {

class SelectableTableView;

// Find Next and Find Previous, the same in every window: Ctrl+G and F3,
// Ctrl+Shift+G and Shift+F3.
QList<QKeySequence> findNextKeys();
QList<QKeySequence> findPreviousKeys();

class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);

    // The log table of the current tab (every source is a tab of its own).
    SelectableTableView* logTable() const;
    QList<SelectableTableView*> logTables() const;
    // A new tab named `text` holding a new log table; the current tab stays.
    SelectableTableView* addLogTable(const QString& text);
    void showSource(const SelectableTableView* table);
    void setSourceText(const SelectableTableView* table, const QString& text, const QString& toolTip = {});
    QTabWidget* sourceTabs() const { return sourceTabs_; }
    SelectableTableView* filterListTable() const { return filterList_; }
    QLineEdit* searchField() const { return searchField_; }
    QLineEdit* quickFilterField() const { return quickFilter_; }
    // The lowest level shown, Verbose to Assert; its items' data is the
    // level's letter.
    QComboBox* levelSelector() const { return levelSelector_; }
    QSplitter* splitter() const { return splitter_; }
    QToolBar* toolBar() const { return toolBar_; }

    // Toolbar and menu actions.
    QAction* connectAction = nullptr;  // Run / Stop
    QAction* clearAction = nullptr;
    QAction* followAction = nullptr;   // checkable
    QAction* openAction = nullptr;
    QAction* saveAction = nullptr;
    QAction* saveTextAction = nullptr;
    QAction* newWindowAction = nullptr;
    QAction* copyAction = nullptr;
    QAction* findAction = nullptr;
    QAction* findNextAction = nullptr;
    QAction* findPreviousAction = nullptr;
    QAction* biggerFontAction = nullptr;
    QAction* smallerFontAction = nullptr;
    QAction* preferencesAction = nullptr;
    QAction* remoteScreenAction = nullptr;  // shows / hides the remote screen
    QAction* wrapAction = nullptr;          // checkable: long messages wrap in the table
    QAction* quitAction = nullptr;
    QAction* newTabAction = nullptr;     // a device or a file in a new tab
    QAction* mergedTabAction = nullptr;  // one timeline of the other tabs
    QAction* closeTabAction = nullptr;

Q_SIGNALS:
    // A local file was dropped on the window.
    void fileDropped(const QString& path);
    // Another tab became the current one (logTable() is its table).
    void currentSourceChanged();
    // The user closes the tab of `table` (its button or Close Tab).
    void closeRequested(SelectableTableView* table);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void createActions();
    void createMenus();
    void createToolBar();
    void createCentralArea();

    QTabWidget* sourceTabs_ = nullptr;
    SelectableTableView* filterList_ = nullptr;
    QLineEdit* searchField_ = nullptr;
    QLineEdit* quickFilter_ = nullptr;
    QComboBox* levelSelector_ = nullptr;
    QSplitter* splitter_ = nullptr;
    QToolBar* toolBar_ = nullptr;
};

}  // namespace vf::ui
