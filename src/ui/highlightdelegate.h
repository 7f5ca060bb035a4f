#pragma once
// Paints log cells and marks the first case-insensitive occurrence of the
// search text in each cell: yellow behind it, or black when the row is
// selected and the table has the keyboard focus.
//
// Main thread only.

#include <QString>
#include <QStyledItemDelegate>

namespace vf::ui {

class HighlightDelegate final : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void setSearchText(const QString& text) { searchText_ = text; }
    const QString& searchText() const { return searchText_; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // Background of a match, by the cell's state.
    static QColor highlightColor(bool selected, bool focused);

private:
    QString searchText_;
};

}  // namespace vf::ui
