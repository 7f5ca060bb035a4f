#include "ui/window/placement.h"

#include <QFontMetrics>
#include <QGridLayout>
#include <QMessageBox>
#include <QScreen>
#include <QSpacerItem>
#include <QWidget>
#include <algorithm>

namespace vf::ui {

QRect fitWithin(QRect frame, const QRect& area) {
    frame.setWidth(qMin(frame.width(), area.width()));
    frame.setHeight(qMin(frame.height(), area.height()));
    frame.moveLeft(qBound(area.left(), frame.left(), area.right() - frame.width() + 1));
    frame.moveTop(qBound(area.top(), frame.top(), area.bottom() - frame.height() + 1));
    return frame;
}

void placeOnScreenOf(QWidget* window, const QWidget* anchor) {
    if (window == nullptr || anchor == nullptr) return;
    const QScreen* screen = anchor->screen();
    if (screen == nullptr) return;
    // A window not shown yet has no decorations: borrow the anchor's.
    const QMargins decorations(anchor->geometry().left() - anchor->frameGeometry().left(),
                               anchor->geometry().top() - anchor->frameGeometry().top(),
                               anchor->frameGeometry().right() - anchor->geometry().right(),
                               anchor->frameGeometry().bottom() - anchor->geometry().bottom());
    QRect frame(QPoint(), window->size().grownBy(decorations));
    frame.moveCenter(anchor->frameGeometry().center());
    frame = fitWithin(frame, screen->availableGeometry());
    window->resize(frame.marginsRemoved(decorations).size());
    window->move(frame.topLeft());  // a window's position is its frame's
}

void fitTitle(QMessageBox* box) {
    auto* grid = qobject_cast<QGridLayout*>(box->layout());
    if (grid == nullptr) return;
    // The title's width in the application font, plus room for the close,
    // minimise and maximise buttons a title bar usually carries; never
    // narrower than a short sentence, so the text does not wrap early.
    constexpr int kTitleBarButtons = 120;
    constexpr int kLeast = 360;
    const QFontMetrics metrics(box->font());
    const int width = std::max(metrics.horizontalAdvance(box->windowTitle()) + kTitleBarButtons, kLeast);
    grid->addItem(new QSpacerItem(width, 0, QSizePolicy::Minimum, QSizePolicy::Minimum), grid->rowCount(), 0, 1,
                  grid->columnCount());
}

}  // namespace vf::ui
