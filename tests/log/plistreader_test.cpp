#include <gtest/gtest.h>

#include <QtEndian>
#include <vector>

#include "core/log/logexport.h"
#include "core/support/plistreader.h"
#include "helpers.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

QByteArray ref(uint32_t value) {
    QByteArray bytes(4, 0);
    qToBigEndian(value, bytes.data());
    return bytes;
}

// A binary property list from marker-and-reference objects (one-byte
// references and offsets are not enough for the deep lists: four of each).
QByteArray binaryList(const std::vector<QByteArray>& objects, uint64_t top = 0) {
    QByteArray out = "bplist00";
    std::vector<uint32_t> offsets;
    for (const QByteArray& object : objects) {
        offsets.push_back(uint32_t(out.size()));
        out += object;
    }
    const uint64_t table = uint64_t(out.size());
    for (uint32_t offset : offsets) out += ref(offset);
    QByteArray trailer(32, 0);
    trailer[6] = 4;
    trailer[7] = 4;
    qToBigEndian<quint64>(objects.size(), trailer.data() + 8);
    qToBigEndian<quint64>(top, trailer.data() + 16);
    qToBigEndian<quint64>(table, trailer.data() + 24);
    return out + trailer;
}

// Arrays nested `depth` deep; with `shared`, every level holds the next one
// twice (a tree of 2^depth nodes from `depth` objects).
QByteArray nestedBinary(uint32_t depth, bool shared = false) {
    std::vector<QByteArray> objects;
    for (uint32_t i = 0; i + 1 < depth; ++i)
        objects.push_back(shared ? QByteArray("\xA2" + ref(i + 1) + ref(i + 1)) : QByteArray("\xA1" + ref(i + 1)));
    objects.push_back("\xA0");
    return binaryList(objects);
}

QByteArray nestedXml(int depth) {
    return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + QByteArray("<array>").repeated(depth) +
           QByteArray("</array>").repeated(depth) + "</plist>";
}

TEST(PlistReader, DamagedInputIsRefusedWithAReason) {
    const struct {
        const char* name;
        QByteArray bytes;
    } cases[] = {
        {"empty", {}},
        {"binary header only", "bplist00"},
        {"binary nested 200000 deep (overflowed the parser's stack)", nestedBinary(200000)},
        {"binary sharing that expands to 2^60 nodes", nestedBinary(60, true)},
        {"binary array holding itself", binaryList({"\xA1" + ref(0)})},
        {"binary reference past the last object", binaryList({"\xA1" + ref(7)})},
        {"binary top object past the end", binaryList({"\xA0"}, 3)},
        {"binary count larger than the file", binaryList({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"})},
        {"XML nested 100000 deep", nestedXml(100000)},
        // Found by fuzzing: a NUL in a dictionary key aborted the program.
        {"binary key with a NUL", binaryList({"\xD1" + ref(1) + ref(2), QByteArray("\x53" "a\0b", 4), "\x51x"})},
        {"XML key with a NUL", "<plist><dict><key>a&#0;</key><string>x</string></dict></plist>"},
        {"not a property list", "hello"},
    };
    for (const auto& c : cases) {
        const PlistReadResult result = readPlistSafely(c.bytes);
        EXPECT_FALSE(result) << c.name;
        EXPECT_FALSE(result.error.isEmpty()) << c.name;
    }
}

TEST(PlistReader, OrdinaryListsPass) {
    const QByteArray xml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key>"
                           "<array><string>x</string><dict/><array/></array></dict></plist>";
    for (const QByteArray& bytes : {xml, nestedXml(kPlistMaxDepth - 1), nestedBinary(kPlistMaxDepth - 1),
                                    nestedBinary(8, true), binaryList({"\xA2" + ref(1) + ref(1), "\x51x"})}) {
        const PlistReadResult result = readPlistSafely(bytes);
        EXPECT_TRUE(result) << result.error.toStdString();
    }
}

// Found by fuzzing: a NUL inside a string made the library's string getter
// abort the program (filter import and saved logs both read strings). XML
// may not hold NUL at all; binary strings may.
TEST(PlistReader, StringsMayHoldNul) {
    const QByteArray xml("<plist><dict><key>Mine</key><string>app.F\0\0 a</string></dict></plist>", 69);
    EXPECT_FALSE(readPlistSafely(xml));
    const QByteArray binary = binaryList({"\xD1" + ref(1) + ref(2), "\x54Mine", QByteArray("\x59" "app.F\0\0 a", 10)});
    const PlistReadResult result = readPlistSafely(binary);
    ASSERT_TRUE(result) << result.error.toStdString();
    // What survives of the text after the NUL is the library's affair; no abort.
    EXPECT_EQ(plistString(plist_dict_get_item(result.root.get(), "Mine")).substr(0, 5), "app.F");
    EXPECT_EQ(plistString(result.root.get()), std::string());  // not a string node
}

TEST(PlistReader, DeepSavedLogFallsBackToText) {
    QTemporaryDir dir;
    const QString path = test::writeFile(dir, u"deep.vellumfox"_s, nestedBinary(200000));
    EXPECT_FALSE(readVellumfoxFile(path, rowCounter()));
}

}  // namespace
}  // namespace vf
