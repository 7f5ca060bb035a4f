#pragma once
// The viewer's main window: toolbar (connect, clear, follow, quick filter,
// search), the filter list beside the log table, the status bar and the
// menus. It holds widgets only: the parts of the controller
// (VellumfoxAppDelegate) write them, each widget from one part, and the
// controller connects the actions.
//
// Main thread only.

#include <QMainWindow>

class QAction;
class QLineEdit;
class QSplitter;
class QToolBar;

namespace vf::ui {

class SelectableTableView;

class MainWindow final : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);

    SelectableTableView* logTable() const { return logTable_; }
    SelectableTableView* filterListTable() const { return filterList_; }
    QLineEdit* searchField() const { return searchField_; }
    QLineEdit* quickFilterField() const { return quickFilter_; }
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
    QAction* quitAction = nullptr;

Q_SIGNALS:
    // A local file was dropped on the window.
    void fileDropped(const QString& path);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void createActions();
    void createMenus();
    void createToolBar();
    void createCentralArea();

    SelectableTableView* logTable_ = nullptr;
    SelectableTableView* filterList_ = nullptr;
    QLineEdit* searchField_ = nullptr;
    QLineEdit* quickFilter_ = nullptr;
    QSplitter* splitter_ = nullptr;
    QToolBar* toolBar_ = nullptr;
};

}  // namespace vf::ui
