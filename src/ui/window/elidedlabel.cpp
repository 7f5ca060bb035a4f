#include "ui/window/elidedlabel.h"

#include <QPainter>
#include <QStyle>

namespace vf::ui {

ElidedLabel::ElidedLabel(const QString& text, QWidget* parent) : QLabel(text, parent) {
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

QSize ElidedLabel::minimumSizeHint() const { return QSize(0, QLabel::minimumSizeHint().height()); }

QSize ElidedLabel::sizeHint() const { return QSize(fontMetrics().averageCharWidth() * 20, QLabel::sizeHint().height()); }

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect area = contentsRect();
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, area.width());
    setToolTip(shown == text() ? QString() : text());
    style()->drawItemText(&painter, area, int(alignment()), palette(), isEnabled(), shown, foregroundRole());
}

}  // namespace vf::ui
