#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "core/log/logparser.h"
#include "core/log/processidentity.h"
#include "helpers.h"

namespace vf {
namespace {

// The apps a table shows for pid 100 at positions 0..9, one "|"-joined string.
std::string appsOf100(const ProcessIdentityTable& table) {
    std::string apps;
    for (uint64_t at = 0; at < 10; ++at) apps += (at ? "|" : "") + table.appAt(100, at);
    return apps;
}

TEST(ProcessIdentity, MergeRulesOverOnePidsHistory) {
    PackageMap packages;
    packages.add(10187, "com.pkg");
    packages.add(10188, "com.shared.a");
    packages.add(10188, "com.shared.b");
    const struct {
        const char* rule;
        std::function<void(ProcessIdentityTable&)> events;
        const char* apps;  // pid 100 at positions 0..9
    } cases[] = {
        {"a start names earlier unnamed rows and everything after",
         [](auto& t) { t.started(100, "com.a", 10187, "", 3); }, "com.a|com.a|com.a|com.a|com.a|com.a|com.a|com.a|com.a|com.a"},
        {"a reused pid changes owner at the start line, not before",
         [](auto& t) { t.started(100, "com.a", 10187, "", 1); t.started(100, "com.b", 10190, "", 5); },
         "com.a|com.a|com.a|com.a|com.a|com.b|com.b|com.b|com.b|com.b"},
        {"after a death nobody owns the pid; the next start takes the rows since",
         [](auto& t) { t.started(100, "com.a", 10187, "", 1); t.died(100, "com.a", 3); t.started(100, "com.b", 10190, "", 7); },
         "com.a|com.a|com.a|com.a|com.b|com.b|com.b|com.b|com.b|com.b"},
        {"a death alone names and ends the life",
         [](auto& t) { t.died(100, "com.a", 4); }, "com.a|com.a|com.a|com.a|com.a|||||"},
        {"a crash line does not rename what a start line named",
         [](auto& t) { t.started(100, "com.a:ui", 10187, "", 0); t.named(100, "com.other", 2); },
         "com.a:ui|com.a:ui|com.a:ui|com.a:ui|com.a:ui|com.a:ui|com.a:ui|com.a:ui|com.a:ui|com.a:ui"},
        {"another uid is another process",
         [](auto& t) { t.started(100, "com.a", 10187, "", 0); t.uidSeen(100, 10187, 2); t.uidSeen(100, 10188, 6); },
         "com.a|com.a|com.a|com.a|com.a|com.a|com.shared.a,com.shared.b|com.shared.a,com.shared.b|com.shared.a,com.shared.b|com.shared.a,com.shared.b"},
        {"the process table only names what nothing else named",
         [](auto& t) { t.takeProcessTable({{"100", "com.ps"}}, 0); t.started(100, "com.ps", 10187, "", 5); },
         "com.ps|com.ps|com.ps|com.ps|com.ps|com.ps|com.ps|com.ps|com.ps|com.ps"},
        {"packages of the uid win over a process-table name that is not one of them",
         [](auto& t) { t.uidSeen(100, 10187, 0); t.takeProcessTable({{"100", "stale.name"}}, 1); },
         "com.pkg|com.pkg|com.pkg|com.pkg|com.pkg|com.pkg|com.pkg|com.pkg|com.pkg|com.pkg"},
        {"but a process of one of them is more precise",
         [](auto& t) { t.uidSeen(100, 10187, 0); t.takeProcessTable({{"100", "com.pkg:remote"}}, 1); },
         "com.pkg:remote|com.pkg:remote|com.pkg:remote|com.pkg:remote|com.pkg:remote|com.pkg:remote|com.pkg:remote|com.pkg:remote|com.pkg:remote|com.pkg:remote"},
        {"another user shows as @user",
         [](auto& t) { t.uidSeen(100, 1010187, 0); t.started(100, "com.w", 1010190, "", 5); },
         "com.pkg@10|com.pkg@10|com.pkg@10|com.pkg@10|com.pkg@10|com.w@10|com.w@10|com.w@10|com.w@10|com.w@10"},
        {"a uid's packages learned from another pid's start line",
         [](auto& t) { t.uidSeen(100, 10199, 0); t.started(200, "com.learned:svc", 10199, "", 4); },
         "com.learned|com.learned|com.learned|com.learned|com.learned|com.learned|com.learned|com.learned|com.learned|com.learned"},
        {"system uids are not named by their many packages", [](auto& t) { t.uidSeen(100, 1000, 0); }, "|||||||||"},
    };
    for (const auto& c : cases) {
        ProcessIdentityTable table;
        table.setPackages(packages);
        c.events(table);
        EXPECT_EQ(appsOf100(table), c.apps) << c.rule;
    }
}

TEST(ProcessIdentity, GoneForgottenAndWantingPackages) {
    ProcessIdentityTable table;
    table.uidSeen(100, 10400, 0);
    EXPECT_TRUE(table.wantsPackages()) << "an app uid nobody listed";
    PackageMap packages;
    packages.add(10400, "com.listed");
    table.setPackages(packages);
    EXPECT_FALSE(table.wantsPackages());
    table.uidSeen(101, 1000, 1);
    EXPECT_FALSE(table.wantsPackages()) << "system uids are not looked up";

    table.started(100, "com.listed", 10400, "01-15 12:00:00.000", 2);
    EXPECT_EQ(table.lifeAt(100, 2)->startTime, "01-15 12:00:00.000");
    table.died(100, "com.listed", 5);
    EXPECT_TRUE(table.isGone(100));
    EXPECT_FALSE(table.isGone(101));
    table.started(100, "com.next", 10401, "", 8);
    EXPECT_FALSE(table.isGone(100));
    table.forgetBefore(8);
    EXPECT_EQ(table.appAt(100, 9), "com.next");
    EXPECT_EQ(table.lifeAt(100, 8)->since, 6u) << "the earlier life is forgotten, the later keeps its start";
    table.clear();
    EXPECT_TRUE(table.empty());
}

// A file whose rows the process table never named: the start, death and crash
// lines and the uid column in it name them, each from where it holds.
TEST(ProcessIdentity, OpeningAFileNamesItsRows) {
    QTemporaryDir dir;
    const QString path = test::writeFile(dir, QStringLiteral("uid.log"),
        "01-15 12:00:00.000  1000  1102  1133 I ActivityManager: Start proc 4567:com.flash/u0a190 for activity {com.flash/.M}\n"
        "01-15 12:00:00.010 10190  4567  4567 D Flash   : hello\n"
        "01-15 12:00:00.020 10190  4567  4567 E AndroidRuntime: FATAL EXCEPTION: main\n"
        "01-15 12:00:00.021 10190  4567  4567 E AndroidRuntime: Process: com.flash, PID: 4567\n"
        "01-15 12:00:00.100  1000  1102  1133 I ActivityManager: Process com.flash (pid 4567) has died: fg TOP\n"
        "01-15 12:00:00.200 1010190  4567  4567 D Work    : pid reused by the same app in user 10\n"
        "01-15 12:00:00.300 10190  4570  4570 I Other   : a process of the same uid\n"
        "01-15 12:00:00.400  1000  1102  1133 I Tag     : system_server itself stays unnamed\n");
    const auto rows = readTextFile(path, rowCounter());
    ASSERT_TRUE(rows);
    std::string apps;
    for (const RowPtr& row : *rows) apps += std::string(row->app()) + '|';
    EXPECT_EQ(apps, "|com.flash|com.flash|com.flash||com.flash@10|com.flash||");
}

}  // namespace
}  // namespace vf
