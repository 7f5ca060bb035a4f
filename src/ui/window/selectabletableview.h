#pragma once
// A table view that reports to the controller: keys first (the controller
// answers whether it handled them), double clicks, and the context menu,
// for which a right click first selects the row under the pointer alone
// unless it is already selected. An empty table can show a hint.
//
// Main thread only.

#include <QTableView>

class QMenu;

namespace vf::ui {

class SelectableTableView;

// Implemented by the controller. Main thread.
class TableViewMenuDelegate {
public:
    virtual ~TableViewMenuDelegate() = default;
    // The menu for a right click on (column, row); null for none. The view
    // takes ownership of the menu.
    virtual QMenu* menuForTableView(SelectableTableView* view, int column, int row) = 0;
    // True when the key was handled; false lets the table handle it.
    virtual bool onKeyEventForTableView(SelectableTableView* view, QKeyEvent* event) = 0;
    virtual void onDoubleClick(SelectableTableView* view, int row) = 0;
};

class SelectableTableView final : public QTableView {
    Q_OBJECT
public:
    explicit SelectableTableView(QWidget* parent = nullptr);

    // Non-owning; the controller outlives the view's use of it.
    void setMenuDelegate(TableViewMenuDelegate* delegate) { menuDelegate_ = delegate; }

    // Selects `row` alone (or nothing for -1).
    void selectRowAlone(int row);

    // Shown in the middle of the table while it has no rows; empty: nothing.
    void setPlaceholderText(const QString& text);
    const QString& placeholderText() const { return placeholderText_; }

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    TableViewMenuDelegate* menuDelegate_ = nullptr;
    QString placeholderText_;
};

}  // namespace vf::ui
