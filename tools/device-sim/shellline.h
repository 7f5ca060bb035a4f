#pragma once
// What the simulated device's shell makes of a "shell:" request: the
// environment assignments that precede the command ("export A=B; exec cmd")
// and the command's words, plus the log-tag filter that logcat reads from
// ANDROID_LOG_TAGS and the output conversion of old devices' shells.

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

namespace vf::sim {

struct ShellLine {
    QMap<QString, QString> environment;  // from "export NAME=VALUE" / "NAME=VALUE cmd"
    QStringList argv;                    // the last command's words, quotes removed
    QList<QStringList> commands;         // every command's words, in order (argv is the last)
};

// Splits the request at ";" into statements, gathers the assignments and
// keeps the words of the last command ("exec " dropped). Quotes and
// backslashes are honoured as a POSIX shell does, without expansions.
ShellLine parseShellLine(const QString& command);

// Shells of devices before Android 7 ran every command on a terminal, which
// turns each LF of the output into CR LF.
QByteArray toTerminalNewlines(const QByteArray& output);

// A logcat filter expression: blank-separated "TAG:LEVEL" rules, "*" for
// every other tag; a rule without a level means V ("*" alone means D). A
// tag's last rule wins. Unparsable rules are ignored.
class LogTagFilter final {
public:
    explicit LogTagFilter(const QString& expression = {});
    // `level` is one of V D I W E F (A is taken as F).
    bool allows(const QString& tag, char level) const;

private:
    static int priority(char level);  // V=2 ... F=7, S=8; -1 if unknown
    QMap<QString, int> rules_;
    int defaultPriority_ = 2;
};

}  // namespace vf::sim
