#include "core/log/processlines.h"

#include <array>
#include <charconv>

using namespace std::string_view_literals;

namespace vf {

namespace {

// Isolated processes (app ids 99000-99999), and those an app zygote starts
// (90000-98999).
constexpr uint32_t kFirstIsolatedId = 99000;
constexpr uint32_t kFirstAppZygoteIsolatedId = 90000;

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r' || s.back() == '\n'))
        s.remove_suffix(1);
    return s;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The number at the start of `s`, taken off it. Nothing when `s` does not
// start with a digit or the number does not fit.
std::optional<uint32_t> takeNumber(std::string_view& s) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), value);
    if (error != std::errc() || s.empty() || !isDigit(s.front())) return std::nullopt;
    s.remove_prefix(size_t(end - s.data()));
    return value;
}

// A whole text that is a number.
std::optional<uint32_t> wholeNumber(std::string_view s) {
    const auto value = takeNumber(s);
    return value && s.empty() ? value : std::nullopt;
}

bool takePrefix(std::string_view& s, std::string_view prefix) {
    if (!s.starts_with(prefix)) return false;
    s.remove_prefix(prefix.size());
    return true;
}

// Process names have no blanks and are never empty.
bool isProcessName(std::string_view name) {
    return !name.empty() && name.find_first_of(" \t"sv) == std::string_view::npos;
}

// The system users that logcat prints by name (names of at most five
// characters), and a few longer ones that show with a user prefix.
constexpr std::array<std::pair<std::string_view, uint32_t>, 30> kSystemUsers{{
    {"root", 0},        {"system", 1000}, {"radio", 1001}, {"bluetooth", 1002}, {"graphics", 1003},
    {"input", 1004},    {"audio", 1005},  {"camera", 1006}, {"log", 1007},      {"compass", 1008},
    {"mount", 1009},    {"wifi", 1010},   {"adb", 1011},    {"install", 1012},  {"media", 1013},
    {"dhcp", 1014},     {"vpn", 1016},    {"keystore", 1017}, {"usb", 1018},    {"drm", 1019},
    {"mdnsr", 1020},    {"gps", 1021},    {"mtp", 1024},    {"nfc", 1027},      {"logd", 1036},
    {"shell", 2000},    {"cache", 2001},  {"diag", 2002},   {"net_bt", 3002},   {"nobody", 9999},
}};

std::optional<uint32_t> systemUserId(std::string_view name) {
    for (const auto& [known, id] : kSystemUsers)
        if (known == name) return id;
    return std::nullopt;
}

// "u10_a152", "u0_i3", "u10_system": a user's name as the C library makes it.
std::optional<uint32_t> appUserName(std::string_view name) {
    if (!takePrefix(name, "u"sv)) return std::nullopt;
    const auto user = takeNumber(name);
    if (!user || !takePrefix(name, "_"sv)) return std::nullopt;
    // "a152" and "i3" are numbered; anything else is a system user's name ("audio").
    const auto n = name.empty() ? std::nullopt : wholeNumber(name.substr(1));
    if (n && name.front() == 'a') return *user * kUidsPerUser + kFirstAppId + *n;
    // The C library counts isolated ids from the app zygote's range.
    if (n && name.front() == 'i') return *user * kUidsPerUser + kFirstAppZygoteIsolatedId + *n;
    const auto id = systemUserId(name);
    return id ? std::optional<uint32_t>(*user * kUidsPerUser + *id) : std::nullopt;
}

// "PREFIX NAME SEPARATOR PID SUFFIX...", the shape of the lines that name
// the process of a pid.
std::optional<NamedPid> namedPid(std::string_view text, std::string_view prefix, std::string_view separator,
                                 std::string_view suffix) {
    text = trimmed(text);
    if (!takePrefix(text, prefix)) return std::nullopt;
    const size_t at = text.find(separator);
    if (at == std::string_view::npos) return std::nullopt;
    std::string_view rest = text.substr(at + separator.size());
    const auto pid = takeNumber(rest);
    const std::string_view process = text.substr(0, at);
    if (!pid || *pid == 0 || !takePrefix(rest, suffix) || !isProcessName(process)) return std::nullopt;
    return NamedPid{*pid, process};
}

}  // namespace

// Every row's pid is read: kept to a plain loop over its digits.
std::optional<uint32_t> pidNumber(std::string_view pid) {
    if (pid.empty() || pid.size() > 9) return std::nullopt;
    uint32_t value = 0;
    for (const char c : pid) {
        if (!isDigit(c)) return std::nullopt;
        value = value * 10 + uint32_t(c - '0');
    }
    return value != 0 ? std::optional<uint32_t>(value) : std::nullopt;
}

std::string appLabel(std::string_view name, std::optional<uint32_t> uid) {
    std::string label(name);
    if (uid && userOfUid(*uid) != 0 && !label.empty()) label += '@' + std::to_string(userOfUid(*uid));
    return label;
}

bool appIsPackage(std::string_view app, std::string_view package) {
    const auto userPart = [](std::string_view s) -> std::pair<std::string_view, std::string_view> {
        const size_t at = s.rfind('@');
        if (at == std::string_view::npos || !wholeNumber(s.substr(at + 1))) return {s, {}};
        return {s.substr(0, at), s.substr(at + 1)};
    };
    const auto [process, appUser] = userPart(app);
    const auto [wanted, wantedUser] = userPart(package);
    if (!wantedUser.empty() && wantedUser != appUser) return false;
    return !wanted.empty() && process.substr(0, process.find(':')) == wanted;
}

std::optional<ProcessStart> parseStartProc(std::string_view text) {
    text = trimmed(text);
    if (!takePrefix(text, "Start proc "sv)) return std::nullopt;
    ProcessStart start;
    if (!text.empty() && isDigit(text.front())) {
        // "4567:com.example/u0a187 for ..."
        const auto pid = takeNumber(text);
        if (!pid || !takePrefix(text, ":"sv)) return std::nullopt;
        const size_t slash = text.find('/');
        if (slash == std::string_view::npos) return std::nullopt;
        start.pid = *pid;
        start.process = text.substr(0, slash);
        text.remove_prefix(slash + 1);
        start.uid = parseFormattedUid(text.substr(0, std::min(text.find(' '), text.size())));
    } else {
        // "com.example for activity ...: pid=4567 uid=10187 gids={...}"
        const size_t pidAt = text.rfind(": pid="sv);
        const size_t forAt = text.find(" for "sv);
        if (pidAt == std::string_view::npos || forAt == std::string_view::npos || forAt > pidAt)
            return std::nullopt;
        start.process = text.substr(0, forAt);
        text.remove_prefix(pidAt + 6);
        const auto pid = takeNumber(text);
        if (!pid) return std::nullopt;
        start.pid = *pid;
        if (takePrefix(text, " uid="sv)) start.uid = takeNumber(text);
    }
    if (!isProcessName(start.process) || start.pid == 0) return std::nullopt;
    return start;
}

std::optional<ProcessStart> parseAmProcStart(std::string_view text) {
    text = trimmed(text);
    if (!takePrefix(text, "["sv)) return std::nullopt;
    std::array<std::string_view, 4> fields;
    for (std::string_view& field : fields) {
        const size_t comma = text.find(',');
        if (comma == std::string_view::npos) return std::nullopt;
        field = text.substr(0, comma);
        text.remove_prefix(comma + 1);
    }
    // With the user, the first three fields are numbers; the process name never is.
    const bool withUser = wholeNumber(fields[2]).has_value();
    const auto pid = wholeNumber(fields[withUser ? 1 : 0]);
    const auto uid = wholeNumber(fields[withUser ? 2 : 1]);
    const std::string_view process = fields[withUser ? 3 : 2];
    if (!pid || *pid == 0 || !uid || !isProcessName(process) || (withUser && !wholeNumber(fields[0])))
        return std::nullopt;
    return ProcessStart{*pid, process, uid};
}

std::optional<NamedPid> parseCrashProcess(std::string_view text) {
    return namedPid(text, "Process: "sv, ", PID: "sv, {});
}

std::optional<NamedPid> parseProcessDied(std::string_view text) {
    return namedPid(text, "Process "sv, " (pid "sv, ") has died"sv);
}

std::optional<uint32_t> parseFormattedUid(std::string_view text) {
    if (!takePrefix(text, "u"sv)) return wholeNumber(text);
    const auto user = takeNumber(text);
    if (!user) return std::nullopt;
    uint32_t base = 0;
    if (takePrefix(text, "ai"sv)) base = kFirstAppZygoteIsolatedId;
    else if (takePrefix(text, "a"sv)) base = kFirstAppId;
    else if (takePrefix(text, "i"sv)) base = kFirstIsolatedId;
    else if (!takePrefix(text, "s"sv)) return std::nullopt;
    const auto n = wholeNumber(text);
    if (!n || *n >= kUidsPerUser) return std::nullopt;
    return *user * kUidsPerUser + base + *n;
}

std::optional<uint32_t> parseUidColumn(std::string_view text) {
    text = trimmed(text);
    if (text.ends_with(':')) text.remove_suffix(1);
    if (text.empty()) return std::nullopt;
    if (isDigit(text.front())) return wholeNumber(text);
    if (const auto id = systemUserId(text)) return id;
    return appUserName(text);
}

std::optional<ProcessEvent> processEventOf(std::string_view tag, std::string_view text) {
    // Every line of interest starts its message with 'S', 'P' or '['.
    size_t first = 0;
    while (first < text.size() && text[first] == ' ') ++first;
    if (first == text.size() || (text[first] != 'S' && text[first] != 'P' && text[first] != '[')) return std::nullopt;
    tag = trimmed(tag);
    using Kind = ProcessEvent::Kind;
    if (tag == "ActivityManager"sv) {
        if (const auto start = parseStartProc(text)) return ProcessEvent{Kind::Start, start->pid, start->process, start->uid};
        if (const auto died = parseProcessDied(text)) return ProcessEvent{Kind::Died, died->pid, died->process, {}};
    } else if (tag == "am_proc_start"sv) {
        if (const auto start = parseAmProcStart(text))
            return ProcessEvent{Kind::Start, start->pid, start->process, start->uid};
    } else if (tag == "AndroidRuntime"sv) {
        if (const auto crash = parseCrashProcess(text)) return ProcessEvent{Kind::Crash, crash->pid, crash->process, {}};
    }
    return std::nullopt;
}

}  // namespace vf
