#pragma once
// Where a new window of the viewer opens: whole, on the screen that holds
// the main window, over its middle.
//
// Main thread only (placeOnScreenOf); fitWithin is a pure function.

#include <QMargins>
#include <QRect>

class QWidget;

namespace vf::ui {

// `frame` (a window with its decorations) moved, and shrunk when it is
// larger, so that all of it lies inside `area`.
QRect fitWithin(QRect frame, const QRect& area);

// Centres `window` over `anchor` and keeps it whole on the available area of
// `anchor`'s screen; the decorations are taken to be as wide as the
// anchor's own. Call before showing `window`.
void placeOnScreenOf(QWidget* window, const QWidget* anchor);

}  // namespace vf::ui
