#include <gtest/gtest.h>

#include <random>

#include "core/adb/replyframing.h"
#include "core/log/logparser.h"
#include "helpers.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

class TextFile : public ::testing::Test {
protected:
    QString write(const QString& name, QByteArrayView bytes) { return test::writeFile(dir, name, bytes); }
    std::optional<RowList> read(const QString& path) { return readTextFile(path, index); }
    // The rows of a file that must be readable.
    RowList load(const QString& name, QByteArrayView bytes) {
        const auto rows = read(write(name, bytes));
        EXPECT_TRUE(rows) << name.toStdString();
        return rows.value_or(RowList());
    }

    QTemporaryDir dir;
    uint64_t next = 0;
    RowIndexSource index = [this] { return RowIdx(next++); };
};

TEST_F(TextFile, ThreadTimeWithCrLfAndABanner) {
    const RowList rows = load(u"tt.log"_s,
                              "--------- beginning of main\r\n"
                              "03-17 16:13:38.811  1702  2395 D WindowManager: printFreezingDisplayLogs\r\n"
                              "03-17 16:13:38.859  2227  2227 D TextView: visible is system.time.showampm\r\n"
                              "03-17 16:13:38.861  2227  2227 D TextView: mVisiblity.getValue is false\r\n"
                              "03-17 16:13:38.869  2227  2227 D TextView   no colon: no row? there is one\r\n"
                              "03-17 16:13:38.871  2227  2227 D TextView without a colon\r\n"
                              "03-17 16:13:38.877  2227  2228 I TextView: last");  // no final line break
    ASSERT_EQ(rows.size(), 6);
    EXPECT_EQ(rows[0]->text(), "--------- beginning of main");
    EXPECT_EQ(rows[1]->tid(), "2395");
    EXPECT_EQ(test::fields(*rows[2]), "03-17 16:13:38.859||2227|-|D|TextView|visible is system.time.showampm")
        << "no carriage return left in the text";
    EXPECT_EQ(rows[4]->name(), "TextView   no colon");
    EXPECT_EQ(rows[5]->text(), "last");
    EXPECT_EQ(rows[5]->idx().value(), 5u);
    EXPECT_EQ(next, 6u) << "the line without a colon took no index";
}

TEST_F(TextFile, OtherEncodings) {
    const std::string line = "03-17 16:13:38.811  1702  2395 D Tag: caf\xE9\n";  // ISO Latin-1
    const RowList latin1 = load(u"latin1.log"_s, line + line + line + line + line);
    ASSERT_EQ(latin1.size(), 5);
    EXPECT_EQ(latin1[0]->text(), "caf\xC3\xA9");

    const QString text = u"03-17 16:13:38.811  1702  2395 D Tag: caf\u00e9 \u65e5\n"_s;
    const RowList wide = load(u"utf16.log"_s, QByteArray(QByteArray("\xFF\xFE", 2) +
                                                  QByteArray(reinterpret_cast<const char*>(text.utf16()), text.size() * 2)));
    ASSERT_EQ(wide.size(), 1);
    EXPECT_EQ(wide[0]->text(), "caf\xC3\xA9 \xE6\x97\xA5");

    // Mostly UTF-8: only the stray byte is replaced, the rest stays as written.
    const std::string good = "03-17 16:13:38.812  1702  2395 D Tag: caf\xC3\xA9 \xE6\x97\xA5\n";
    const RowList mostly = load(u"mostly.log"_s, "\xEF\xBB\xBF" + good + line + good);
    ASSERT_EQ(mostly.size(), 3);
    EXPECT_EQ(mostly[0]->time(), "03-17 16:13:38.812");
    EXPECT_EQ(mostly[1]->text(), "caf\xEF\xBF\xBD");
    EXPECT_EQ(mostly[2]->text(), "caf\xC3\xA9 \xE6\x97\xA5");

    const RowList bom = load(u"bom.log"_s, "\xEF\xBB\xBF" + line.substr(0, line.size() - 2) + "\n");
    ASSERT_EQ(bom.size(), 1);
    EXPECT_EQ(bom[0]->time(), "03-17 16:13:38.811") << "the byte-order mark is not part of the line";
}

TEST_F(TextFile, NothingToReadOrTell) {
    EXPECT_FALSE(read(dir.filePath(u"missing.log"_s)));
    EXPECT_FALSE(read(dir.path()));  // a folder
    EXPECT_FALSE(read(write(u"empty.log"_s, "")));
    EXPECT_FALSE(read(write(u"short.log"_s, "a\n\r\nb\n\xC3\xA9\n")));
    // Two-character lines are classified (raw) but too short to parse.
    EXPECT_TRUE(load(u"twos.log"_s, "ab\ncd\n\xC3\xA9\xC3\xA9\n").isEmpty());
    EXPECT_EQ(next, 0u);
}

// Binary files (a NUL near the start, no UTF-16/32 byte-order mark) are
// refused; lines longer than 1 MiB are cut as live lines are, in place.
TEST_F(TextFile, BinaryAndGiantFiles) {
    std::mt19937 rng(7);
    std::string noise(200000, '\0');
    for (char& c : noise) c = char(rng() % 4 == 0 ? 0 : rng());
    EXPECT_FALSE(read(write(u"noise.bin"_s, noise)));
    EXPECT_FALSE(read(write(u"nuls.bin"_s, std::string(100000, '\0'))));

    const std::string mark = kCutLineMark;
    const size_t limit = size_t(kMaxLineBytes);
    // A character that straddles the limit goes whole; a line barely over
    // the limit keeps a little less, so the mark fits where the line was.
    const std::string straddling = std::string(limit - 1, 'x') + "\xE6\x97\xA5" + std::string(100, 't');
    const RowList rows = load(u"giant.log"_s, std::string(3'000'000, 'x') + "\nshort\n" + straddling + "\r\n" +
                                                   std::string(limit + 5, 'y') + "\nlast");
    ASSERT_EQ(rows.size(), 5);
    // (Compared as a whole: a failure must not print megabytes.)
    EXPECT_TRUE(rows[0]->text() == std::string(limit, 'x') + mark);
    EXPECT_EQ(rows[1]->text(), "short");
    EXPECT_TRUE(rows[2]->text() == std::string(limit - 1, 'x') + mark);
    EXPECT_TRUE(rows[3]->text() == std::string(limit + 5 - mark.size(), 'y') + mark);
    EXPECT_EQ(rows[4]->text(), "last");
}

}  // namespace
}  // namespace vf
