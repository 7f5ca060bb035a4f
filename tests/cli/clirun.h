#pragma once
// Runs the companion in-process with captured output.

#include <QString>
#include <QStringList>
#include <sstream>
#include <string>

#include "cli/cliapplication.h"

namespace vf::cli::test {

struct CliResult {
    int status = -1;
    std::string out;
    std::string err;
};

inline CliResult runCli(const QStringList& arguments, CliEnvironment environment = {}) {
    std::ostringstream out;
    std::ostringstream err;
    // Braced initialisers run in order: the run first, then its output.
    return CliResult{CliApplication(out, err, environment).run(arguments), out.str(), err.str()};
}

inline QStringList outputLines(const std::string& out) {
    QStringList lines = QString::fromStdString(out).split(u'\n');
    if (!lines.isEmpty() && lines.last().isEmpty()) lines.removeLast();
    return lines;
}

}  // namespace vf::cli::test
