#include <gtest/gtest.h>

#include <QFile>
#include <thread>

#include "core/log/bugreport.h"
#include "core/log/filestamp.h"
#include "core/log/logdatasource.h"
#include "helpers.h"
#include "support/fixtures/bugreportfixture.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

struct Shown final : LogDatasourceDelegate {
    void onLogUpdated(const LogUpdate& update) override { updates.push_back(update.rows); }
    void onFilterCorrupt(const QString&) override {}
    std::vector<RowList> updates;
};

std::string fieldsOf(const RowList& rows) {
    std::string all;
    for (const RowPtr& row : rows) all += test::fields(*row) + '\n';
    return all;
}

// Opens a file into a store with `open` on a thread of its own, as the
// viewer does, while this thread takes the store's notices.
template <typename Open>
auto openInto(Open open) {
    decltype(open()) read;
    std::atomic<bool> done{false};
    std::thread loader([&] {
        read = open();
        done = true;
    });
    EXPECT_TRUE(test::waitUntil([&] { return done.load(); }, 20000));
    loader.join();
    EXPECT_TRUE(test::waitForPostedCalls());
    return read;
}

// Whatever the layout, the rows the table is shown while a file opens are
// the first rows of the final list, and the final list holds the rows,
// fields and apps of a reading in one piece (apps that start lines give
// arrive after the last stretch).
TEST(FileOpen, RowsShownWhileOpeningAreTheFinalRows) {
    const std::vector<std::string> layouts = {
        "01-15 12:00:00.000  1000  1102  1133 I ActivityManager: Start proc 4567:com.flash/u0a190 for activity\n"
        "01-15 12:00:00.010 10190  4567  4567 D Flash   : caf\xC3\xA9\r\n",
        "03-17 16:13:38.811  1702  2395 D WindowManager: printFreezingDisplayLogs\n"
        "03-17 16:13:38.877  2227  2228 I TextView: last\n",
        "I/ActivityManager( 1102): Start proc 4567:com.flash/u0a190 for activity\nD/Flash   ( 4567): flash\n",
        "01-15 12:34:56.789 I/Tag( 1234): text\n01-15 12:34:56.790 W/Other( 1234): more\n",
        "[ 01-15 12:34:56.789  1234: 5678 I/Tag ]\nfirst\n\n[ 01-15 12:34:56.790  1234: 5678 W/Tag ]\nsecond\n\n",
        "plain words without a layout\nmore plain words\n",
    };
    QTemporaryDir dir;
    for (const std::string& lines : layouts) {
        std::string text;
        for (int i = 0; i < 3000; ++i) text += lines;
        const QString path = test::writeFile(dir, u"layout.log"_s, text);
        const std::optional<RowList> whole = readTextFile(path, rowCounter());
        ASSERT_TRUE(whole && !whole->isEmpty()) << lines;

        LogDatasource store;
        Shown shown;
        store.setDelegate(&shown);
        TextFileReading how;
        how.firstChunkBytes = 512;
        how.chunkBytes = 4096;
        const TextFileRead read = openInto([&] { return store.openTextFile(path, how); });
        EXPECT_TRUE(read.read && !read.cancelled);
        const RowList final = store.getDataAll();
        EXPECT_EQ(fieldsOf(final), fieldsOf(*whole)) << lines;
        for (qsizetype i = 1; i < final.size(); ++i) ASSERT_LT(final[i - 1]->idx(), final[i]->idx());
        ASSERT_FALSE(shown.updates.empty());
        EXPECT_EQ(shown.updates.back().size(), final.size());
        for (const RowList& update : shown.updates) {
            ASSERT_LE(update.size(), final.size());
            for (qsizetype i = 0; i < update.size(); ++i) ASSERT_EQ(update[i], final[i]) << lines;
        }
    }
}

// A report with `filler` more lines in its system log, so that it reads
// in many stretches (and a zip of it in more than one inflated piece). The
// filler's process is named by no line, so that rows read before a stop are
// named as they are in the whole reading.
QByteArray bigReport(int filler) {
    QByteArray text = test::sampleReportText();
    const QByteArray at = "--------- beginning of main\n";
    QByteArray block;
    for (int i = 0; i < filler; ++i) {
        if (i % 1000 == 999) block += "-- a log line that starts with a dash\n";
        else block += "03-01 09:59:58.150  2000   777   777 D Filler: line " + QByteArray::number(i) + "\n";
    }
    return text.insert(text.indexOf(at) + at.size(), block);
}

// A saved document of `count` rows, numbered from 100 up but for every
// seventh, which takes the store's next number: so the file is numbered afresh
// before its first stretch goes on. `lateDescent`: every row numbered, but
// the numbers go back once, after stretches went on.
QByteArray bigDocument(int count, bool lateDescent = false) {
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>logdata</key><array>\n";
    for (int i = 0; i < count; ++i) {
        xml += "<dict>";
        if (lateDescent || i % 7 != 0)
            xml += "<key>idx</key><integer>" + QByteArray::number(100 + i - (lateDescent && i > 8000 ? 50 : 0)) + "</integer>";
        xml += "<key>time</key><string>01-15 12:34:56.789</string><key>app</key><string>com.app</string>"
               "<key>pid</key><string>12</string><key>type</key><string>I</string><key>name</key><string>Tag </string>"
               "<key>text</key><string> row " + QByteArray::number(i) + "</string></dict>\n";
    }
    return xml + "</array></dict></plist>\n";
}

std::string fieldsAndBuffers(const RowList& rows, qsizetype count) {
    std::string all;
    for (qsizetype i = 0; i < std::min(count, rows.size()); ++i)
        all += test::fields(*rows[i]) + '|' + std::string(rows[i]->view(RowKey::Buffer)) + '\n';
    return all;
}

// Reports (zip and text) and saved documents come in stretches as text logs
// do. Read to the end, the store holds the rows of a reading in one piece and
// the table was shown the first rows of them on the way; stopped half way, it
// holds the rows before the stop, numbered in order, and shows them all.
TEST(FileOpen, ReportsAndDocumentsComeInStretchesAndStopConsistently) {
    QTemporaryDir dir;
    const QByteArray report = bigReport(30000);
    const QString text = test::writeFile(dir, u"bugreport-big.txt"_s, report);
    const QString zip = dir.filePath(u"bugreport-big.zip"_s);
    test::writeZip(zip, {{"bugreport-big.txt", report}});
    const QString document = test::writeFile(dir, u"saved.vellumfox"_s, bigDocument(10000));
    const QString reread = test::writeFile(dir, u"reread.vellumfox"_s, bigDocument(10000, true));
    for (const QString& path : {text, zip, document, reread}) {
        const bool isReport = path == text || path == zip;
        const BugreportRead whole = readBugreport(path, rowCounter());
        // The zip is read a line at a time, the text in parallel stretches.
        const BugreportRead zipped = readBugreport(zip, rowCounter());
        if (isReport) {
            EXPECT_EQ(whole.facts.layout.sections, zipped.facts.layout.sections);
        }
        const RowList expected = isReport ? zipped.rows : readVellumfoxFile(path, rowCounter()).value_or(RowList());
        ASSERT_GE(expected.size(), 10000) << path.toStdString();
        for (const bool stopHalfWay : {false, true}) {
            SCOPED_TRACE(path.toStdString() + (stopHalfWay ? " stopped" : " whole"));
            LogDatasource store;
            Shown shown;
            store.setDelegate(&shown);
            std::atomic<bool> stop{false};
            TextFileReading how;
            how.firstChunkBytes = 512;
            how.chunkBytes = 4096;
            how.cancelled = &stop;
            how.progress = [&](uint64_t done, uint64_t total) {
                if (stopHalfWay && done * 2 > total) stop = true;
            };
            const bool cancelled = openInto([&] {
                return isReport ? store.openReport(path, how).cancelled : store.openDocument(path, how).cancelled;
            });
            EXPECT_EQ(cancelled, stopHalfWay);
            const RowList final = store.getDataAll();
            ASSERT_FALSE(final.isEmpty());
            EXPECT_EQ(final.size() < expected.size(), stopHalfWay);
            EXPECT_EQ(fieldsAndBuffers(final, final.size()), fieldsAndBuffers(expected, final.size()));
            for (qsizetype i = 1; i < final.size(); ++i) ASSERT_LT(final[i - 1]->idx(), final[i]->idx());
            if (isReport) {  // the layout of what was read
                EXPECT_EQ(store.reportFacts().title(), whole.facts.title());
                EXPECT_EQ(store.reportFacts() == whole.facts, !stopHalfWay);
            }
            ASSERT_FALSE(shown.updates.empty());
            EXPECT_EQ(shown.updates.back(), final);
            if (path == reread && !stopHalfWay) continue;  // the rows shown before the reading began again went
            for (const RowList& update : shown.updates)
                for (qsizetype i = 0; i < update.size(); ++i) ASSERT_EQ(update[i], final[i]);
        }
    }
}

// What became of a file since it was stamped, as its path tells.
TEST(FileOpen, WhatBecameOfTheFile) {
    QTemporaryDir dir;
    const QString path = test::writeFile(dir, u"a.log"_s, "0123456789");
    const std::string name = QFile::encodeName(path).toStdString();
    const FileStamp opened = FileStamp::ofPath(name).value();
    const auto now = [&] { return fileChange(opened, FileStamp::ofPath(name)); };
    EXPECT_EQ(now(), FileChange::None);
    ASSERT_TRUE(QFile::resize(path, 20));
    EXPECT_EQ(now(), FileChange::Grew);
    ASSERT_TRUE(QFile::resize(path, 4));
    EXPECT_EQ(now(), FileChange::Shrank);
    EXPECT_EQ(fileChange(opened, FileStamp{opened.device, opened.inode, opened.size, opened.modifiedNs + 1}),
              FileChange::Written);
    const QString other = test::writeFile(dir, u"b.log"_s, "0123456789");
    ASSERT_TRUE(QFile::remove(path) && QFile::rename(other, path));
    EXPECT_EQ(now(), FileChange::Replaced);
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_EQ(now(), FileChange::Removed);
}

}  // namespace
}  // namespace vf
