#pragma once
// The viewer's theme (Preferences ▸ Appearance ▸ Theme): "system" keeps the
// style and palette the desktop gave the application; "light" and "dark"
// are the Fusion style with a light or a dark palette. The table's level
// colours follow the palette (see levelstyles.h).
//
// Main thread only.

#include <QPalette>
#include <QString>

namespace vf::ui {

inline constexpr char kThemeKey[] = "theme";  // "system", "light" or "dark"

// Fusion's palette for `dark`; pure.
QPalette themePalette(bool dark);

// Applies the theme named by the preference (an unknown name is "system").
// The first call remembers the desktop's style and palette.
void applyTheme();

// Whether the application's palette now is a dark one.
bool isDarkPalette();

}  // namespace vf::ui
