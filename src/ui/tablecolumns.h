#pragma once
// The log table's columns beyond their saved layout: default widths made
// from the font (so a bigger font does not clip the time), widths that
// follow later font size changes, and the header's menu to hide and show
// columns. Hidden columns are part of the header's state, so they persist
// with the rest of the layout.
//
// Main thread only.

#include <QFontMetrics>

class QHeaderView;

namespace vf::ui {

// The width that shows a typical value of `column` (a LogTableModel column)
// and its title in `metrics`' font.
int defaultColumnWidth(int column, const QFontMetrics& metrics);

// Resizes every column of `header` by how much `pointSize` differs from the
// size it was last called with (the first call only records the size).
void followFontSize(QHeaderView* header, double pointSize);

// A context menu on `header` with one check item per column; the last
// visible column cannot be hidden.
void installColumnMenu(QHeaderView* header);

}  // namespace vf::ui
