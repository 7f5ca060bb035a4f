#include "ui/window/selectabletableview.h"

#include <QContextMenuEvent>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>

namespace vf::ui {

SelectableTableView::SelectableTableView(QWidget* parent) : QTableView(parent) {}

void SelectableTableView::selectRowAlone(int row) {
    if (selectionModel() == nullptr) return;
    if (row < 0 || model() == nullptr || row >= model()->rowCount()) {
        selectionModel()->clearSelection();
        return;
    }
    const QModelIndex index = model()->index(row, 0);
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    selectionModel()->select(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

void SelectableTableView::contextMenuEvent(QContextMenuEvent* event) {
    const int row = rowAt(event->pos().y());
    if (row < 0 || menuDelegate_ == nullptr) return;
    if (selectionModel() != nullptr && !selectionModel()->isRowSelected(row, {})) selectRowAlone(row);
    QMenu* menu = menuDelegate_->menuForTableView(this, columnAt(event->pos().x()), row);
    if (menu == nullptr) return;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

void SelectableTableView::keyPressEvent(QKeyEvent* event) {
    if (menuDelegate_ != nullptr && menuDelegate_->onKeyEventForTableView(this, event)) {
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

void SelectableTableView::mouseDoubleClickEvent(QMouseEvent* event) {
    QTableView::mouseDoubleClickEvent(event);
    const int row = rowAt(event->position().toPoint().y());
    if (menuDelegate_ != nullptr && row >= 0) menuDelegate_->onDoubleClick(this, row);
}

// The search marks of selected rows depend on the focus: every cell redraws.
void SelectableTableView::focusInEvent(QFocusEvent* event) {
    QTableView::focusInEvent(event);
    viewport()->update();
}

void SelectableTableView::focusOutEvent(QFocusEvent* event) {
    QTableView::focusOutEvent(event);
    viewport()->update();
}

void SelectableTableView::setPlaceholderText(const QString& text) {
    if (text == placeholderText_) return;
    placeholderText_ = text;
    viewport()->update();
}

void SelectableTableView::paintEvent(QPaintEvent* event) {
    QTableView::paintEvent(event);
    if (placeholderText_.isEmpty() || model() == nullptr || model()->rowCount() > 0) return;
    QPainter painter(viewport());
    QColor ink = palette().color(QPalette::Text);
    ink.setAlphaF(0.6f);
    painter.setPen(ink);
    const QRect area = viewport()->rect().adjusted(24, 24, -24, -24);
    painter.drawText(area, Qt::AlignCenter | Qt::TextWordWrap, placeholderText_);
}

}  // namespace vf::ui
