#include "cli/cliapplication.h"

#include "cli/crashescommand.h"
#include "cli/devicescommand.h"
#include "cli/filecommands.h"
#include "cli/filters.h"
#include "cli/filterscommand.h"
#include "cli/helptext.h"
#include "cli/options.h"
#include "cli/adbcommon.h"
#include "cli/screencommands.h"
#include "cli/streamcommand.h"
#include "cli/wirelesscommand.h"

#include <iostream>

using namespace Qt::StringLiterals;

namespace vf::cli {

CliApplication::CliApplication(std::ostream& out, std::ostream& err, CliEnvironment environment)
    : out_(out), err_(err), environment_(std::move(environment)) {}

int CliApplication::run(const QStringList& arguments) {
    const ParsedCommandLine parsed = parseCommandLine(arguments);
    if (!parsed.options) {
        err_ << "vellumfox-cli: " << parsed.error.toStdString() << '\n'
             << "Run \"vellumfox-cli --help\" for usage.\n";
        return kExitUsage;
    }
    CliOptions options = *parsed.options;
    // Saved filters are read from the viewer's own settings.
    if (const auto status = resolveSavedFilters(options, err_)) return *status;
    switch (options.command) {
    case Command::Help: out_ << helpText(options.helpTopic).toStdString(); return kExitOk;
    case Command::Version: out_ << versionText().toStdString(); return kExitOk;
    case Command::Convert:
        return runConvert(options, out_, err_, environment_.stdoutIsTerminal, environment_.stderrIsTerminal,
                          environment_.exitsAfter);
    case Command::Detect: return runDetect(options, out_, err_);
    case Command::CheckFilter: return runCheckFilter(options, out_, err_);
    case Command::Crashes:
        if (!options.stream)
            return runCrashes(options, out_, err_, environment_.stdoutIsTerminal, environment_.stderrIsTerminal);
        break;
    case Command::Filters: return runFilters(options, out_, err_);
    case Command::Pretty: return runPretty(options, environment_.in ? *environment_.in : std::cin, out_, err_);
    case Command::Devices:
    case Command::Displays:
    case Command::Screenshot:
    case Command::Connect:
    case Command::Disconnect:
    case Command::Pair:
    case Command::Stream: break;
    }

    if (options.serial.isEmpty()) options.serial = environment_.androidSerial;
    const AdbSetup setup = adbSetupFor(options);
    if (options.command == Command::Devices) return DevicesCommand(options, setup.endpoint, out_, err_).run();
    if (options.command == Command::Connect || options.command == Command::Disconnect ||
        options.command == Command::Pair)
        return WirelessCommand(options, setup.endpoint, out_, err_).run();
    if (options.command == Command::Displays || options.command == Command::Screenshot)
        return ScreenCommand(options, setup.endpoint, out_, err_, environment_.stdoutIsTerminal).run();
    StreamSettings settings;
    settings.color = environment_.stdoutIsTerminal && !environment_.noColor && !options.noColor;
    settings.terminal = environment_.stdoutIsTerminal;
    if (options.command == Command::Crashes) {
        // The detector sees every row; the filter only chooses which crashes are printed.
        PredicatePtr filter;
        if (const auto status = prepareFilter(options, true, err_, filter)) return *status;
        CrashPrinter crashes(out_, options.format == OutputFormat::Json, settings.terminal, filter);
        CliOptions unfiltered = options;
        unfiltered.filters.clear();
        unfiltered.queries.clear();
        return StreamCommand(unfiltered, settings, setup, out_, err_, &crashes).run();
    }
    return StreamCommand(options, settings, setup, out_, err_).run();
}

}  // namespace vf::cli
