// The simulated device's reading of the viewer's requests and its options.
// Its framing, log replay, CR LF shell and process table are exercised by
// every end-to-end run (simdevice_e2e_test.cpp, devicestates_e2e_test.cpp).
#include <gtest/gtest.h>

#include "device-sim/options.h"
#include "device-sim/shellline.h"

using namespace vf::sim;

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
    for (const char* bad : {"--ps busybox", "--state asleep", "--port", "--port 70000", "--frobnicate 1"})
        EXPECT_FALSE(parseOptions(QString::fromLatin1(bad).split(u' '), error)) << bad;
}
