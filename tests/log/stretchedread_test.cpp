#include <gtest/gtest.h>

#include <QFile>

#include "core/log/logparser.h"
#include "core/log/mappedfile.h"
#include "helpers.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

// Every row as its idx and fields, one line each.
std::string dump(const RowList& rows) {
    std::string all;
    for (const RowPtr& row : rows) all += std::to_string(row->idx().value()) + ' ' + test::fields(*row) + '\n';
    return all;
}

// Reads `path` cut into stretches of `bytes` each; the rows come back whole
// unless `how` takes them.
TextFileRead readCut(const QString& path, size_t bytes, TextFileReading how = {}) {
    how.firstChunkBytes = bytes;
    how.chunkBytes = bytes;
    return readTextFile(path, rowCounter(), how);
}

// Wherever the cuts fall (every byte offset of a small file), the rows,
// their numbers, fields and the apps the start lines give are those of a
// reading in one piece: CR LF breaks, a stray byte among UTF-8 and a last
// line without a break included.
TEST(StretchedRead, CutsAnywhereReadAsOne) {
    QTemporaryDir dir;
    const std::string uidLayout =
        "01-15 12:00:00.000  1000  1102  1133 I ActivityManager: Start proc 4567:com.flash/u0a190 for activity {x}\r\n"
        "01-15 12:00:00.010 10190  4567  4567 D Flash   : caf\xC3\xA9 \xE6\x97\xA5\r\n"
        "01-15 12:00:00.020 10190  4567  4567 E AndroidRuntime: stray \xE9 byte\n"
        "01-15 12:00:00.100  1000  1102  1133 I ActivityManager: Process com.flash (pid 4567) has died: fg TOP\n"
        "01-15 12:00:00.300 10190  4570  4570 I Other   : a process of the same uid";
    const std::string threadTime =
        "--------- beginning of main\r\n"
        "03-17 16:13:38.811  1702  2395 D WindowManager: printFreezingDisplayLogs\r\n"
        "03-17 16:13:38.859  2227  2227 D TextView: visible\r\r\n"
        "03-17 16:13:38.869  2227  2227 D TextView   no colon: no row? there is one\n"
        "\n"
        "03-17 16:13:38.871  2227  2227 D TextView without a colon\n"
        "03-17 16:13:38.877  2227  2228 I TextView: last\n";
    for (const std::string& text : {uidLayout, threadTime}) {
        const QString path = test::writeFile(dir, u"cut.log"_s, text);
        const TextFileRead whole = readCut(path, text.size() + 1);
        ASSERT_TRUE(whole.read);
        ASSERT_FALSE(whole.rows.isEmpty());
        const std::string expected = dump(whole.rows);
        for (size_t bytes = 1; bytes <= text.size(); ++bytes) {
            const TextFileRead cut = readCut(path, bytes);
            ASSERT_EQ(dump(cut.rows), expected) << "stretches of " << bytes << " bytes";
        }
    }
}

// The UTF-8 check runs in 64 KiB blocks alongside the parsing: a character
// cut by a block's end is still valid (the rows stay in the mapped file),
// and a stray byte just before such a cut, or further on, is still repaired.
TEST(StretchedRead, Utf8CheckedAcrossItsBlocks) {
    QTemporaryDir dir;
    const std::string cjk = "\xE6\x97\xA5";
    std::string valid;
    while (valid.size() < 300 * 1024) valid += "03-17 16:13:38.811  1702  2395 D Tag: caf\xC3\xA9 " + cjk + " x\n";
    const size_t cut = 64 * 1024 - 1;  // where a character shall start, one byte before the first block ends
    valid.insert(40, cut - valid.rfind(cjk, cut), 'p');
    ASSERT_EQ(valid.substr(cut, 3), cjk);
    const TextFileRead read = readCut(test::writeFile(dir, u"valid.log"_s, valid), valid.size());
    ASSERT_TRUE(read.mapping);
    const std::string_view mapped = read.mapping->bytes();
    for (const RowPtr& row : read.rows)
        ASSERT_TRUE(row->text().data() >= mapped.data() && row->text().data() < mapped.data() + mapped.size());
    for (const size_t at : {cut - 1, valid.find("\xC3\xA9", 200 * 1024)}) {
        std::string stray = valid;
        stray[at] = '\xFF';
        const TextFileRead repaired = readCut(test::writeFile(dir, u"stray.log"_s, stray), stray.size());
        EXPECT_NE(dump(repaired.rows).find("\xEF\xBF\xBD"), std::string::npos) << at;
    }
}

std::string manyLines(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "03-17 16:13:38.811  1702  2395 D Tag: line " + std::to_string(i) + " of a file being read\n";
    return text;
}

// The rows come a stretch at a time, numbered in file order; a stop asked
// for while they come leaves the rows handed out so far, numbered without
// a gap, and no number taken for rows that were never handed out.
TEST(StretchedRead, CancelKeepsWhatCame) {
    QTemporaryDir dir;
    const QString path = test::writeFile(dir, u"many.log"_s, manyLines(200000));
    std::atomic<bool> cancelled{false};
    RowList came;
    uint64_t lastDone = 0;
    TextFileReading how;
    how.cancelled = &cancelled;
    how.rows = [&](RowList rows) {
        came.append(rows);
        cancelled = true;
    };
    how.progress = [&](uint64_t done, uint64_t total) {
        EXPECT_GT(done, lastDone);
        EXPECT_LE(done, total);
        lastDone = done;
    };
    uint64_t taken = 0;
    const TextFileRead read = readTextFile(path, [&] { return RowIdx(taken++); }, how);
    EXPECT_TRUE(read.read);
    EXPECT_TRUE(read.cancelled);
    EXPECT_TRUE(read.rows.isEmpty()) << "the rows went to the callback";
    ASSERT_FALSE(came.isEmpty());
    EXPECT_LT(came.size(), 200000);
    EXPECT_EQ(taken, uint64_t(came.size()));
    for (qsizetype i = 0; i < came.size(); ++i) {
        ASSERT_EQ(came[i]->idx().value(), uint64_t(i));
        ASSERT_EQ(came[i]->text(), "line " + std::to_string(i) + " of a file being read");
    }
}

// A file cut short while its rows point into it: the rows past its new end
// read as empty bytes, the viewer is told, nothing crashes.
TEST(StretchedRead, FileTruncatedWhileOpen) {
    QTemporaryDir dir;
    const std::string text = manyLines(40000);
    const QString path = test::writeFile(dir, u"shrinking.log"_s, text);
    RowList came;
    TextFileReading how;
    how.rows = [&](RowList rows) {
        if (came.isEmpty()) {
            EXPECT_TRUE(QFile::resize(path, 5000));
        }
        came.append(rows);
    };
    const TextFileRead read = readCut(path, 64 * 1024, how);
    ASSERT_TRUE(read.read);
    ASSERT_TRUE(read.mapping);
    EXPECT_TRUE(read.mapping->changedOnDisk());
    ASSERT_GT(came.size(), 40);
    EXPECT_EQ(came[0]->text(), "line 0 of a file being read") << "the first page is still there";
    size_t bytes = 0;
    for (const RowPtr& row : came) bytes += row->text().size() + row->time().size();
    EXPECT_GT(bytes, 0u);
    EXPECT_TRUE(read.mapping->shrankUnderReaders());
}

}  // namespace
}  // namespace vf
