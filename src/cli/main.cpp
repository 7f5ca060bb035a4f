// vellumfox-cli: the command-line companion of the viewer.
#include <QCoreApplication>
#include <QStringList>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

#include "cli/cliapplication.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vellumfox-cli"));

    vf::cli::CliEnvironment environment;
    environment.androidSerial = qEnvironmentVariable("ANDROID_SERIAL");
    environment.stdoutIsTerminal = ::isatty(STDOUT_FILENO) == 1 && qEnvironmentVariable("TERM") != u"dumb";
    environment.stderrIsTerminal = ::isatty(STDERR_FILENO) == 1 && qEnvironmentVariable("TERM") != u"dumb";
    environment.noColor = qEnvironmentVariableIsSet("NO_COLOR");
    environment.exitsAfter = true;

    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    int status = 0;
    {
        vf::cli::CliApplication cli(std::cout, std::cerr, environment);
        status = cli.run(arguments);
    }
    std::cout.flush();
    return status;
}
