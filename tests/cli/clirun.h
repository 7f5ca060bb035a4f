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
    CliResult result;
    result.status = CliApplication(out, err, environment).run(arguments);
    result.out = out.str();
    result.err = err.str();
    return result;
}

inline QStringList outputLines(const std::string& out) {
    QStringList lines = QString::fromStdString(out).split(u'\n');
    if (!lines.isEmpty() && lines.last().isEmpty()) lines.removeLast();
    return lines;
}

}  // namespace vf::cli::test
