#include <gtest/gtest.h>

#include "core/filter/fieldsource.h"
#include "core/log/processlines.h"

namespace vf {
namespace {

// "pid process uid" of a parsed start, "-" for none, so one string compares all.
std::string shown(const std::optional<ProcessStart>& s) {
    if (!s) return "-";
    return std::to_string(s->pid) + ' ' + std::string(s->process) + ' ' + (s->uid ? std::to_string(*s->uid) : "?");
}
std::string shown(const std::optional<NamedPid>& n) {
    return n ? std::to_string(n->pid) + ' ' + std::string(n->process) : "-";
}

TEST(ProcessLines, StartLinesOfEveryAndroidVersion) {
    const std::pair<const char*, const char*> cases[] = {
        // Android 10 and later, 5-9, an isolated process with its entry point, a system uid, another user.
        {"Start proc 4567:com.example/u0a187 for pre-top-activity {com.example/com.example.Main}", "4567 com.example 10187"},
        {" Start proc 4567:com.example:remote/u0a187 for service com.example/.Sync", "4567 com.example:remote 10187"},
        {"Start proc 812:com.android.chrome:sandboxed_process0/u0i3 [org.chromium.Sandbox] for webview_service x",
         "812 com.android.chrome:sandboxed_process0 99003"},
        {"Start proc 1530:com.android.phone/1001 for added application com.android.phone", "1530 com.android.phone 1001"},
        {"Start proc 4600:com.example.work/u10a150 for activity {com.example.work/.Main}", "4600 com.example.work 1010150"},
        // Android 4.x, with and without extras after the gids.
        {"Start proc com.example for activity com.example/.Main: pid=4567 uid=10187 gids={50187, 3003}", "4567 com.example 10187"},
        {"Start proc com.example for broadcast com.example/.R: pid=42 uid=10040 gids={} abi=armeabi-v7a", "42 com.example 10040"},
        // Not start lines.
        {"Start proc com.example for activity", "-"}, {"Start proc 12:/u0a1 for x", "-"}, {"Start proc x:y/u0a1", "-"},
        {"Start process 4567:com.example/u0a187", "-"}, {"Start proc 0:com.example/u0a1 for x", "-"}};
    for (const auto& [text, expected] : cases) EXPECT_EQ(shown(parseStartProc(text)), expected) << text;

    const std::pair<const char*, const char*> events[] = {
        {"[0,4567,10187,com.example,activity,{com.example/com.example.Main}]", "4567 com.example 10187"},
        {" [10,4600,1010150,com.example.work,pre-top-activity,{com.example.work/.Main}]", "4600 com.example.work 1010150"},
        {"[4567,10187,com.example,activity,com.example/.Main]", "4567 com.example 10187"},  // before users existed
        {"[0,4567,10187]", "-"}, {"[0,x,10187,com.example,a,b]", "-"}, {"0,4567,10187,com.example,a,b", "-"}};
    for (const auto& [text, expected] : events) EXPECT_EQ(shown(parseAmProcStart(text)), expected) << text;
}

TEST(ProcessLines, CrashAndDeathLinesNameTheirPid) {
    EXPECT_EQ(shown(parseCrashProcess("Process: com.example:remote, PID: 4567")), "4567 com.example:remote");
    EXPECT_EQ(shown(parseCrashProcess(" Process: com.example, PID: 4567 ")), "4567 com.example");
    EXPECT_EQ(shown(parseCrashProcess("Process: com.example")), "-");
    EXPECT_EQ(shown(parseCrashProcess("Process: com.example, PID: x")), "-");
    EXPECT_EQ(shown(parseProcessDied("Process com.example (pid 4567) has died: fg  TOP")), "4567 com.example");
    EXPECT_EQ(shown(parseProcessDied("Process com.example (pid 4567) has died.")), "4567 com.example");
    EXPECT_EQ(shown(parseProcessDied("Process com.example (pid 4567) is still here")), "-");

    // Each line counts only under the tag that writes it.
    using Kind = ProcessEvent::Kind;
    const auto kind = [](const char* tag, const char* text) {
        const auto event = processEventOf(tag, text);
        return event ? int(event->kind) : -1;
    };
    EXPECT_EQ(kind("ActivityManager ", " Start proc 1:a/u0a1 for x"), int(Kind::Start));
    EXPECT_EQ(kind("am_proc_start", "[0,1,10001,a,b,c]"), int(Kind::Start));
    EXPECT_EQ(kind("AndroidRuntime", "Process: a, PID: 1"), int(Kind::Crash));
    EXPECT_EQ(kind("ActivityManager", "Process a (pid 1) has died"), int(Kind::Died));
    EXPECT_EQ(kind("MyApp", "Start proc 1:a/u0a1 for x"), -1);
    EXPECT_EQ(kind("MyApp", "Process: a, PID: 1"), -1);
    EXPECT_EQ(kind("ActivityManager", "Displayed com.example/.Main"), -1);
}

TEST(ProcessLines, UidsAsPrintedAndAsFormatted) {
    const std::pair<const char*, std::optional<uint32_t>> columns[] = {
        {"10152", 10152},    {"  1000 ", 1000},  {"10152:", 10152}, {"root", 0},        {"shell", 2000},
        {"radio", 1001},     {"u0_a5", 10005},   {"u0_a152", 10152}, {"u10_a152", 1010152}, {"u0_i3", 90003},
        {"u10_system", 1000000 + 1000}, {"u10_audio", 1001005}, {"oem", std::nullopt}, {"", std::nullopt},
        {"u0_", std::nullopt}, {"u0_ax", std::nullopt}, {"12a", std::nullopt}};
    for (const auto& [text, uid] : columns) EXPECT_EQ(parseUidColumn(text), uid) << text;

    const std::pair<const char*, std::optional<uint32_t>> formatted[] = {
        {"1000", 1000}, {"u0a187", 10187}, {"u10a187", 1010187}, {"u0i5", 99005}, {"u0ai3", 90003},
        {"u10s1000", 1001000}, {"u0x1", std::nullopt}, {"u0a", std::nullopt}, {"ua1", std::nullopt}};
    for (const auto& [text, uid] : formatted) EXPECT_EQ(parseFormattedUid(text), uid) << text;
}

TEST(ProcessLines, UsersShowAndPackagesMatch) {
    EXPECT_EQ(appLabel("com.example", 10187), "com.example");
    EXPECT_EQ(appLabel("com.example", 1010187), "com.example@10");
    EXPECT_EQ(appLabel("com.example", std::nullopt), "com.example");
    EXPECT_TRUE(isAppUid(1010187));
    EXPECT_FALSE(isAppUid(1000));
    EXPECT_FALSE(isAppUid(99005));

    const std::tuple<const char*, const char*, bool> cases[] = {
        {"com.example", "com.example", true},        {"com.example:remote", "com.example", true},
        {"com.example@10", "com.example", true},     {"com.example:remote@10", "com.example@10", true},
        {"com.example", "com.example@10", false},    {"com.example.other", "com.example", false},
        {"com.example@10", "com.example@11", false}, {"", "", false}};
    for (const auto& [app, package, matches] : cases) EXPECT_EQ(appIsPackage(app, package), matches) << app << " " << package;
    // The filter language's package key agrees.
    EXPECT_EQ(packageOf("com.example:remote@10"), "com.example");
    EXPECT_EQ(packageOf("com.example@10"), "com.example");
    EXPECT_EQ(packageOf("mail@host"), "mail@host");
}

}  // namespace
}  // namespace vf
