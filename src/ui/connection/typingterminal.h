#pragma once
// The command that opens a terminal running "adb shell" on the device, so
// the user can type on it. The terminal is the user's ($TERMINAL), else
// x-terminal-emulator, else the first of a short list that is installed;
// adb gets the viewer's program, server and port, and the serial, each as
// its own argument (no shell ever sees the serial). Pure; any thread.

#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

namespace vf::ui {

struct TerminalCommand {
    QString program;
    QStringList arguments;
};

struct TypingTerminalRequest {
    QString terminalVariable;  // $TERMINAL, may be empty
    QString adbProgram;        // empty: "adb"
    QString host;
    QString port;
    QString serial;            // empty: the only device
};

// `find` maps a program name to its path, or empty when it is not installed.
std::optional<TerminalCommand> typingTerminalCommand(const TypingTerminalRequest& request,
                                                     const std::function<QString(const QString&)>& find);

}  // namespace vf::ui
