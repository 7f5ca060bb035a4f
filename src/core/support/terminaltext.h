#pragma once
// Text that came from outside (a device's log, a filter file) shown on a
// terminal or in a message: control characters are shown as visible
// escapes, never obeyed and never breaking a line. Pure; any thread.

#include <QString>
#include <string>
#include <string_view>

namespace vf {

// `line` with every control character but tab and a final line feed shown
// as a visible escape: C0 controls and DEL as "\xHH", C1 controls (which
// terminals also obey) as "\u00HH". Everything else is kept byte for byte.
std::string terminalSafe(std::string_view line);

// The same for a one-line text such as a name (tabs and line feeds escaped too).
QString visibleControls(const QString& text);

}  // namespace vf
