#pragma once
// Paints log cells, a tab as a small fixed indent (the next tab stop would
// push a stack frame far right), and marks the search in each cell: the first match of the
// search's regular expression (as the search itself matches), else the first
// case-insensitive occurrence of its plain text. The mark is yellow with
// black text on any theme, or black with white text when the row is
// selected and the table has the keyboard focus.
//
// Main thread only.

#include <QRegularExpression>
#include <QString>
#include <QStyledItemDelegate>
#include <utility>

namespace vf::ui {

class HighlightDelegate final : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void setSearchText(const QString& text);
    const QString& searchText() const { return searchText_; }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // Background of a match, by the cell's state.
    static QColor highlightColor(bool selected, bool focused);

    // Start and length of the mark in `text`; length 0: none.
    std::pair<qsizetype, qsizetype> matchIn(const QString& text) const;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    QString searchText_;
    QRegularExpression pattern_;
};

}  // namespace vf::ui
