#include "core/support/analytics.h"
#include "core/support/threads.h"
#include "core/support/utils.h"

#include "fixtures/files.h"
#include "fixtures/scopedenv.h"
#include "fixtures/wait.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace vf {
namespace {

using test::writeFile;

class UtilsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home_.isValid());
        env_.set("HOME", home_.path());
        env_.set("PATH", home_.filePath(u"bin"_s));
        env_.unset("ANDROID_HOME");
        env_.unset("ANDROID_SDK_ROOT");
    }
    QString at(const QString& relative) const { return home_.filePath(relative); }

    // Starts adb through the fake script and waits for the completion.
    std::optional<bool> startAdbWith(const QByteArray& script, bool executable,
                                     std::optional<quint16> port = std::nullopt) {
        writeFile(at(u"android-sdks/platform-tools/adb"_s), script, executable);
        auto result = std::make_shared<std::optional<bool>>();
        auto onMain = std::make_shared<bool>(false);
        Utils::startAdb(QString(), port, [result, onMain](bool ok) {
            *onMain = isMainThread();
            *result = ok;
        });
        EXPECT_FALSE(result->has_value()) << "the completion must come later, from the main thread";
        EXPECT_TRUE(test::waitUntil([&] { return result->has_value(); }, 10000));
        EXPECT_TRUE(*onMain);
        return *result;
    }

    QTemporaryDir home_;
    test::ScopedEnv env_;
};

TEST_F(UtilsTest, GetAdbPathTriesTheSdkFoldersInOrder) {
    const QStringList candidates = {
        at(u"android-sdks/platform-tools/adb"_s),
        at(u"Library/Android/sdk/platform-tools/adb"_s),
        at(u"Android/Sdk/platform-tools/adb"_s),
        at(u"home-sdk/platform-tools/adb"_s),
        at(u"root-sdk/platform-tools/adb"_s),
        at(u"bin/adb"_s),
    };
    env_.set("ANDROID_HOME", at(u"home-sdk"_s));
    env_.set("ANDROID_SDK_ROOT", at(u"root-sdk"_s));
    for (const QString& path : candidates) writeFile(path, "#!/bin/sh\n", true);

    // The program the user chose comes first, when it can run.
    writeFile(at(u"chosen/adb"_s), "#!/bin/sh\n", true);
    EXPECT_EQ(Utils::getAdbPath(at(u"chosen/adb"_s)), at(u"chosen/adb"_s));
    writeFile(at(u"chosen/adb"_s), "#!/bin/sh\n", false);
    EXPECT_EQ(Utils::getAdbPath(at(u"chosen/adb"_s)), candidates.first());

    // Each removal exposes the next candidate.
    for (const QString& path : candidates) {
        EXPECT_EQ(Utils::getAdbPath(), path);
        QFile::remove(path);
    }
    EXPECT_EQ(Utils::getAdbPath(), std::nullopt);

    // A folder named adb does not count.
    QDir().mkpath(candidates.first());
    EXPECT_EQ(Utils::getAdbPath(), std::nullopt);
}

TEST_F(UtilsTest, StartAdbReportsTheDaemonStartingThroughMergedOutput) {
    std::optional<bool> withoutAdb;  // nothing to start: the answer comes at once
    Utils::startAdb(QString(), std::nullopt, [&](bool ok) { withoutAdb = ok; });
    EXPECT_EQ(withoutAdb, false);
    // The success text arrives on standard error and only for the expected
    // arguments: the port, when one is given.
    const QByteArray script =
        "#!/bin/sh\n"
        "[ \"$*\" = \"$EXPECTED\" ] && echo '* Daemon Started Successfully *' >&2\n";
    env_.set("EXPECTED", u"start-server"_s);
    EXPECT_EQ(startAdbWith(script, true), true);
    EXPECT_EQ(startAdbWith(script, true, 6123), false);
    env_.set("EXPECTED", u"-P 6123 start-server"_s);
    EXPECT_EQ(startAdbWith(script, true, 6123), true);
    // Nothing printed, or an adb that cannot run: a failure.
    EXPECT_EQ(startAdbWith("#!/bin/sh\nexit 0\n", true), false);
    EXPECT_EQ(startAdbWith("#!/bin/sh\necho '* daemon started successfully *'\n", false), false);
}

TEST(AnalyticsTest, CountsEventsInALocalFile) {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"nested/usage.json"_s);
    AnalyticsHelper::setStorageFile(path);
    AnalyticsHelper::registerApp();
    AnalyticsHelper::recordStart();
    AnalyticsHelper::recordEvent(u"error-adb-not-running"_s);
    AnalyticsHelper::recordEvent(u"error-adb-not-running"_s);
    AnalyticsHelper::recordEvent(u"error-not-authorized"_s);
    AnalyticsHelper::recordStop();

    EXPECT_EQ(AnalyticsHelper::counters().value(u"events").toObject(),
              (QJsonObject{{u"error-adb-not-running"_s, 2}, {u"error-not-authorized"_s, 1}, {u"app-start"_s, 1},
                           {u"app-stop"_s, 1}, {u"app-register"_s, 1}}));

    // A damaged file is started afresh rather than blocking the counts.
    writeFile(path, "{not json", false);
    AnalyticsHelper::recordStart();
    EXPECT_EQ(AnalyticsHelper::counters().value(u"events").toObject().value(u"app-start").toInteger(), 1);
    AnalyticsHelper::setStorageFile({});
}

}  // namespace
}  // namespace vf
