#pragma once
// The command line of vellumfox-cli: sub-command, the ADB server and device
// options (named as adb names them), filters and output choices.
//
// Pure functions of their arguments; any thread.

#include <QString>
#include <QStringList>
#include <optional>

namespace vf::cli {

enum class Command {
    Help, Version, Devices, Stream, Convert, Detect, CheckFilter, Crashes, Filters, Pretty, Displays, Screenshot,
    Connect, Disconnect, Pair
};

enum class OutputFormat { Text, Tsv, Json };

// Exit statuses shared by every command.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;  // no server, no device, unreadable file ...
inline constexpr int kExitUsage = 2;    // bad arguments, bad filter

struct CliOptions {
    Command command = Command::Help;
    QString helpTopic;  // "help CMD" / "CMD --help"

    // ADB server and device; empty when not given on the command line.
    QString serial;       // the last -s
    QStringList serials;  // every -s, in order: stream takes several
    QString host;
    QString port;

    // Filtering (stream, convert; crashes without --quick).
    QStringList filters;  // every --filter, in order
    QString quick;        // --quick
    QStringList saved;    // every --saved NAME, in order
    QStringList queries;  // every --query, in order
    QStringList packages; // every --package NAME (convert, crashes FILE): rows or crashes of these apps

    // stream
    bool clear = false;
    std::optional<QString> tags;
    std::optional<QStringList> buffers;  // -b main,system,...
    bool noColor = false;
    bool noReconnect = false;

    // screenshot
    QString display;  // -d ID: one display of several
    QString output;   // -o FILE.png, "-" for standard output

    // crashes
    bool stream = false;  // --stream: the device log instead of FILE

    // Output
    OutputFormat format = OutputFormat::Text;
    bool count = false;  // convert --count

    QString file;       // convert, detect, crashes
    QString predicate;  // check-filter
    QString action;          // filters: list, show, import, export; pretty: json, xml, base64
    QStringList arguments;   // what follows the action; connect, disconnect, pair: their operands
};

struct ParsedCommandLine {
    std::optional<CliOptions> options;  // set on success
    QString error;                      // the message when parsing failed
};

// Parses the arguments after the program name.
ParsedCommandLine parseCommandLine(const QStringList& arguments);

// The sub-command's name as typed ("check-filter"), and back.
QString commandName(Command command);
std::optional<Command> commandFromName(const QString& name);

}  // namespace vf::cli
