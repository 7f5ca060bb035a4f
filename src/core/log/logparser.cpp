#include "core/log/logparser.h"

#include "core/log/linecursor.h"

namespace vf {

namespace {

using namespace std::string_view_literals;

// Field positions in RowArena::make's array.
enum Field : size_t { kTime, kApp, kPid, kTid, kType, kName, kText, kUid };
using Fields = RowFields;

// Values that are not a piece of the line live here until the arena copies them.
struct Scratch {
    std::string time;
    std::string name;
};

// "date time": a piece of the line when one blank separates them.
std::string_view joinTime(std::string_view date, std::string_view time, Scratch& scratch) {
    if (date.data() + date.size() + 1 == time.data() && date.data()[date.size()] == ' ')
        return std::string_view(date.data(), date.size() + 1 + time.size());
    scratch.time.assign(date).append(1, ' ').append(time);
    return scratch.time;
}

// Takes a "**app**" part out of a dated-layout tag. The odd edges are
// deliberate and match how such files were always read: an opening marker
// with fewer than two characters after it empties the tag, a missing
// closing marker leaves it alone, and a single character after the closing
// marker is dropped.
void takeMarkedApp(Fields& fields, Scratch& scratch) {
    constexpr auto marker = "**"sv;
    const std::string_view tag = fields[kName];
    const size_t open = tag.find(marker);
    if (open == std::string_view::npos) return;
    const size_t inner = open + marker.size();
    if (utf8::utf16Length(tag.substr(inner), 2) < 2) {
        fields[kName] = {};
        return;
    }
    const size_t close = tag.find(marker, inner);
    if (close == std::string_view::npos) return;
    fields[kApp] = tag.substr(inner, close - inner);
    const std::string_view before = tag.substr(0, open);
    std::string_view after = tag.substr(close + marker.size());
    if (utf8::utf16Length(after, 2) < 2) after = {};
    if (before.empty() || after.empty()) {
        fields[kName] = before.empty() ? after : before;
    } else {
        scratch.name.assign(before).append(after);
        fields[kName] = scratch.name;
    }
}

bool scanInto(LineCursor& cursor, std::string_view delimiter, std::string_view& out) {
    const auto taken = cursor.scanUpTo(delimiter);
    if (!taken) return false;
    out = *taken;
    return true;
}

// A saved log writes the main thread's tid as "-": that is no level.
bool isLevelToken(std::string_view token) {
    return token.size() == 1 && (token[0] < '0' || token[0] > '9') && token[0] != '-';
}

// Whether a threadtime line has the uid column, from what follows its time:
// "uid pid tid L" or "pid tid L". Tids are numbers and levels letters, so
// the third token tells.
bool hasUidColumn(std::string_view rest) {
    std::string_view token;
    for (int i = 0; i < 3; ++i) {
        const size_t start = rest.find_first_not_of(' ');
        if (start == std::string_view::npos) return false;
        rest.remove_prefix(start);
        token = rest.substr(0, std::min(rest.find(' '), rest.size()));
        rest.remove_prefix(token.size());
    }
    return !isLevelToken(token);
}

// Threadtime process column, tid, level and tag (codes 1-3 and 11).
bool scanThreadTime(LineCursor& cursor, LogLineFormat format, Fields& f, bool uidColumn) {
    if (uidColumn && !scanInto(cursor, " "sv, f[kUid])) return false;
    std::string_view process;
    if (!scanInto(cursor, " "sv, process)) return false;
    f[kPid] = process;
    if (format == LogLineFormat::ThreadTimeApp || format == LogLineFormat::ThreadTimeUid) {
        const size_t open = process.find('(');
        if (open != std::string_view::npos && process.ends_with(')')) {
            f[kApp] = process.substr(0, open);
            f[kPid] = process.substr(open + 1, process.size() - open - 2);
        }
    }
    return scanInto(cursor, " "sv, f[kTid]) && scanInto(cursor, " "sv, f[kType]) && scanInto(cursor, ":"sv, f[kName]);
}

// Level, tag and pid of the brief, time and dated layouts (codes 4, 5, 9).
bool scanBrief(LineCursor& cursor, Fields& f) {
    if (!scanInto(cursor, "/"sv, f[kType]) || !scanInto(cursor, "("sv, f[kName]) || !scanInto(cursor, "):"sv, f[kPid]))
        return false;
    f[kPid] = trimBlanks(f[kPid]);
    return true;
}

// "[ date time pid: tid L/Tag ]" after the date and time (code 10).
bool scanLongHeader(LineCursor& cursor, Fields& f) {
    std::string_view threadAndLevel;
    if (!scanInto(cursor, ":"sv, f[kPid]) || !scanInto(cursor, "/"sv, threadAndLevel)) return false;
    if (threadAndLevel.empty()) return false;  // only the cut ":" was there: no level to take
    f[kType] = threadAndLevel.substr(threadAndLevel.size() - 1);
    f[kTid] = trimBlanks(threadAndLevel.substr(0, threadAndLevel.size() - 1));
    return scanInto(cursor, "]"sv, f[kName]);
}

bool hasTime(LogLineFormat format) {
    switch (format) {
        case LogLineFormat::ThreadTimeLive:
        case LogLineFormat::ThreadTimeApp:
        case LogLineFormat::ThreadTime:
        case LogLineFormat::ThreadTimeUid:
        case LogLineFormat::Dated:
        case LogLineFormat::Time:
        case LogLineFormat::Long: return true;
        default: return false;
    }
}

// `rest` is the line after its time (threadtime layouts only).
bool scanFields(LineCursor& cursor, LogLineFormat format, Fields& f, Scratch& scratch, std::string_view rest) {
    switch (format) {
        case LogLineFormat::ThreadTimeLive:
        case LogLineFormat::ThreadTimeUid: return scanThreadTime(cursor, format, f, hasUidColumn(rest));
        case LogLineFormat::ThreadTimeApp:
        case LogLineFormat::ThreadTime: return scanThreadTime(cursor, format, f, false);
        case LogLineFormat::Dated:
            if (!scanBrief(cursor, f)) return false;
            takeMarkedApp(f, scratch);
            return true;
        case LogLineFormat::Brief:
        case LogLineFormat::Time: return scanBrief(cursor, f);
        case LogLineFormat::Process:
            if (!scanInto(cursor, "("sv, f[kType]) || !scanInto(cursor, ")"sv, f[kPid])) return false;
            f[kPid] = trimBlanks(f[kPid]);
            return true;
        case LogLineFormat::Tag: return scanInto(cursor, "/"sv, f[kType]) && scanInto(cursor, ": "sv, f[kName]);
        case LogLineFormat::Long: return scanLongHeader(cursor, f);
        case LogLineFormat::None:
        case LogLineFormat::Raw: return true;
    }
    return true;
}

// Whether logcat puts one blank between the header and the message: after
// the tag's colon, or after the pid's ")" of the process layout. The tag
// layout's ": " and the long layout's "]" are cut whole.
bool blankBeforeText(LogLineFormat format) {
    switch (format) {
        case LogLineFormat::ThreadTimeLive:
        case LogLineFormat::ThreadTimeApp:
        case LogLineFormat::ThreadTime:
        case LogLineFormat::ThreadTimeUid:
        case LogLineFormat::Dated:
        case LogLineFormat::Brief:
        case LogLineFormat::Process:
        case LogLineFormat::Time: return true;
        default: return false;
    }
}

bool tidDashes(LogLineFormat format) {
    return format == LogLineFormat::ThreadTimeLive || format == LogLineFormat::ThreadTimeApp ||
           format == LogLineFormat::ThreadTime || format == LogLineFormat::ThreadTimeUid ||
           format == LogLineFormat::Long;
}

}  // namespace

QString logLineFormatName(LogLineFormat format) {
    switch (format) {
        case LogLineFormat::None: return QStringLiteral("none");
        case LogLineFormat::ThreadTimeLive: return QStringLiteral("threadtime (live)");
        case LogLineFormat::ThreadTimeApp: return QStringLiteral("threadtime with app");
        case LogLineFormat::ThreadTime: return QStringLiteral("threadtime");
        case LogLineFormat::Dated: return QStringLiteral("dated");
        case LogLineFormat::Brief: return QStringLiteral("brief");
        case LogLineFormat::Process: return QStringLiteral("process");
        case LogLineFormat::Raw: return QStringLiteral("raw");
        case LogLineFormat::Tag: return QStringLiteral("tag");
        case LogLineFormat::Time: return QStringLiteral("time");
        case LogLineFormat::Long: return QStringLiteral("long");
        case LogLineFormat::ThreadTimeUid: return QStringLiteral("threadtime with uid");
    }
    return QStringLiteral("unknown");
}

RowPtr parseThreadTimeLine(RowArena& arena, std::string_view line, LogLineFormat format,
                           const RowIndexSource& nextIndex, const AppNameLookup& appName) {
    if (!line.empty() && line.front() == '-') format = LogLineFormat::Raw;
    LineCursor cursor(line);
    Fields f;
    Scratch scratch;
    if (format == LogLineFormat::Long && !cursor.scanUpTo(" "sv)) return {};
    std::string_view rest;
    if (hasTime(format)) {
        std::string_view date, time;
        if (!scanInto(cursor, " "sv, date) || !scanInto(cursor, " "sv, time)) return {};
        rest = line.substr(size_t(time.data() + time.size() - line.data()));
        if (format == LogLineFormat::Dated && !time.empty()) time.remove_suffix(1);
        f[kTime] = joinTime(date, time, scratch);
    }
    if (!scanFields(cursor, format, f, scratch, rest)) return {};
    if (tidDashes(format) && !f[kTid].empty() && f[kTid] == f[kPid]) f[kTid] = "-"sv;
    if (!scanInto(cursor, "\n"sv, f[kText])) return {};
    // Rows hold the tag and the message as the app wrote them: without the
    // padding logcat adds to short tags and the blank after its separator.
    // So a saved row reads back as the same row, and exact matches work.
    f[kName] = trimBlanks(f[kName]);
    if (blankBeforeText(format) && f[kText].starts_with(' ')) f[kText].remove_prefix(1);
    // The live path's one lookup; the buffer is reused so that known pids cost no allocation.
    thread_local std::string app;
    if (format == LogLineFormat::ThreadTimeLive && appName) {
        app.clear();
        if (appName(f, app)) f[kApp] = app;
    }
    return arena.make(nextIndex(), line, f);
}

}  // namespace vf
