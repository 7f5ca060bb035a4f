#include "ui/window/placement.h"

#include <QScreen>
#include <QWidget>

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

}  // namespace vf::ui
