#include <gtest/gtest.h>

#include <QFile>
#include <thread>

#include "core/log/filestamp.h"
#include "core/log/logdatasource.h"
#include "helpers.h"
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

// Opens `path` into `store` on a thread of its own, as the viewer does,
// while this thread takes the store's notices.
TextFileRead openInto(LogDatasource& store, const QString& path, TextFileReading how) {
    TextFileRead read;
    std::atomic<bool> done{false};
    std::thread loader([&] {
        read = store.openTextFile(path, std::move(how));
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
        const TextFileRead read = openInto(store, path, how);
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
