#pragma once
// Where a new window of the viewer opens: whole, on the screen that holds
// the main window, over its middle.
//
// Main thread only (placeOnScreenOf, fitTitle); fitWithin is a pure function.

#include <QMargins>
#include <QRect>

class QMessageBox;
class QWidget;

namespace vf::ui {

// `frame` (a window with its decorations) moved, and shrunk when it is
// larger, so that all of it lies inside `area`.
QRect fitWithin(QRect frame, const QRect& area);

// Centres `window` over `anchor` and keeps it whole on the available area of
// `anchor`'s screen; the decorations are taken to be as wide as the
// anchor's own. Call before showing `window`.
void placeOnScreenOf(QWidget* window, const QWidget* anchor);

// Widens a short alert so that its window title is not cut: a message box
// sizes itself to its text only, while the title bar also needs room for
// the title and the window's buttons. Call before showing `box`.
void fitTitle(QMessageBox* box);

}  // namespace vf::ui
