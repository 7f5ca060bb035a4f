// "filters", --saved and "pretty": the companion on the viewer's library and
// the message viewer's printers (both tested in the core; here only the
// wiring and the exit statuses).
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <sstream>

#include "clirun.h"
#include "core/filter/filterfile.h"
#include "core/support/preferences.h"

using namespace Qt::StringLiterals;
using vf::cli::test::outputLines;
using vf::cli::test::runCli;

namespace {

class FiltersCommandTest : public ::testing::Test {
protected:
    void SetUp() override { usePreferences(u"prefs.ini"_s); }
    void TearDown() override { vf::Preferences::setStorageFile(QString()); }
    void usePreferences(const QString& name) { vf::Preferences::setStorageFile(dir_.filePath(name)); }

    QTemporaryDir dir_;
};

TEST_F(FiltersCommandTest, ListShowExportAndImportIntoAFreshProfile) {
    const auto list = runCli({u"filters"_s, u"list"_s});
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(outputLines(list.out), (QStringList{u"LogLevel Debug"_s, u"LogLevel Error"_s, u"LogLevel Info"_s,
                                                  u"LogLevel Verbose"_s, u"LogLevel Warn"_s}));
    EXPECT_EQ(runCli({u"filters"_s, u"show"_s, u"LogLevel Error"_s}).out, "type IN[cd] \"E,F,A\"\n");
    EXPECT_EQ(runCli({u"filters"_s, u"show"_s, u"nope"_s}).status, 1);

    const QString file = dir_.filePath(u"two.filters"_s);
    EXPECT_EQ(runCli({u"filters"_s, u"export"_s, file, u"LogLevel Warn"_s, u"nope"_s}).status, 1);
    EXPECT_FALSE(QFile::exists(file));
    ASSERT_EQ(runCli({u"filters"_s, u"export"_s, file, u"LogLevel Warn"_s}).status, 0);

    usePreferences(u"fresh.ini"_s);
    const auto imported = runCli({u"filters"_s, u"import"_s, file});
    EXPECT_EQ(imported.status, 0) << imported.err;
    EXPECT_EQ(imported.out, "LogLevel Warn\n");
    EXPECT_EQ(outputLines(runCli({u"filters"_s, u"list"_s}).out).size(), 5);
    EXPECT_EQ(runCli({u"filters"_s, u"import"_s, dir_.filePath(u"none.filters"_s)}).status, 1);
    EXPECT_EQ(runCli({u"filters"_s, u"frob"_s}).status, 2);
}

// Names never reach the terminal raw: one stored before control characters
// were refused lists as one escaped line; an import refuses them by name.
TEST_F(FiltersCommandTest, NamesWithControlCharactersNeverReachTheTerminalRaw) {
    vf::Preferences::setValue(QLatin1String(vf::prefs::kPredicates),
                              QVariantMap{{u"two\nlines\x1b]0;x\x07"_s, u"type == \"E\""_s}});
    EXPECT_EQ(runCli({u"filters"_s, u"list"_s}).out, "two\\x0alines\\x1b]0;x\\x07\n");

    const QString file = dir_.filePath(u"hostile.filters"_s);
    vf::writeFilterFile(file, {{u"bell\x07"_s, u"type == 'E'"_s}, {u"fine"_s, u"type == 'W'"_s}});
    const auto imported = runCli({u"filters"_s, u"import"_s, file});
    EXPECT_EQ(imported.status, 1);
    EXPECT_EQ(imported.out, "fine\n");
    EXPECT_EQ(imported.err, "vellumfox-cli: not imported: bell\\x07: the name holds a control character\n");
}

TEST_F(FiltersCommandTest, SavedFiltersAreAndedWithTheQuickFilter) {
    const QString log = dir_.filePath(u"mixed.log"_s);
    QFile file(log);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("01-15 12:34:56.789  1234  5678 I Net: read timeout\n"
               "01-15 12:34:56.790  1234  5678 E Net: read TIMEOUT\n"
               "01-15 12:34:56.791  1234  5678 W Net: timeout\n"
               "01-15 12:34:56.792  1234  5678 F Net: refused\n");
    file.close();
    const auto saved = runCli({u"convert"_s, log, u"--saved"_s, u"LogLevel Info"_s, u"--saved"_s,
                               u"LogLevel Error"_s, u"--quick"_s, u"timeout"_s, u"--count"_s});
    EXPECT_EQ(saved.status, 0) << saved.err;
    EXPECT_EQ(saved.out, "1\n");
    const auto unknown = runCli({u"convert"_s, log, u"--saved"_s, u"nope"_s});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("nope"), std::string::npos);
}

TEST_F(FiltersCommandTest, PrettyPrintsStandardInput) {
    const auto pretty = [](const QString& format, const std::string& input) {
        std::istringstream in(input);
        vf::cli::CliEnvironment environment;
        environment.in = &in;
        return runCli({u"pretty"_s, format}, environment);
    };
    EXPECT_EQ(pretty(u"json"_s, "{\"a\":1}").out, "\n{\n    \"a\" : 1\n}");
    EXPECT_EQ(pretty(u"base64"_s, "aGk=").out, "hi");
    const auto binary = pretty(u"base64"_s, "//79");
    EXPECT_EQ(binary.status, 1);
    EXPECT_EQ(binary.err, "Result is not a string.\nBIN[<fffefd>]\n");
    EXPECT_TRUE(binary.out.empty());
    EXPECT_EQ(runCli({u"pretty"_s, u"yaml"_s}).status, 2);
}

}  // namespace
