#include "ui/table/highlightdelegate.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>

using namespace Qt::StringLiterals;

namespace vf::ui {

QColor HighlightDelegate::highlightColor(bool selected, bool focused) {
    return (selected && focused) ? QColor(Qt::black) : QColor(Qt::yellow);
}

void HighlightDelegate::setSearchText(const QString& text) {
    if (text == searchText_) return;
    searchText_ = text;
    pattern_.setPattern(text);
}

std::pair<qsizetype, qsizetype> HighlightDelegate::matchIn(const QString& text) const {
    if (searchText_.isEmpty()) return {0, 0};
    if (pattern_.isValid()) {
        const QRegularExpressionMatch match = pattern_.match(text);
        if (match.hasMatch() && match.capturedLength() > 0) return {match.capturedStart(), match.capturedLength()};
    }
    const qsizetype at = text.indexOf(searchText_, 0, Qt::CaseInsensitive);
    return at < 0 ? std::pair<qsizetype, qsizetype>{0, 0} : std::pair{at, searchText_.size()};
}

void HighlightDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    option->text.replace(u'\t', u"  "_s);
}

void HighlightDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
    if (searchText_.isEmpty()) return QStyledItemDelegate::paint(painter, option, index);
    QStyleOptionViewItem opt(option);
    initStyleOption(&opt, index);
    const auto [at, length] = matchIn(opt.text);
    if (length == 0) return QStyledItemDelegate::paint(painter, option, index);

    const QWidget* widget = opt.widget;
    QStyle* style = widget != nullptr ? widget->style() : QApplication::style();
    const QRect textRect = style->subElementRect(QStyle::SE_ItemViewItemText, &opt, widget)
                               .adjusted(style->pixelMetric(QStyle::PM_FocusFrameHMargin, &opt, widget) + 1, 0,
                                         -(style->pixelMetric(QStyle::PM_FocusFrameHMargin, &opt, widget) + 1), 0);
    const QString text = opt.text;
    opt.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);

    const QFontMetrics metrics(opt.font);
    const QString shown = metrics.elidedText(text, Qt::ElideRight, textRect.width());
    int left = textRect.left();
    if (opt.displayAlignment & Qt::AlignHCenter)
        left += (textRect.width() - metrics.horizontalAdvance(shown)) / 2;

    const bool selected = opt.state & QStyle::State_Selected;
    const bool focused = widget != nullptr && widget->hasFocus();
    const QRect lineRect(left, textRect.top(), textRect.right() - left + 1, textRect.height());
    QRect matchRect;
    if (at < shown.size()) {
        const qsizetype visible = qMin(length, shown.size() - at);
        matchRect = QRect(left + metrics.horizontalAdvance(shown.left(at)), textRect.top() + 1,
                          metrics.horizontalAdvance(shown.mid(at, visible)), textRect.height() - 2);
    }
    const QColor background = highlightColor(selected, focused);
    painter->save();
    painter->setFont(opt.font);
    painter->fillRect(matchRect, background);
    const QPalette::ColorGroup group = (opt.state & QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
    painter->setPen(opt.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text));
    painter->drawText(lineRect, Qt::AlignLeft | Qt::AlignVCenter, shown);
    if (!matchRect.isEmpty()) {
        // Light text (a dark theme, a selected row) would vanish on the yellow mark.
        painter->setClipRect(matchRect);
        painter->setPen(background == QColor(Qt::yellow) ? QColor(Qt::black) : QColor(Qt::white));
        painter->drawText(lineRect, Qt::AlignLeft | Qt::AlignVCenter, shown);
    }
    painter->restore();
}

}  // namespace vf::ui
