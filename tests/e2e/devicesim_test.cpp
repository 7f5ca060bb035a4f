// The simulated device's reading of the viewer's requests and its options.
// Its framing, log replay, CR LF shell and process table are exercised by
// every end-to-end run (simdevice_e2e_test.cpp, companion_e2e_test.cpp).
#include <gtest/gtest.h>

#include "core/adb/packagelist.h"
#include "core/log/processlines.h"
#include "device-sim/devicelog.h"
#include "device-sim/options.h"
#include "device-sim/processes.h"
#include "device-sim/shellline.h"

using namespace vf::sim;
using vf::PackageListing;
using vf::parsePackageList;
using vf::parseStartProc;
using vf::parseUidColumn;

TEST(DeviceSimShell, ReadsTheViewersLogcatRequest) {
    const ShellLine line = parseShellLine(QStringLiteral(
        "export ANDROID_LOG_TAGS=\"*:S MyTag:D\"; exec logcat -v threadtime"));
    EXPECT_EQ(line.environment.value(QStringLiteral("ANDROID_LOG_TAGS")), QStringLiteral("*:S MyTag:D"));
    EXPECT_EQ(line.argv, (QStringList{QStringLiteral("logcat"), QStringLiteral("-v"), QStringLiteral("threadtime")}));

    const ShellLine empty = parseShellLine(QStringLiteral("export ANDROID_LOG_TAGS=\"\"; exec logcat -v threadtime"));
    EXPECT_TRUE(empty.environment.contains(QStringLiteral("ANDROID_LOG_TAGS")));
    EXPECT_TRUE(empty.environment.value(QStringLiteral("ANDROID_LOG_TAGS")).isEmpty());

    // The text-input escapes reach the device's shell, which removes them.
    const ShellLine text = parseShellLine(QStringLiteral("input text 5\\\\\\&a\\(b\\)"));
    EXPECT_EQ(text.argv.value(2), QStringLiteral("5\\&a(b)"));
}

// Without "*:S" other tags keep the default (everything); a bare tag means V.
TEST(DeviceSimShell, LogTagFilterFollowsLogcatRules) {
    const struct {
        const char* rules;
        const char* tag;
        char level;
        bool allowed;
    } cases[] = {
        {"", "Any", 'V', true}, {"*:S MyTag:D", "MyTag", 'D', true}, {"*:S MyTag:D", "MyTag", 'F', true},
        {"*:S MyTag:D", "MyTag", 'V', false}, {"*:S MyTag:D", "Other", 'F', false},
        {"Noisy:E Quiet", "Other", 'V', true}, {"Noisy:E Quiet", "Noisy", 'W', false},
        {"Noisy:E Quiet", "Quiet", 'V', true}, {"*:W MyTag:S", "Other", 'W', true},
        {"*:W MyTag:S", "Other", 'I', false}, {"*:W MyTag:S", "MyTag", 'F', false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(LogTagFilter(QString::fromLatin1(c.rules)).allows(QString::fromLatin1(c.tag), c.level), c.allowed)
            << c.rules << " " << c.tag << " " << c.level;
}

TEST(DeviceSimOptions, RejectsBadValues) {
    QString error;
    EXPECT_TRUE(parseOptions({QStringLiteral("--ps"), QStringLiteral("toolbox"), QStringLiteral("--legacy")}, error));
    const auto legacy = parseOptions({QStringLiteral("--legacy")}, error);
    ASSERT_TRUE(legacy);
    EXPECT_TRUE(legacy->toolboxPs);
    EXPECT_EQ(legacy->sdk, 23);
    for (const char* bad : {"--ps busybox", "--state asleep", "--port", "--port 70000", "--frobnicate 1", "--flash-app -1"})
        EXPECT_FALSE(parseOptions(QString::fromLatin1(bad).split(u' '), error)) << bad;
}

// What the device says about its processes reads back as the viewer reads
// a phone: start lines of each Android version, uid columns, the listing.
TEST(DeviceSimIdentity, StartLinesUidsAndPackagesReadBack) {
    const QString component = QStringLiteral("com.example.flash/.MainActivity");
    const std::pair<int, const char*> forms[] = {
        {19, "Start proc com.example.flash for activity com.example.flash/.MainActivity: pid=4567 uid=1010190 gids={50190, 3003}"},
        {23, "Start proc 4567:com.example.flash/u10a190 for activity com.example.flash/.MainActivity"},
        {29, "Start proc 4567:com.example.flash/u10a190 for activity {com.example.flash/com.example.flash.MainActivity}"}};
    for (const auto& [sdk, text] : forms) {
        const QString line = startProcText(sdk, 4567, QStringLiteral("com.example.flash"), 1010190, QStringLiteral("activity"), component);
        EXPECT_EQ(line.toStdString(), text);
        const auto start = parseStartProc(line.toStdString());
        ASSERT_TRUE(start) << text;
        EXPECT_EQ(start->pid, 4567u);
        EXPECT_EQ(start->uid, 1010190u);
    }
    for (const int uid : {0, 1000, 2000, 10052, 1010150}) EXPECT_EQ(parseUidColumn(uidColumn(uid).toStdString()), uint32_t(uid));
    EXPECT_EQ(uidColumn(0), " root");
    EXPECT_EQ(logcatLine(LogEntry{'I', {}, "01-15 12:34:56.789  1234  1234 I T: x\n", 2000}, true),
              "01-15 12:34:56.789 shell  1234  1234 I T: x\n");

    ProcessTable table(7, 0, true);
    const PackageListing all = parsePackageList(table.packageListing({QStringLiteral("-U"), QStringLiteral("--user"), QStringLiteral("all")}).toStdString());
    EXPECT_EQ(all.packages.packagesOf(1010150), std::vector<std::string>{"com.example.work"});
    EXPECT_EQ(all.packages.packagesOf(10121), (std::vector<std::string>{"org.example.fieldnotes.widget", "org.example.fieldnotes"}));
    EXPECT_EQ(all.packages.packagesOf(10190), std::vector<std::string>{"com.example.flash"});
    const QByteArray userZero = table.packageListing({QStringLiteral("-U")});
    EXPECT_FALSE(userZero.contains("com.example.work"));
    EXPECT_FALSE(parsePackageList(table.packageListing({}).toStdString()).listed) << "no uids without -U";
}
