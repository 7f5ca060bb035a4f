#include "cli/helptext.h"

#include "cli/crashescommand.h"
#include "cli/wirelesscommand.h"
#include "core/support/buildinfo.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

constexpr char16_t kOverview[] =
    uR"(usage: vellumfox-cli [-s SERIAL] [-H HOST] [-P PORT] COMMAND [ARGS]

The command-line companion of the Vellumfox log viewer: the same core, usable
without a display.

Commands:
  devices        list the attached devices (id, state, model name)
  displays       list a device's displays (id, name)
  screenshot [-d ID] -o FILE.png
                 save a screenshot of a device (of one display of several)
  connect HOST[:PORT]
                 connect to a device on the network
  disconnect [HOST[:PORT]]
                 drop a network device (every one without an address)
  pair HOST:PORT CODE
                 pair with a device for Wireless debugging
  stream         stream the device log (of one or more devices) through
                 the viewer's store
  convert FILE   write the rows of a saved log or bugreport as text, tsv
                 or json
  detect FILE    print the layout of a saved log ("3 threadtime")
  crashes FILE | --stream
                 list the crashes and ANRs in a saved log or the device log
  check-filter PREDICATE
                 parse a filter and print its canonical text
  filters list | show NAME | import FILE | export FILE [NAME...]
                 the viewer's saved filters
  pretty json|xml|base64
                 reflow JSON or XML, or decode Base64, read on standard input
  help [COMMAND] show this text, or the page of one command
  version        print the version (also --version)

ADB server and device (the names adb itself uses):
  -s SERIAL      the device to stream from (default: $ANDROID_SERIAL);
                 "stream" takes several
  -H HOST        the ADB server's host (default: the viewer's "adbServer"
                 preference, else 127.0.0.1)
  -P PORT        the ADB server's port (default: the viewer's "adbPort"
                 preference, else 5037)

Exit status: 0 on success, 1 when something outside failed (no ADB server, no
device, the device went away, an unreadable file), 2 for a usage error or a
filter that cannot be parsed or evaluated.
)";

constexpr char16_t kFilters[] =
    uR"(Filters:
  --filter PREDICATE  a filter in the viewer's filter language, for example
                      "type IN[cd] 'E,F,A'" or "app ==[cd] 'com.example'".
                      May be given several times: the filters are ANDed, as
                      the viewer ANDs the saved filters selected in its list.
  --saved NAME        a filter saved in the viewer ("vellumfox-cli filters
                      list"); repeatable, ANDed with the others like filters
                      selected together in the viewer's list.
  --quick TEXT        the viewer's quick-filter field: rows whose tag, text,
                      app, pid or tid contain TEXT (any case). A TEXT of at
                      least 5 characters that starts with "p: " is a
                      predicate of its own ("p: type == 'E'"), and a TEXT
                      with a term of a query key ("tag:Net") is a query.
  --query QUERY       a query, as typed in the viewer's quick-filter field:
                      "package:com.example level:warn -msg:heartbeat".
                      key:value contains, key=:value equals (any case),
                      key~:regex finds a PCRE2 match, "-" negates; a bare
                      word is looked for in the tag, message and package.
                      Keys: tag, message (msg), package, process, pid, tid,
                      level (that level or higher), age (5m: no older than
                      that before the newest row, or now on a device), is
                      (crash, stacktrace). Terms of one key are ORed, the
                      rest ANDed; | & and ( ) combine them explicitly.
                      Repeatable; ANDed with the filters.
  A filter or query that cannot be parsed, or names a key rows do not have,
  is an error (exit status 2, with the position), never a silent pass.
  Keys: idx time app pid tid type name text uid package buffer ("name" is the
  tag, "uid" the log's uid column, "buffer" the device's log buffer: main,
  system, crash ...). A saved filter may hold a query as QUERY "...".
)";

constexpr char16_t kFormats[] =
    uR"(Formats (--format):
  text   the viewer's saved-text layout: "time app(pid) tid type tag: text"
         ("time uid app(pid) ..." for rows with a uid)
  tsv    the viewer's copy layout: time, app, pid, tid, type, tag, text,
         then the buffer, separated by tabs, line breaks inside values
         turned into blanks
  json   one object per line with the keys idx, time, app, pid, tid, type,
         name, text, uid, buffer in this order (idx a number, the others
         strings; uid is the log's uid column, buffer the device's log
         buffer, each empty when the log does not say)
)";

constexpr char16_t kDevices[] =
    uR"(usage: vellumfox-cli [-H HOST] [-P PORT] devices [--json]

Lists the devices the ADB server reports, as the viewer sees them, one per
line: id, state and model name, separated by tabs. The model name is looked
up on the device the way the viewer looks it up ("-" when unknown). The
state is read from the server's own reply ("device", "unauthorized",
"offline" ...); the viewer's device record keeps the first column of that
reply, the serial, in its "type" field, so the state shown here is parsed
from the same reply, not taken from the record.

  --json   one object per line: {"id", "state", "name", "product"}
           (name and product are null when unknown)

Exit status 1 when the ADB server is not running (an attempt is made to
start it with "adb start-server") or no device is attached.
)";

constexpr char16_t kDisplays[] =
    uR"(usage: vellumfox-cli [-s SERIAL] [-H HOST] [-P PORT] displays [--json]

Lists the physical displays of a device ("dumpsys SurfaceFlinger
--display-id"), one per line: the id "screenshot -d" takes and the display's
name (or "Display N" when it has none), separated by a tab. A phone with one
screen, or a device before Android 10, lists none (said on standard error):
its screenshots need no -d.

  --json   one object per line: {"id", "hwc", "name"} (the id is a string:
           it is larger than a JSON number holds exactly)

With several devices attached, -s (or $ANDROID_SERIAL) must name one.
Exit status 1 when the ADB server or the device cannot be reached.
)";

constexpr char16_t kScreenshot[] =
    uR"(usage: vellumfox-cli [-s SERIAL] [-H HOST] [-P PORT] screenshot [-d ID] -o FILE.png

Saves one screenshot of a device as a PNG file, as the remote screen takes
it ("screencap -p"). Text the device prints before the image (a foldable
warns about its several displays when no -d is given) is left out.

  -d ID    the display to capture, an id that "vellumfox-cli displays"
           lists ("screencap -d ID -p"); without it, the device's default
  -o FILE  where to write the PNG; "-o -" writes it to standard output,
           which must then not be a terminal (redirect it or pipe it)

With several devices attached, -s (or $ANDROID_SERIAL) must name one.
Exit status 1 when the ADB server or the device cannot be reached, the
device sends no image (an unknown display id) or FILE cannot be written;
2 for a usage error, also "-o -" on a terminal.
)";

constexpr char16_t kStream[] =
    uR"(usage: vellumfox-cli [-s SERIAL]... [-H HOST] [-P PORT] stream [OPTIONS]

Streams the device log ("logcat -v threadtime", with the uid column where
the device has it, buffers main, system and crash unless told otherwise)
through the viewer's own log store: app names come from the system's start
and crash lines, the uid with the package manager's packages, and last the
device's process table; lines replayed on
reconnection are dropped, and status rows ("Disconnected. SERIAL") appear as
in the viewer. Rows that pass the filter are printed as they arrive; status
rows that the filter hides go to standard error instead.

  --filter PREDICATE  see "Filters" below (repeatable)
  --saved NAME        a filter saved in the viewer (repeatable)
  --quick TEXT        the quick-filter field
  --query QUERY       a query (repeatable); age counts back from now, and
                      is:crash cannot be used (it needs the whole log)
  --package NAME      only the rows of this app (com.example takes
                      com.example:remote, and every user unless NAME@USER);
                      repeatable, any of them passes
  --clear             clear the device log when the stream starts
  --tags 'TAG:L ...'  the logcat tag expression (ANDROID_LOG_TAGS)
  -b LIST             the log buffers to read, separated by commas: main,
                      system, crash, events, radio, kernel, security, stats
                      (default: the viewer's preference, main,system,crash)
  --format FORMAT     text (default), tsv or json
  --no-color          no level colours (they are off anyway when standard
                      output is not a terminal, or NO_COLOR is set)
  --no-reconnect      end with exit status 1 when the device goes away;
                      by default the stream waits for the same device and
                      reconnects, trying every 5 seconds

--clear, --tags and -b apply to this run only; the viewer's settings are not
changed. With several devices attached, -s (or $ANDROID_SERIAL) must name
one. Ctrl+C (SIGINT) or SIGTERM ends the stream after printing every row
received so far, with exit status 0.

Several devices: "-s A -s B" streams each device in its own session into the
one output. Rows are printed as they arrive, those collected together in
time order, and each names its device: a first column in text, a last
column in tsv (after the buffer), a "device" key in json. A device that goes
away waits to come back as one device does, or under --no-reconnect ends
its part while the others go on; the stream ends when every device's part
has ended (with the worst exit status among them) or on Ctrl+C.
)";

constexpr char16_t kConvert[] =
    uR"(usage: vellumfox-cli convert FILE [--filter PREDICATE]... [--saved NAME]...
                                   [--quick TEXT] [--query QUERY]...
                                   [--package NAME]... [--format text|tsv|json]
                                   [--count]

Opens a saved log as the viewer opens it: a file named *.vellumfox that holds
a property-list dictionary is read for its "logdata" rows; anything else is
read as logcat text in any of the layouts the viewer knows, detected from the
first lines. Rows get their app from the start lines, am_proc_start lines and
uid column the file holds. Writes the rows that pass the filter. Lines longer
than 1 MiB are cut there and marked, as live lines are. Only regular files
are read: a FIFO or a device is refused ("not a regular file"), and so is a
binary file (NUL bytes near its start, without a UTF-16 or UTF-32 byte-order
mark).

A bugreport, zipped as the device writes it or its main bugreport-*.txt, is
told by its content: the rows are those of its log sections (SYSTEM LOG,
EVENT LOG, RADIO LOG and an older report's LAST LOGCAT), each with its log
buffer. Other archives and compressed files (a zip without a bugreport,
gzip, xz, tar, 7z ...) are refused, naming what they are.

  --filter PREDICATE  see "Filters" below (repeatable)
  --saved NAME        a filter saved in the viewer (repeatable)
  --quick TEXT        the quick-filter field
  --query QUERY       a query (repeatable); age counts back from the newest
                      row, is:crash takes the rows of the crashes in FILE
  --package NAME      only the rows of this app: every process of the package
                      (com.example, com.example:remote) in every user, or in
                      one user with NAME@USER (com.example@10, as an app in a
                      work profile shows); repeatable, any of them passes
  --format FORMAT     text (default), tsv or json
  --count             print only the number of rows that pass
)";

constexpr char16_t kDetect[] =
    uR"(usage: vellumfox-cli detect FILE

Prints the layout the viewer detects for a saved log, as its code and name,
for example "3 threadtime" or "5 brief". A vellumfox property-list file
prints "- vellumfox". A bugreport prints "- bugreport (zip): ENTRY" (the
zip's entry that holds its text), or for its text alone - bugreport (text),
then a line for each of its log sections: its name, the layout of its first log line and
how many log lines it holds ("  SYSTEM LOG: threadtime with uid, 912 lines").
Other archives and compressed files are refused, naming what they are. A file whose layout cannot be told prints "0 none" and
exits with status 1. FIFOs, devices and binary files are refused as by
"convert" (exit status 1).
)";

constexpr char16_t kFiltersCommand[] =
    uR"(usage: vellumfox-cli filters list
       vellumfox-cli filters show NAME
       vellumfox-cli filters import FILE
       vellumfox-cli filters export FILE [NAME...]

The viewer's saved filters (its "predicates" setting), shared with it:
  list     the names, in the viewer's order (case-insensitive)
  show     the filter's text, as stored
  import   stores every filter of a .filters file (a property list of name
           to filter text), replacing filters of the same name without
           asking; prints the names imported. A name holding a control
           character (escape, bell, a line break ...) is not imported and
           is reported with those characters escaped (exit status 1)
  export   writes the named filters (all when none are named) to FILE as an
           XML property list; an unknown name writes nothing

On the first use the library holds the five "LogLevel" filters, as in the
viewer. Exit status 1 when a name is unknown or a file cannot be used.
)";

constexpr char16_t kPretty[] =
    uR"(usage: vellumfox-cli pretty json|xml|base64 < TEXT

Reads all of standard input and prints exactly what the viewer's message
viewer shows after Format JSON, Format XML or Decoded Base64 on that whole
text. The printers are lenient: they never reject their input. When Base64
does not decode to text, the viewer's alert text goes to standard error
and the exit status is 1.
)";

constexpr char16_t kCheckFilter[] =
    uR"(usage: vellumfox-cli check-filter PREDICATE

Parses a filter and prints its canonical text (what the viewer stores). On
an error prints the message with its position and a caret under the spot,
and exits with status 2. A key rows do not have (keys: idx time app pid tid
type name text uid package) is such an error, at the key's position. A QUERY
"..." part prints as its filter-language equivalent where there is one.
)";

}  // namespace

QString helpText(const QString& topic) {
    if (topic == u"devices"_s) return QString::fromUtf16(kDevices);
    if (topic == u"displays"_s) return QString::fromUtf16(kDisplays);
    if (topic == u"screenshot"_s) return QString::fromUtf16(kScreenshot);
    if (topic == u"stream"_s)
        return QString::fromUtf16(kStream) % u'\n' % QString::fromUtf16(kFilters) % u'\n' % QString::fromUtf16(kFormats);
    if (topic == u"convert"_s)
        return QString::fromUtf16(kConvert) % u'\n' % QString::fromUtf16(kFilters) % u'\n' % QString::fromUtf16(kFormats);
    if (topic == u"detect"_s) return QString::fromUtf16(kDetect);
    if (topic == u"check-filter"_s) return QString::fromUtf16(kCheckFilter);
    if (topic == u"crashes"_s) return crashesHelpText();
    if (const QString wireless = wirelessHelpText(topic); !wireless.isEmpty()) return wireless;
    if (topic == u"filters"_s) return QString::fromUtf16(kFiltersCommand);
    if (topic == u"pretty"_s) return QString::fromUtf16(kPretty);
    if (topic == u"version"_s) return u"usage: vellumfox-cli version\n\nPrints the version.\n"_s;
    if (topic == u"help"_s) return u"usage: vellumfox-cli help [COMMAND]\n\nPrints the overview or a command's page.\n"_s;
    return QString::fromUtf16(kOverview) % u'\n' % QString::fromUtf16(kFilters) % u'\n' % QString::fromUtf16(kFormats) %
           u"\nRun \"vellumfox-cli help COMMAND\" for the options of one command.\n"_s;
}

QString versionText() {
    return u"vellumfox-cli %1 (%2)\n"_s.arg(QLatin1StringView(build::kVersion), QLatin1StringView(build::kGitHash));
}

}  // namespace vf::cli
