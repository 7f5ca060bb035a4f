#include "ui/screen/screenimageview.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace vf::ui {

QPointF normalizePoint(QPointF point, QSizeF viewSize, QSize imagePixels) {
    const double w = imagePixels.width();
    const double h = imagePixels.height();
    const double sx = viewSize.width() / w;
    const double sy = viewSize.height() / h;
    const double x = point.x() / sx;
    const double y = point.y() / sy;
    return {std::isnan(x) ? w : std::min(w, x), std::isnan(y) ? h : std::min(h, y)};
}

bool isAllBlack(const QImage& image) {
    if (image.isNull()) return false;
    const QImage rgb = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32
                           ? image
                           : image.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < rgb.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(rgb.constScanLine(y));
        // Alpha does not matter; values up to 3 pass as black (dithering).
        if (std::any_of(line, line + rgb.width(), [](QRgb px) { return (px & 0x00FCFCFCu) != 0; })) return false;
    }
    return true;
}

ScreenImageView::ScreenImageView(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(90, 160);
}

void ScreenImageView::setFrame(const ScreenFrame& frame) {
    frame_ = frame;
    update();
}

void ScreenImageView::setPlaceholderText(const QString& text) {
    if (text == placeholder_) return;
    placeholder_ = text;
    update();
}

QImage ScreenImageView::scaledImage() const {
    if (frame_.image.isNull()) return {};
    if (frame_.shown.size() == size()) return frame_.shown;
    return frame_.image.scaled(size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

bool ScreenImageView::event(QEvent* event) {
    // Tab belongs to the device, not to focus navigation.
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            keyPressEvent(key);
            return true;
        }
    }
    return QWidget::event(event);
}

void ScreenImageView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    if (frame_.image.isNull()) {
        painter.fillRect(rect(), Qt::black);
        painter.setPen(Qt::gray);
        painter.drawText(rect().adjusted(8, 0, -8, 0), Qt::AlignCenter | Qt::TextWordWrap,
                         placeholder_.isEmpty() ? tr("Waiting for the screen…") : placeholder_);
        return;
    }
    if (frame_.shown.size() == size()) {
        painter.drawImage(0, 0, frame_.shown);  // a plain copy: scaled already
        return;
    }
    // Between a resize and the next frame: scale here.
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(rect(), frame_.image);
}

void ScreenImageView::enterEvent(QEnterEvent* event) {
    QWidget::enterEvent(event);
    Q_EMIT pointerEntered();
}

void ScreenImageView::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    Q_EMIT pointerLeft();
}

void ScreenImageView::mouseMoveEvent(QMouseEvent* event) {
    QWidget::mouseMoveEvent(event);
    if (event->buttons() & Qt::LeftButton) Q_EMIT pointerDragged(event->position());
    else Q_EMIT pointerMoved(event->position());
}

void ScreenImageView::mousePressEvent(QMouseEvent* event) {
    QWidget::mousePressEvent(event);
    setFocus(Qt::MouseFocusReason);
    if (event->button() == Qt::LeftButton) Q_EMIT buttonPressed(event->position());
}

void ScreenImageView::mouseReleaseEvent(QMouseEvent* event) {
    QWidget::mouseReleaseEvent(event);
    if (event->button() == Qt::LeftButton) Q_EMIT buttonReleased(event->position());
}

void ScreenImageView::keyPressEvent(QKeyEvent* event) { Q_EMIT keyPressed(event); }

}  // namespace vf::ui
