#pragma once
// ScreenImageView: the device's screen in the remote screen window. It paints
// the last image scaled to its whole area and reports the pointer and the
// keyboard to the window; what they mean is the window's business.
//
// Main thread only.

#include <QImage>
#include <QPointF>
#include <QSizeF>
#include <QWidget>

namespace vf::ui {

// One decoded screenshot: the image at device resolution, and a copy scaled
// (off the GUI thread) to the size the view had when it was decoded.
struct ScreenFrame {
    QImage image;
    QImage shown;
    bool black = false;  // every pixel black (what a window that forbids capture gives)
};

// Whether every pixel is black, give or take the lowest bits of each
// channel. Stops at the first pixel that is not. Any thread.
bool isAllBlack(const QImage& image);

// A point of the view (top-down, as Qt gives it) in device pixels: the
// view's scale per axis, capped at the image's width W and height H on the
// right and bottom; points left of or above the image come out negative.
// A quotient that is not a number (an empty view) gives W or H. Pure.
QPointF normalizePoint(QPointF point, QSizeF viewSize, QSize imagePixels);

class ScreenImageView final : public QWidget {
    Q_OBJECT
public:
    explicit ScreenImageView(QWidget* parent = nullptr);

    void setFrame(const ScreenFrame& frame);
    // What the view says while it has no image (empty: that it waits for one).
    void setPlaceholderText(const QString& text);
    const QImage& image() const { return frame_.image; }
    // The image as shown: scaled to the view's size.
    QImage scaledImage() const;

Q_SIGNALS:
    void pointerEntered();
    void pointerLeft();
    void pointerMoved(QPointF position);    // button up
    void buttonPressed(QPointF position);
    void pointerDragged(QPointF position);  // button down
    void buttonReleased(QPointF position);
    void keyPressed(QKeyEvent* event);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    ScreenFrame frame_;
    QString placeholder_;
};

}  // namespace vf::ui

Q_DECLARE_METATYPE(vf::ui::ScreenFrame)
