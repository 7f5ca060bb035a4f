#include "core/support/buildinfo.h"
#include "core/support/crashreporter.h"
#include "core/support/logger.h"
#include "fixtures/files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace vf {
namespace {

using test::readFile;

TEST(CrashReporterTest, AChildDyingOfSegvLeavesAReport) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString reports = dir.filePath(u"logs"_s);

    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        CrashReporter::install(reports);
        CrashReporter::noteLine("01-02 03:04:05 V [UI] viewer:start: last words");
        raise(SIGSEGV);
        _exit(0);  // not reached
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    // The default action still ends the child, with the same signal.
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGSEGV);

    const QStringList found = QDir(reports).entryList({u"crash-*.txt"_s}, QDir::Files);
    ASSERT_EQ(found.size(), 1);
    const QString report = readFile(QDir(reports).filePath(found.first()));
    EXPECT_TRUE(report.startsWith(u"Signal: SIGSEGV (11)\n"_s)) << report.toStdString();
    EXPECT_TRUE(report.contains(u"Version: "_s + QString::fromLatin1(build::kVersion) + u" (" +
                                QString::fromLatin1(build::kGitHash) + u')'));
    EXPECT_TRUE(report.contains(u"\nBacktrace:\n"_s));
    EXPECT_TRUE(report.contains(u"Recent diagnostics:\n"_s));
    EXPECT_TRUE(report.endsWith(u"viewer:start: last words\n"_s)) << report.toStdString();
}

TEST(CrashReporterTest, PendingReportUntilAcknowledged) {
    QTemporaryDir dir;
    Logger::setLogDirectory(dir.path());
    const auto writeReport = [&](const QString& name) { test::writeFile(dir.filePath(name), {}); };

    EXPECT_EQ(CrashReporter::pendingReport(), QString());
    writeReport(u"crash-1700000000.txt"_s);
    writeReport(u"crash-1700000100.txt"_s);
    writeReport(u"crash-junk.txt"_s);
    EXPECT_EQ(CrashReporter::pendingReport(), dir.filePath(u"crash-1700000100.txt"_s));

    CrashReporter::acknowledge();
    EXPECT_EQ(CrashReporter::pendingReport(), QString());
    writeReport(u"crash-1700000200.txt"_s);
    EXPECT_EQ(CrashReporter::pendingReport(), dir.filePath(u"crash-1700000200.txt"_s));
    Logger::setLogDirectory({});
}

}  // namespace
}  // namespace vf
