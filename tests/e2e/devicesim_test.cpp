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

TEST(DeviceSimShell, LogTagFilterFollowsLogcatRules) {
    const LogTagFilter all{QString()};
    EXPECT_TRUE(all.allows(QStringLiteral("Any"), 'V'));

    const LogTagFilter only(QStringLiteral("*:S MyTag:D"));
    EXPECT_TRUE(only.allows(QStringLiteral("MyTag"), 'D'));
    EXPECT_TRUE(only.allows(QStringLiteral("MyTag"), 'F'));
    EXPECT_FALSE(only.allows(QStringLiteral("MyTag"), 'V'));
    EXPECT_FALSE(only.allows(QStringLiteral("Other"), 'F'));

    // Without "*:S" other tags keep the default (everything); a bare tag means V.
    const LogTagFilter loose(QStringLiteral("Noisy:E Quiet"));
    EXPECT_TRUE(loose.allows(QStringLiteral("Other"), 'V'));
    EXPECT_FALSE(loose.allows(QStringLiteral("Noisy"), 'W'));
    EXPECT_TRUE(loose.allows(QStringLiteral("Quiet"), 'V'));

    const LogTagFilter warnings(QStringLiteral("*:W MyTag:S"));
    EXPECT_TRUE(warnings.allows(QStringLiteral("Other"), 'W'));
    EXPECT_FALSE(warnings.allows(QStringLiteral("Other"), 'I'));
    EXPECT_FALSE(warnings.allows(QStringLiteral("MyTag"), 'F'));
}

TEST(DeviceSimOptions, RejectsBadValues) {
    QString error;
    EXPECT_TRUE(parseOptions({QStringLiteral("--ps"), QStringLiteral("toolbox"), QStringLiteral("--legacy")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--ps"), QStringLiteral("busybox")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--state"), QStringLiteral("asleep")}, error));
    const auto legacy = parseOptions({QStringLiteral("--legacy")}, error);
    ASSERT_TRUE(legacy);
    EXPECT_TRUE(legacy->toolboxPs);
    EXPECT_EQ(legacy->sdk, 23);
    EXPECT_FALSE(parseOptions({QStringLiteral("--port")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--port"), QStringLiteral("70000")}, error));
    EXPECT_FALSE(parseOptions({QStringLiteral("--frobnicate"), QStringLiteral("1")}, error));
}
