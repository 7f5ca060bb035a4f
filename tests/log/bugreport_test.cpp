#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <map>

#include "core/log/bugreport.h"
#include "core/log/crashdetector.h"
#include "helpers.h"
#include "support/fixtures/bugreportfixture.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using Line = BugreportScanner::Line;

TEST(Bugreport, ScannerSortsLinesBySection) {
    struct Case {
        const char* line;
        Line kind;
        LogBuffer buffer;  // after the line
    };
    const Case cases[] = {
        {"Build fingerprint: 'a/b/c:14/X/1:user/release-keys'", Line::Outside, LogBuffer::None},
        {"03-01 09:59:58.300  1001   900   950 D Tag: before any section", Line::Outside, LogBuffer::None},
        {"------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------", Line::SectionStart, LogBuffer::Main},
        {"03-01 09:59:58.300  1001   900   950 D Tag: x", Line::Log, LogBuffer::Main},
        {"--------- beginning of crash", Line::Marker, LogBuffer::Crash},
        {"------ not a header", Line::Log, LogBuffer::Crash},
        {"------ 0.2s was the duration of 'SYSTEM LOG' ------", Line::SectionEnd, LogBuffer::Crash},
        {"------ 0.2s was the duration of 'SYSTEM LOG' ------", Line::Outside, LogBuffer::Crash},
        {"------ EVENT LOG (logcat -b events -v uid -d *:v) ------", Line::SectionStart, LogBuffer::Events},
        {"------ KERNEL LOG (dmesg) ------", Line::SectionEnd, LogBuffer::Events},
        {"------ RADIO LOG (logcat -b radio -d *:v) ------", Line::SectionStart, LogBuffer::Radio},
        {"--------- switch to nonsense", Line::Marker, LogBuffer::None},
        {"------ LAST LOGCAT (logcat -L -b all -v threadtime -d *:v) ------", Line::SectionStart, LogBuffer::None},
        {"------ LOG STATISTICS (logcat -b all -S) ------", Line::SectionEnd, LogBuffer::None},
        {"------ SYSTEM LOG (dumpsys) ------", Line::Outside, LogBuffer::None},
        {"[ro.product.model]: [Pixel 6]", Line::Outside, LogBuffer::None},
        {"[ro.product.model]: [Not the first]", Line::Outside, LogBuffer::None},
    };
    BugreportScanner scanner;
    for (const Case& c : cases) {
        EXPECT_EQ(scanner.take(c.line), c.kind) << c.line;
        EXPECT_EQ(scanner.buffer(), c.buffer) << c.line;
    }
    EXPECT_EQ(scanner.sections(), 4);
    EXPECT_EQ(scanner.facts(), (ReportFacts{u"a/b/c:14/X/1:user/release-keys"_s, u"Pixel 6"_s}));
    EXPECT_EQ(scanner.facts().title(), u"Pixel 6 \u00b7 a/b/c:14/X/1:user/release-keys"_s);
}

TEST(Bugreport, FilesAreToldByTheirFirstBytes) {
    std::string tar(512, '\0');
    tar.replace(257, 6, std::string("ustar\0", 6));
    const std::pair<std::string, ArchiveKind> cases[] = {
        {std::string("PK\x03\x04\x14\0", 6), ArchiveKind::Zip}, {std::string("\x1f\x8b\x08\0", 4), ArchiveKind::Gzip},
        {"BZh91AY&SY", ArchiveKind::Bzip2},    {std::string("\xfd" "7zXZ\0", 6), ArchiveKind::Xz},
        {"\x28\xb5\x2f\xfd", ArchiveKind::Zstd}, {"7z\xbc\xaf\x27\x1c", ArchiveKind::SevenZip},
        {"Rar!\x1a\x07\x01", ArchiveKind::Rar},  {tar, ArchiveKind::Tar},
        {"PK is a tag: not a zip", ArchiveKind::None}, {"", ArchiveKind::None},
    };
    for (const auto& [head, kind] : cases) EXPECT_EQ(archiveKindOf(head), kind) << head;
    EXPECT_TRUE(startsBugreportText("=====\n== dumpstate: 2024-03-01 10:00:00\n"));
    EXPECT_TRUE(startsBugreportText("\xEF\xBB\xBF== dumpstate: 2024"));
    EXPECT_FALSE(startsBugreportText("03-01 09:59:58.300 D Tag: == dumpstate: quoted in a log"));
}

class BugreportFile : public ::testing::Test {
protected:
    // Small stretches: the text's log lines are parsed in many pieces.
    BugreportRead read(const QString& path) {
        TextFileReading how;
        how.firstChunkBytes = 64;
        how.chunkBytes = 256;
        return readBugreport(path, rowCounter(), how);
    }
    QTemporaryDir dir;
};

TEST_F(BugreportFile, ZipAndTextReadAsOneLogWithBuffersAndFacts) {
    const QString zip = dir.filePath(u"bugreport.zip"_s);
    test::writeSampleReportZip(zip);
    const QString text = test::writeFile(dir, u"bugreport-oriole.txt"_s, test::sampleReportText());
    for (const QString& path : {zip, text}) {
        const BugreportRead report = read(path);
        ASSERT_EQ(report.outcome, BugreportRead::Outcome::Read) << report.refusal.toStdString();
        ASSERT_EQ(report.rows.size(), test::kSampleReportRows);
        EXPECT_EQ(report.facts.title(), u"Pixel 6 \u00b7 "_s + QString::fromLatin1(test::kSampleFingerprint));
        EXPECT_EQ(report.mapping != nullptr, path == text) << "the text is read where it lies";
        // Described without rows: the same layout; a zip looked at only so far says so.
        EXPECT_EQ(probeBugreport(path).layout, report.facts.layout);
        const ReportLayout head = probeBugreport(path, 200).layout;
        EXPECT_EQ(head.lookedAt, path == zip ? 200u : 0u);
        EXPECT_EQ(head.entrySize, path == zip ? uint64_t(test::sampleReportText().size()) : 0u);
        EXPECT_EQ(head.text().contains(u"only the first 200 bytes of "_s), path == zip);
        EXPECT_LT(head.sections.size(), path == zip ? report.facts.layout.sections.size() : SIZE_MAX);

        std::map<std::string, int> buffers;
        for (const RowPtr& row : report.rows) ++buffers[std::string(row->view(RowKey::Buffer))];
        EXPECT_EQ(buffers, (std::map<std::string, int>{
                               {"main", 3}, {"system", 1}, {"crash", 4}, {"events", 1}, {"radio", 1}, {"kernel", 1}}));
        const RowList& rows = report.rows;  // named by the start line, no carriage return left
        EXPECT_EQ(test::fields(*rows[1]), "03-01 09:59:58.200|com.example.app|4321|-|D|App|created|10123");
        EXPECT_EQ(test::fields(*rows[2]), "03-01 09:59:58.300||300|-|I|init|a service started|root");
        EXPECT_EQ(test::fields(*rows[10]), "02-29 23:00:01.000||800|-|W|lowmemorykiller|kill");
        EXPECT_EQ(rows[10]->idx().value(), 10u);

        CrashDetector crashes;
        for (const RowPtr& row : rows) crashes.feed(*row);
        crashes.finish();
        ASSERT_EQ(crashes.crashes().size(), 1u);
        EXPECT_EQ(crashes.crashes().front().app, "com.example.app");
        EXPECT_EQ(crashes.crashes().front().rows.size(), 4u);
    }
}

// A zip without a report is the companion's case (filecommands_test).
TEST_F(BugreportFile, OtherArchivesAreRefusedAndPlainLogsPassOn) {
    const BugreportRead gzip = read(test::writeFile(dir, u"log.gz"_s, QByteArray("\x1f\x8b\x08\0\0\0\0\0", 8)));
    EXPECT_EQ(gzip.outcome, BugreportRead::Outcome::Refused);
    EXPECT_EQ(gzip.refusal, u"a gzip-compressed file, not a log"_s);
    const BugreportRead cut = read(test::writeFile(dir, u"cut.zip"_s, QByteArray("PK\x03\x04 cut short", 14)));
    EXPECT_TRUE(cut.refusal.startsWith(u"a zip archive that cannot be read"_s)) << cut.refusal.toStdString();

    const QString plain = test::writeFile(dir, u"plain.txt"_s, "03-01 09:59:58.300  1001   900   950 D Tag: x\n");
    EXPECT_EQ(read(plain).outcome, BugreportRead::Outcome::NotReport);
    EXPECT_EQ(read(dir.filePath(u"missing"_s)).outcome, BugreportRead::Outcome::NotReport);
}

}  // namespace
}  // namespace vf
