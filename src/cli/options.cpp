#include "cli/options.h"

#include <algorithm>
#include <array>
#include <initializer_list>

#include "core/adb/logbuffer.h"
#include "core/adb/wireless.h"
#include "core/support/strings.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

struct CommandEntry {
    Command command;
    const char* name;
};
constexpr std::array kCommands{
    CommandEntry{Command::Help, "help"},         CommandEntry{Command::Devices, "devices"},
    CommandEntry{Command::Stream, "stream"},     CommandEntry{Command::Convert, "convert"},
    CommandEntry{Command::Detect, "detect"},     CommandEntry{Command::CheckFilter, "check-filter"},
    CommandEntry{Command::Version, "version"},   CommandEntry{Command::Crashes, "crashes"},
    CommandEntry{Command::Filters, "filters"},   CommandEntry{Command::Pretty, "pretty"},
    CommandEntry{Command::Displays, "displays"}, CommandEntry{Command::Screenshot, "screenshot"},
    CommandEntry{Command::Connect, "connect"},   CommandEntry{Command::Disconnect, "disconnect"},
    CommandEntry{Command::Pair, "pair"},
};

enum class Opt {
    Serial, Host, Port, Filter, Quick, Saved, Query, Package, Clear, Tags, Buffers, Format, NoColor, NoReconnect,
    Stream, Json, Count, Help, Display, Output,
    Version
};

struct OptionDef {
    Opt id;
    const char* name;
    bool takesValue;
    // Commands that accept the option; empty = every command.
    std::initializer_list<Command> commands;
};

const OptionDef kOptions[] = {
    {Opt::Serial, "-s", true, {}},
    {Opt::Host, "-H", true, {}},
    {Opt::Port, "-P", true, {}},
    {Opt::Filter, "--filter", true, {Command::Stream, Command::Convert, Command::Crashes}},
    {Opt::Quick, "--quick", true, {Command::Stream, Command::Convert}},
    {Opt::Saved, "--saved", true, {Command::Stream, Command::Convert, Command::Crashes}},
    {Opt::Query, "--query", true, {Command::Stream, Command::Convert, Command::Crashes}},
    {Opt::Package, "--package", true, {Command::Stream, Command::Convert, Command::Crashes}},
    {Opt::Clear, "--clear", false, {Command::Stream, Command::Crashes}},
    {Opt::Tags, "--tags", true, {Command::Stream}},
    {Opt::Buffers, "-b", true, {Command::Stream, Command::Crashes}},
    {Opt::Format, "--format", true, {Command::Stream, Command::Convert}},
    {Opt::NoColor, "--no-color", false, {Command::Stream}},
    {Opt::NoReconnect, "--no-reconnect", false, {Command::Stream, Command::Crashes}},
    {Opt::Stream, "--stream", false, {Command::Crashes}},
    {Opt::Json, "--json", false, {Command::Devices, Command::Crashes, Command::Displays}},
    {Opt::Display, "-d", true, {Command::Screenshot}},
    {Opt::Output, "-o", true, {Command::Screenshot}},
    {Opt::Count, "--count", false, {Command::Convert}},
    {Opt::Help, "--help", false, {}},
    {Opt::Version, "--version", false, {}},
};

const OptionDef* findOption(const QString& name) {
    const QString wanted = name == u"-h"_s ? u"--help"_s : name;
    for (const OptionDef& def : kOptions)
        if (wanted == QLatin1StringView(def.name)) return &def;
    return nullptr;
}

bool appliesTo(const OptionDef& def, Command command) {
    if (def.commands.size() == 0) return true;
    for (Command c : def.commands)
        if (c == command) return true;
    return false;
}

std::optional<OutputFormat> formatFromName(const QString& name) {
    if (name == u"text"_s) return OutputFormat::Text;
    if (name == u"tsv"_s) return OutputFormat::Tsv;
    if (name == u"json"_s) return OutputFormat::Json;
    return std::nullopt;
}

struct SeenOption {
    const OptionDef* def;
    QString value;
};

// Applies one option to the result; returns an error text or an empty string.
QString applyOption(CliOptions& o, const SeenOption& seen) {
    const QString& v = seen.value;
    switch (seen.def->id) {
    case Opt::Serial:
        o.serial = v;
        if (!o.serials.contains(v)) o.serials.append(v);
        break;
    case Opt::Host: o.host = v; break;
    case Opt::Port: {
        bool ok = false;
        const int port = v.toInt(&ok);
        if (!ok || port <= 0 || port > 65535) return u"invalid port '%1'"_s.arg(v);
        o.port = v;
        break;
    }
    case Opt::Filter: o.filters.append(v); break;
    case Opt::Quick: o.quick = v; break;
    case Opt::Saved: o.saved.append(v); break;
    case Opt::Query: o.queries.append(v); break;
    case Opt::Package:
        if (v.isEmpty()) return u"--package needs a package name"_s;
        o.packages.append(v);
        break;
    case Opt::Clear: o.clear = true; break;
    case Opt::Tags: o.tags = v; break;
    case Opt::Buffers: {
        const QStringList names = v.split(u',', Qt::SkipEmptyParts);
        for (const QString& name : names) {
            if (!logBufferFromName(name.toStdString()))
                return u"unknown buffer '%1' (use %2)"_s.arg(name, logBufferNames().join(u", "_s));
        }
        if (names.isEmpty()) return u"-b needs a list of buffers, such as main,system,crash"_s;
        o.buffers = names;
        break;
    }
    case Opt::Format: {
        const auto format = formatFromName(v);
        if (!format) return u"unknown format '%1' (use text, tsv or json)"_s.arg(v);
        o.format = *format;
        break;
    }
    case Opt::NoColor: o.noColor = true; break;
    case Opt::NoReconnect: o.noReconnect = true; break;
    case Opt::Stream: o.stream = true; break;
    case Opt::Json: o.format = OutputFormat::Json; break;
    case Opt::Count: o.count = true; break;
    case Opt::Display:
        if (v.isEmpty() || !std::all_of(v.begin(), v.end(), [](QChar c) { return c.isDigit(); }))
            return u"invalid display id '%1' (the digits \"vellumfox-cli displays\" lists)"_s.arg(v);
        o.display = v;
        break;
    case Opt::Output:
        if (v.isEmpty()) return u"-o needs a file name (or - for standard output)"_s;
        o.output = v;
        break;
    case Opt::Help: break;
    case Opt::Version: break;
    }
    return {};
}

ParsedCommandLine failure(const QString& error) { return {std::nullopt, error}; }

// "filters ACTION ARGS" and "pretty ACTION": the action and its arguments.
QString takeAction(CliOptions& o, const QStringList& positionals) {
    struct Action {
        Command command;
        const char* name;
        qsizetype minimum;
        qsizetype maximum;  // -1: no limit
        const char* missing;
    };
    static constexpr Action kActions[] = {
        {Command::Filters, "list", 0, 0, ""},          {Command::Filters, "show", 1, 1, "NAME"},
        {Command::Filters, "import", 1, 1, "FILE"},    {Command::Filters, "export", 1, -1, "FILE"},
        {Command::Pretty, "json", 0, 0, ""},           {Command::Pretty, "xml", 0, 0, ""},
        {Command::Pretty, "base64", 0, 0, ""},
    };
    const QString name = commandName(o.command);
    if (positionals.isEmpty())
        return o.command == Command::Filters ? u"filters: missing ACTION (list, show, import or export)"_s
                                             : u"pretty: missing FORMAT (json, xml or base64)"_s;
    for (const Action& action : kActions) {
        if (action.command != o.command || positionals.first() != QLatin1StringView(action.name)) continue;
        const QStringList rest = positionals.mid(1);
        if (rest.size() < action.minimum)
            return u"%1 %2: missing %3"_s.arg(name, positionals.first(), QLatin1StringView(action.missing));
        if (action.maximum >= 0 && rest.size() > action.maximum)
            return u"%1 %2: unexpected argument '%3'"_s.arg(name, positionals.first(), rest.at(action.maximum));
        o.action = positionals.first();
        o.arguments = rest;
        return {};
    }
    return u"%1: unknown action '%2'"_s.arg(name, positionals.first());
}

// "connect HOST[:PORT]", "disconnect [HOST[:PORT]]", "pair HOST:PORT CODE":
// addresses and codes are checked here, before anything is sent.
QString takeWirelessOperands(CliOptions& o, const QStringList& positionals) {
    const QString name = commandName(o.command);
    const qsizetype wanted = o.command == Command::Pair ? 2 : 1;
    if (positionals.size() > wanted) return u"%1: unexpected argument '%2'"_s.arg(name, positionals.at(wanted));
    if (positionals.size() < wanted && o.command != Command::Disconnect)
        return u"%1: missing %2"_s.arg(name, o.command == Command::Pair ? u"HOST:PORT CODE"_s : u"HOST[:PORT]"_s);
    if (!positionals.isEmpty()) {
        const AddressParse address = parseDeviceAddress(positionals.first(), o.command == Command::Pair);
        if (!address.address) return name + u": "_s + address.error;
    }
    if (o.command == Command::Pair && !isPairingCode(positionals.at(1)))
        return u"pair: '%1' is not a pairing code (the six digits the device shows)"_s.arg(positionals.at(1));
    o.arguments = positionals;
    return {};
}

// Checks the positional arguments of the command and stores them.
QString takePositionals(CliOptions& o, const QStringList& positionals) {
    const auto expectOne = [&](const char* what, QString& into) -> QString {
        if (positionals.isEmpty()) return u"%1: missing %2"_s.arg(commandName(o.command), QLatin1StringView(what));
        if (positionals.size() > 1)
            return u"%1: unexpected argument '%2'"_s.arg(commandName(o.command), positionals.at(1));
        into = positionals.first();
        return {};
    };
    switch (o.command) {
    case Command::Crashes:
        if (o.stream) {
            if (!positionals.isEmpty()) return u"crashes: a FILE cannot be read with --stream"_s;
            if (!o.packages.isEmpty()) return u"crashes: --package takes a FILE, not --stream"_s;
            return {};
        }
        if (o.clear || o.noReconnect) return u"crashes: --clear and --no-reconnect need --stream"_s;
        return expectOne("FILE", o.file);
    case Command::Convert:
    case Command::Detect: return expectOne("FILE", o.file);
    case Command::CheckFilter: return expectOne("PREDICATE", o.predicate);
    case Command::Filters:
    case Command::Pretty: return takeAction(o, positionals);
    case Command::Connect:
    case Command::Disconnect:
    case Command::Pair: return takeWirelessOperands(o, positionals);
    case Command::Screenshot:
        if (!positionals.isEmpty()) return u"screenshot: unexpected argument '%1'"_s.arg(positionals.first());
        if (o.output.isEmpty()) return u"screenshot: missing -o FILE.png (or -o - for standard output)"_s;
        return {};
    case Command::Help:
        if (positionals.size() > 1) return u"help: unexpected argument '%1'"_s.arg(positionals.at(1));
        if (!positionals.isEmpty()) {
            if (!commandFromName(positionals.first()))
                return u"help: unknown command '%1'"_s.arg(positionals.first());
            o.helpTopic = positionals.first();
        }
        return {};
    default:
        if (!positionals.isEmpty())
            return u"%1: unexpected argument '%2'"_s.arg(commandName(o.command), positionals.first());
        return {};
    }
}

}  // namespace

QString commandName(Command command) {
    for (const CommandEntry& entry : kCommands)
        if (entry.command == command) return QLatin1StringView(entry.name);
    return {};
}

std::optional<Command> commandFromName(const QString& name) {
    for (const CommandEntry& entry : kCommands)
        if (name == QLatin1StringView(entry.name)) return entry.command;
    return std::nullopt;
}

namespace {

// The command line read once from left to right, before anything is applied.
struct Scan {
    std::optional<Command> command;
    QStringList positionals;
    QList<SeenOption> seen;
    bool wantHelp = false;
    bool wantVersion = false;
    QString firstError;     // kept until the end: --help anywhere still wins
    QString unknownCommand;  // fatal at once
};

// One option (and its value, inline or the next argument) into `scan`.
void scanOption(const QStringList& arguments, qsizetype& i, Scan& scan) {
    const QString& arg = arguments.at(i);
    QString name = arg;
    std::optional<QString> inlineValue;
    if (const qsizetype eq = arg.indexOf(u'='); arg.startsWith(u"--"_s) && eq > 0) {
        name = arg.left(eq);
        inlineValue = arg.mid(eq + 1);
    }
    const OptionDef* def = findOption(name);
    if (!def) {
        if (scan.firstError.isEmpty()) scan.firstError = u"unknown option '%1'"_s.arg(name);
        return;
    }
    SeenOption option{def, {}};
    if (def->takesValue) {
        if (inlineValue) {
            option.value = *inlineValue;
        } else if (i + 1 < arguments.size()) {
            option.value = arguments.at(++i);
        } else if (scan.firstError.isEmpty()) {
            scan.firstError = u"option '%1' needs a value"_s.arg(name);
        }
    } else if (inlineValue && scan.firstError.isEmpty()) {
        scan.firstError = u"option '%1' takes no value"_s.arg(name);
    }
    scan.wantHelp = scan.wantHelp || def->id == Opt::Help;
    scan.wantVersion = scan.wantVersion || def->id == Opt::Version;
    scan.seen.append(option);
}

// The command a user most likely meant by a word that is none: adb's own
// word for the log, or a command one slip away. Empty when none fits.
QString commandMeant(const QString& word) {
    if (word == u"logcat"_s) return commandName(Command::Stream);
    for (const CommandEntry& entry : kCommands) {
        const QString name = QLatin1StringView(entry.name);
        if (oneSlipApart(word, name)) return name;
    }
    return {};
}

Scan scanArguments(const QStringList& arguments) {
    Scan scan;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& arg = arguments.at(i);
        if (optionsEnded || !arg.startsWith(u'-') || arg == u"-"_s) {
            if (scan.command) {
                scan.positionals.append(arg);
                continue;
            }
            scan.command = commandFromName(arg);
            if (!scan.command) {
                scan.unknownCommand = arg;
                return scan;
            }
        } else if (arg == u"--"_s) {
            optionsEnded = true;
        } else {
            scanOption(arguments, i, scan);
        }
    }
    return scan;
}

}  // namespace

ParsedCommandLine parseCommandLine(const QStringList& arguments) {
    const Scan scan = scanArguments(arguments);
    if (!scan.unknownCommand.isEmpty()) {
        const QString meant = commandMeant(scan.unknownCommand);
        return failure(u"unknown command '%1'%2"_s.arg(scan.unknownCommand,
                                                       meant.isEmpty() ? QString() : u" (did you mean '%1'?)"_s.arg(meant)));
    }
    const std::optional<Command>& command = scan.command;
    const QStringList& positionals = scan.positionals;

    CliOptions o;
    if (scan.wantHelp) {
        // "CMD --help" documents the command; anything else on the line is ignored.
        o.command = Command::Help;
        if (command && *command != Command::Help) o.helpTopic = commandName(*command);
        else if (command && !positionals.isEmpty() && commandFromName(positionals.first()))
            o.helpTopic = positionals.first();
        return {o, {}};
    }
    if (scan.wantVersion || command == Command::Version) {
        o.command = Command::Version;
        return {o, {}};
    }
    if (!scan.firstError.isEmpty()) return failure(scan.firstError);
    if (!command) return {o, {}};  // no command: the overview
    o.command = *command;

    for (const SeenOption& option : scan.seen) {
        if (!appliesTo(*option.def, o.command))
            return failure(u"option '%1' does not apply to %2"_s.arg(QLatin1StringView(option.def->name),
                                                                     commandName(o.command)));
        if (const QString error = applyOption(o, option); !error.isEmpty()) return failure(error);
    }
    if (const QString error = takePositionals(o, positionals); !error.isEmpty()) return failure(error);
    if (o.serials.size() > 1 && o.command != Command::Stream)
        return failure(u"%1 takes one device: -s may be given more than once only to stream"_s.arg(commandName(o.command)));
    return {o, {}};
}

}  // namespace vf::cli
