#pragma once
// The two panes of the preferences window. Every control reads its key when
// built and writes it on every change.
//
// Main thread only; the panes are owned by `parent`.

#include <functional>

class QWidget;

namespace vf::ui {

// Server, port, log tags (with a link to their syntax), clear-on-start, adb program.
QWidget* makeGeneralPane(QWidget* parent);

// Font size, a colour and a bold switch per level. `changed` runs after each
// change has been written.
QWidget* makeAppearancePane(QWidget* parent, std::function<void()> changed);

}  // namespace vf::ui
