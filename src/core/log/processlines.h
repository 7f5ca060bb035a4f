#pragma once
// What the system's own log lines say about processes: ActivityManager's
// start and death lines, the events buffer's am_proc_start, the second line
// of a Java crash, and the uid column of "-v uid" logs. Also Android's uid
// arithmetic (users, app ids) and the name an app is shown by.
//
// Pure functions of their arguments; any thread. Views in results point
// into the text they were given.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vf {

// A uid is user * 100000 + app id; apps have the app ids 10000-19999.
inline constexpr uint32_t kUidsPerUser = 100000;
inline constexpr uint32_t kFirstAppId = 10000;
inline constexpr uint32_t kLastAppId = 19999;

constexpr uint32_t userOfUid(uint32_t uid) { return uid / kUidsPerUser; }
constexpr uint32_t appIdOfUid(uint32_t uid) { return uid % kUidsPerUser; }
constexpr bool isAppUid(uint32_t uid) { return appIdOfUid(uid) >= kFirstAppId && appIdOfUid(uid) <= kLastAppId; }

// A row's pid as a number; nothing for "---", an empty pid or 0.
std::optional<uint32_t> pidNumber(std::string_view pid);

// How an app is shown: its name, with "@user" for users other than 0
// ("com.example@10" is com.example in user 10 or a work profile).
std::string appLabel(std::string_view name, std::optional<uint32_t> uid);

// Whether the app column `app` belongs to `package`: its process name up to
// the first ':' is the package, and a "@user" suffix, when `package` has
// one, must agree ("com.example" takes "com.example:remote@10";
// "com.example@10" takes only user 10).
bool appIsPackage(std::string_view app, std::string_view package);

// A process the system announced.
struct ProcessStart {
    uint32_t pid = 0;
    std::string_view process;
    std::optional<uint32_t> uid;
};

// A pid with the name of its process.
struct NamedPid {
    uint32_t pid = 0;
    std::string_view process;
};

// ActivityManager's start line, from Android 5 on
//   "Start proc 4567:com.example/u0a187 for activity {com.example/...}"
// (an " [entry point]" may come before " for"), and before that
//   "Start proc com.example for activity ...: pid=4567 uid=10187 gids={...}".
std::optional<ProcessStart> parseStartProc(std::string_view text);

// The events buffer's "[user,pid,uid,process,type,component]" (from Android
// 4.2; "[pid,uid,process,type,component]" before).
std::optional<ProcessStart> parseAmProcStart(std::string_view text);

// "Process: com.example, PID: 4567", the line after a Java crash's first.
std::optional<NamedPid> parseCrashProcess(std::string_view text);

// ActivityManager's "Process com.example (pid 4567) has died: fg TOP".
std::optional<NamedPid> parseProcessDied(std::string_view text);

// The uid as the system formats it in start lines: "1000", "u0a187",
// "u10a187", "u0i5" (isolated), "u0ai3" (app zygote), "u10s1000".
std::optional<uint32_t> parseFormattedUid(std::string_view text);

// The uid column of "-v uid": a number ("10152") or the user's name when
// that is at most five characters: a system user ("root", "shell",
// "radio" ...) or an app user ("u0_a5", "u0_i3"). Blanks around it and a
// trailing ':' are allowed. Unknown names give nothing.
std::optional<uint32_t> parseUidColumn(std::string_view text);

// What one log row says about a process, read from its tag and message:
// start lines under ActivityManager, am_proc_start, "Process:" under
// AndroidRuntime, and the death line under ActivityManager.
struct ProcessEvent {
    enum class Kind : uint8_t { Start, Crash, Died };
    Kind kind = Kind::Start;
    uint32_t pid = 0;
    std::string_view process;
    std::optional<uint32_t> uid;
};
// `tag` may carry logcat's padding; `text` its leading blank. Cheap for
// rows that are none of these (a look at the first characters).
std::optional<ProcessEvent> processEventOf(std::string_view tag, std::string_view text);

}  // namespace vf
