#include "ui/connection/typingterminal.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

// How each terminal is told to run a program with its arguments.
QString runOption(const QString& terminal) {
    const QString name = QFileInfo(terminal).fileName();
    if (name == u"gnome-terminal"_s || name == u"kgx"_s) return u"--"_s;
    if (name == u"xfce4-terminal"_s) return u"-x"_s;
    return u"-e"_s;  // xterm, x-terminal-emulator, konsole, alacritty, kitty ...
}

}  // namespace

std::optional<TerminalCommand> typingTerminalCommand(const TypingTerminalRequest& request,
                                                     const std::function<QString(const QString&)>& find) {
    QStringList candidates;
    if (!request.terminalVariable.trimmed().isEmpty()) candidates << request.terminalVariable.trimmed();
    candidates << u"x-terminal-emulator"_s << u"gnome-terminal"_s << u"konsole"_s << u"xfce4-terminal"_s
               << u"alacritty"_s << u"kitty"_s << u"xterm"_s;
    for (const QString& candidate : std::as_const(candidates)) {
        const QString path = find(candidate);
        if (path.isEmpty()) continue;
        TerminalCommand command{path, {runOption(path)}};
        command.arguments << (request.adbProgram.isEmpty() ? u"adb"_s : request.adbProgram);
        if (!request.host.isEmpty()) command.arguments << u"-H"_s << request.host;
        if (!request.port.isEmpty()) command.arguments << u"-P"_s << request.port;
        if (!request.serial.isEmpty()) command.arguments << u"-s"_s << request.serial;
        command.arguments << u"shell"_s;
        return command;
    }
    return std::nullopt;
}

}  // namespace vf::ui
