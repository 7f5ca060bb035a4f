#pragma once
// Icons for toolbars and menus: the desktop theme's icon when it has one,
// otherwise our own SVG drawn in the palette's text colour so that it reads
// on light and dark themes alike.

#include <QIcon>
#include <QString>

namespace vf::ui {

// Main thread. `themeName` is a freedesktop icon name; `fallback` the base
// name of an SVG under :/icons (without extension).
QIcon themedIcon(const QString& themeName, const QString& fallback);

// Our own SVG only (coloured icons that must look the same everywhere).
QIcon bundledIcon(const QString& fallback);

}  // namespace vf::ui
