#include <gtest/gtest.h>

#include <plist/plist.h>

#include "core/log/logexport.h"
#include "helpers.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

RowPtr makeRow(RowArena& arena, std::string app, std::string pid, std::string text, uint64_t idx = 0, std::string uid = {}) {
    return arena.make(RowValues{idx, "01-15 12:34:56.789", std::move(app), std::move(pid), "5678", "I", "Tag", std::move(text),
                                std::move(uid)});
}

class LogExport : public ::testing::Test {
protected:
    QString writeFile(const QString& name, const QByteArray& bytes) { return test::writeFile(dir, name, bytes); }
    // A property list with a root dictionary holding `rows` under "logdata".
    QByteArray plistFile(bool binary, const std::vector<std::map<std::string, std::string>>& rows) {
        plist_t root = plist_new_dict();
        plist_t array = plist_new_array();
        for (const auto& row : rows) {
            plist_t entry = plist_new_dict();
            for (const auto& [key, value] : row)
                plist_dict_set_item(entry, key.c_str(), key == "idx" ? plist_new_uint(std::stoull(value)) : plist_new_string(value.c_str()));
            plist_array_append_item(array, entry);
        }
        plist_dict_set_item(root, "logdata", array);
        plist_dict_set_item(root, "other", plist_new_string("ignored"));
        char* data = nullptr;
        uint32_t length = 0;
        if (binary) plist_to_bin(root, &data, &length);
        else plist_to_xml(root, &data, &length);
        QByteArray bytes(data, qsizetype(length));
        std::free(data);
        plist_free(root);
        return bytes;
    }

    QTemporaryDir dir;
    RowArena arena;
    uint64_t next = 500;
    RowIndexSource index = [this] { return RowIdx(next++); };
};

TEST_F(LogExport, RowsAsSavedAndCopiedText) {
    EXPECT_EQ(savedTextLine(*makeRow(arena, "com.app", "1234", " hello")),
              "01-15 12:34:56.789 com.app(1234) 5678 I Tag:  hello\n");
    EXPECT_EQ(savedTextLine(*makeRow(arena, "", "1234", "a\nb\n")), "01-15 12:34:56.789 (1234) 5678 I Tag: a\nb\n")
        << "only a final line feed is not doubled";
    EXPECT_EQ(savedTextLine(*arena.make(RowValues{0, "", "Vellumfox", "---", "---", "E", "---", "Error"})),
              " Vellumfox(---) --- E ---: Error\n");
    const RowList rows{makeRow(arena, "a", "1", "x"), makeRow(arena, "b", "2", "y")};
    EXPECT_EQ(writeSavedText(rows), QByteArray("01-15 12:34:56.789 a(1) 5678 I Tag: x\n01-15 12:34:56.789 b(2) 5678 I Tag: y\n"));
    // Copied rows are tab separated and flatten line breaks.
    const RowList copied{makeRow(arena, "com.app", "1", "a\r\nb\nc", 7), makeRow(arena, "", "2", "d")};
    EXPECT_EQ(copyText(copied), u"01-15 12:34:56.789\tcom.app\t1\t5678\tI\tTag\ta  b c\n"
                                u"01-15 12:34:56.789\t\t2\t5678\tI\tTag\td\n"_s);
    EXPECT_EQ(copyText(copied, RowKey::Text), u"a  b c\nd\n"_s);
    EXPECT_EQ(copyText(copied, RowKey::Idx), u"7\n0\n"_s);
}

TEST_F(LogExport, SavedFileReopensWithItsAppsAndUids) {
    EXPECT_EQ(savedTextLine(*makeRow(arena, "com.app", "1234", "hi", 0, "u0_a5")),
              "01-15 12:34:56.789 u0_a5 com.app(1234) 5678 I Tag: hi\n");
    for (const std::string uid : {"", "10152"}) {
        RowList rows;
        for (int i = 0; i < 8; ++i)
            rows.append(makeRow(arena, i % 2 ? "com.app" : "", std::to_string(1000 + i), " line " + std::to_string(i), 0, uid));
        const QString path = dir.filePath(u"saved.VellumFox"_s);
        ASSERT_TRUE(saveFile(path, rows, true, {u"vellumfox"_s, u"log"_s, u"txt"_s}));
        const auto reopened = openLogFile(path, index);  // not a property list: read as text
        ASSERT_TRUE(reopened);
        ASSERT_EQ(reopened->size(), 8);
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(test::fields(*(*reopened)[i]), "01-15 12:34:56.789|" + std::string(i % 2 ? "com.app" : "") + "|" +
                                                         std::to_string(1000 + i) + "|5678|I|Tag| line " +
                                                         std::to_string(i) + (uid.empty() ? "" : "|" + uid));
        // Saving what was reopened writes the same bytes again, however often.
        EXPECT_EQ(writeSavedText(*reopened), writeSavedText(rows));
    }
}

TEST_F(LogExport, VellumfoxFilesInBothForms) {
    const std::vector<std::map<std::string, std::string>> rows{
        {{"idx", "41"}, {"time", "01-15 12:34:56.789"}, {"app", "com.app"}, {"pid", "1234"}, {"tid", "-"},
         {"type", "W"}, {"name", "Tag     "}, {"text", " multi\nline"}},  // as logcat padded them
        {{"pid", "99"}, {"text", "only some keys"}}};
    for (const bool binary : {false, true}) {
        SCOPED_TRACE(binary ? "binary" : "XML");
        const QString path = writeFile(binary ? u"b.vellumfox"_s : u"x.VELLUMFOX"_s, plistFile(binary, rows));
        const auto read = openLogFile(path, index);
        ASSERT_TRUE(read);
        ASSERT_EQ(read->size(), 2);
        EXPECT_EQ(test::fields(*(*read)[0]), "01-15 12:34:56.789|com.app|1234|-|W|Tag|multi\nline");
        EXPECT_EQ(test::fields(*(*read)[1]), "||99||||only some keys");
        EXPECT_EQ((*read)[0]->idx().value(), 41u);
        EXPECT_EQ((*read)[1]->idx().value(), binary ? 501u : 500u) << "no idx: the next index";
    }
    next = 600;  // numbers that do not ascend are given afresh
    const auto renumbered = openLogFile(writeFile(u"d.vellumfox"_s, plistFile(false, {{{"idx", "9"}}, {{"idx", "3"}}})), index);
    ASSERT_TRUE(renumbered && renumbered->size() == 2);
    EXPECT_EQ((*renumbered)[0]->idx().value(), 600u);
    EXPECT_EQ((*renumbered)[1]->idx().value(), 601u);
}

// An XML document's values as a row takes them: entities and CDATA decoded,
// numbers in decimal, other kinds and nested containers empty.
TEST_F(LogExport, XmlDocumentValuesReadAsTheirKindSays) {
    const std::pair<const char*, const char*> cases[] = {
        {"<key>pid</key><integer> 0042 </integer>", "||42|||||100"},
        {"<key>text</key><string>a &amp; b &lt;c&gt; &#233;</string>", "||||||a & b <c> \u00e9|100"},
        {"<key>text</key><string><![CDATA[x<y]]></string>", "||||||x<y|100"},
        {"<key>name</key><real>1.5</real><key>app</key><true/>", "|||||1.500000||100"},
        {"<key>app</key><dict><key>idx</key><integer>7</integer></dict><key>idx</key><string>9</string>", "|||||||9"},
        {"<key>uid</key><string>10123</string><key>tid</key><data>AA==</data>", "|||||||10123|100"},
    };
    for (const auto& [entry, expected] : cases) {
        const QByteArray xml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>logdata</key><array>"
                               "<dict><key>idx</key><integer>1</integer></dict><dict>" +
                               QByteArray(entry) + "</dict></array></dict></plist>";
        next = 100;  // an entry without a number takes the next one
        const auto rows = readVellumfoxFile(writeFile(u"v.vellumfox"_s, xml), index);
        ASSERT_TRUE(rows && rows->size() == 2) << entry;
        EXPECT_EQ(test::fields(*(*rows)[1]) + '|' + std::to_string((*rows)[1]->idx().value()), expected) << entry;
    }
}

TEST_F(LogExport, OtherFilesFallBackToText) {
    const QByteArray threadTime = "01-15 12:34:56.789  1234  5678 I Tag: text\n";
    // Right suffix, but text; a property list that is not a dictionary; a dictionary without rows.
    EXPECT_EQ(openLogFile(writeFile(u"a.vellumfox"_s, threadTime), index)->size(), 1);
    EXPECT_FALSE(readVellumfoxFile(writeFile(u"b.vellumfox"_s, "<plist><array/></plist>"), index));
    EXPECT_FALSE(readVellumfoxFile(writeFile(u"c.vellumfox"_s, "<plist><dict/></plist>"), index));
    // A property list under another suffix is read as text (and is raw lines).
    const auto asText = openLogFile(writeFile(u"d.log"_s, plistFile(false, {{{"pid", "1"}}})), index);
    ASSERT_TRUE(asText);
    EXPECT_TRUE(asText->first()->pid().empty());
}

}  // namespace
}  // namespace vf
