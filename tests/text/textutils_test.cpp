#include <gtest/gtest.h>

#include <tuple>

#include "core/text/links.h"
#include "core/text/textutils.h"

using namespace Qt::StringLiterals;

namespace vf {
namespace {

TEST(TextUtils, JsonPrinter) {
    EXPECT_EQ(TextUtils::lenientJsonPrettyPrinter(u"{\"a\":1,\"b\":[2,3]}").split(u'\n'),
              (QStringList{u""_s, u"{"_s, u"    \"a\" : 1,"_s, u"    \"b\" : "_s, u"    ["_s, u"        2,"_s,
                           u"        3"_s, u"    ]"_s, u"}"_s}));
    // A log prefix (quotes included) passes through; so does text after the end.
    EXPECT_EQ(TextUtils::lenientJsonPrettyPrinter(u"D/net \"x\": {\"k\":\"v\"} done"),
              u"D/net \"x\": \n{\n    \"k\" : \"v\"\n} done"_s);
    // An escaped quote does not end the string; blanks inside strings stay.
    EXPECT_EQ(TextUtils::lenientJsonPrettyPrinter(u"{\"s\":\"a \\\", b\"}"), u"\n{\n    \"s\" : \"a \\\", b\"\n}"_s);
    // Nested objects: an inner "}" ends its line, the outermost does not.
    EXPECT_EQ(TextUtils::lenientJsonPrettyPrinter(u"{\"o\":{\"k\":1}}"),
              u"\n{\n    \"o\" : \n    {\n        \"k\" : 1\n    }\n}"_s);
    EXPECT_EQ(TextUtils::lenientJsonPrettyPrinter(u"no json"), u"no json"_s);
}

TEST(TextUtils, XmlPrinter) {
    EXPECT_EQ(TextUtils::lenientXMLPrettyPrinter(u"<a><b>x</b></a>"), u"\n    <a>\n        <b>x</b>\n    </a>"_s);
    EXPECT_EQ(TextUtils::lenientXMLPrettyPrinter(u"x"), u""_s);
    EXPECT_EQ(TextUtils::lenientXMLPrettyPrinter(u""), u""_s);
    EXPECT_EQ(TextUtils::lenientXMLPrettyPrinter(u"<?xml v?><!-- c --><a/>"), u"\n<?xml v?>\n<!-- c -->\n    <a/>"_s);
}

// Hostile nesting costs output in proportion to the input: indentation
// stops at the limit, every bracket is still printed, and a cap cuts the
// rest with a note.
TEST(TextUtils, PrintersStayBoundedOnDeepNesting) {
    const qsizetype depth = 10000;
    const QString json = QString(depth, u'[') + QString(depth, u']');
    const QString xml = QString(u"<a>"_s).repeated(depth) + QString(u"</a>"_s).repeated(depth);
    const qsizetype widest = 4 * TextUtils::kMaxIndentDepth;
    for (const auto& [name, out, input] :
         {std::tuple{"json", TextUtils::lenientJsonPrettyPrinter(json), json},
          std::tuple{"xml", TextUtils::lenientXMLPrettyPrinter(xml), xml}}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(out.count(u'['), input.count(u'['));
        EXPECT_EQ(out.count(u'<'), input.count(u'<'));
        EXPECT_LE(out.size(), input.size() * (2 * widest + 8));
        qsizetype longest = 0;
        for (const QStringView line : QStringView(out).split(u'\n')) longest = qMax(longest, line.size());
        EXPECT_LE(longest, widest + 8);
    }

    const QString note = u"\n\u2026 [cut here: the formatted text is longer than 4096 characters]"_s;
    for (const QString& cut :
         {TextUtils::lenientJsonPrettyPrinter(json, 4096), TextUtils::lenientXMLPrettyPrinter(xml, 4096)}) {
        EXPECT_EQ(cut.size(), 4096 + note.size());
        EXPECT_TRUE(cut.endsWith(note));
    }
    const QString indented = TextUtils::lenientJsonPrettyPrinter(QString(100, u'['));
    EXPECT_TRUE(indented.endsWith(u'\n' + QString(widest, u' ')));
}

TEST(TextUtils, Truncate) {
    EXPECT_EQ(TextUtils::truncate(u"abcdef"_s, 3), u"abc..."_s);
    EXPECT_EQ(TextUtils::truncate(u"abcdef"_s, 6), u"abcdef"_s);
}

TEST(TextUtils, Base64) {
    // Characters outside the alphabet (the line break) are skipped.
    EXPECT_EQ(TextUtils::decodeBase64(u"aGVsbG8g\nd29ybGQ=").text, u"hello world"_s);
    const Base64Decoding binary = TextUtils::decodeBase64(u"//79/AAB");  // ff fe fd fc 00 01
    EXPECT_FALSE(binary.text);
    EXPECT_EQ(binary.alertText, u"Result is not a string.\nBIN[<fffefdfc 0001>]"_s);
    EXPECT_EQ(TextUtils::decodeBase64(u"!!!").alertText, u"Value is not valid Base64:\n\n'!!!'"_s);
    // Large results show their first 64 bytes (or characters) and no more.
    const QString bytes100 = QString::fromLatin1(QByteArray(100, '\xff').toBase64());
    EXPECT_EQ(TextUtils::decodeBase64(bytes100).alertText,
              u"Result is not a string.\nBIN[<"_s + QStringList(16, u"ffffffff"_s).join(u' ') +
                  u"> \u2026 100 bytes in all]"_s);
    EXPECT_EQ(TextUtils::decodeBase64(QString(1000, u'!')).alertText,
              u"Value is not valid Base64:\n\n'"_s + QString(64, u'!') + u"\u2026'"_s);
}

TEST(TextUtils, Base64RunUnderTheCursorElseTheLongest) {
    const struct {
        const char16_t* text;
        qsizetype cursor;
        std::optional<TextSpan> run;
    } cases[] = {
        {u"key=aGVsbG8= done", -1, TextSpan{4, 8}},     // padding belongs to the run
        {u"key=aGVsbG8= done", 2, TextSpan{4, 8}},       // "key=" assigns: "key" is too short
        {u"user aGk= abcd", 1, TextSpan{0, 4}},          // touched, though not the longest
        {u"user aGk= abcd", 14, TextSpan{10, 4}},        // the cursor at a run's end
        {u"ab cd aGk=== x", -1, TextSpan{6, 5}},         // at most two "="
        {u"token abcde", -1, std::nullopt},              // 5 letters cannot be Base64
        {u"org.example.Notes", -1, TextSpan{4, 7}},      // "." splits; first of the longest
        {u"", 0, std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(QString::fromUtf16(c.text).toStdString());
        EXPECT_EQ(TextUtils::base64RunAt(QStringView(c.text), c.cursor), c.run);
    }
}

TEST(Links, WebAndMailOnly) {
    const QList<TextLink> links =
        findLinks(u"see https://x.org/a?b=1, www.y.com. mail me@z.io or file:///etc/passwd ftp://h/x");
    ASSERT_EQ(links.size(), 3);
    EXPECT_EQ(links[0].url.toString(), u"https://x.org/a?b=1"_s);
    EXPECT_EQ(links[0].start, 4);
    EXPECT_EQ(links[1].url.toString(), u"http://www.y.com"_s);
    EXPECT_EQ(links[2].url.toString(), u"mailto:me@z.io"_s);
}

}  // namespace
}  // namespace vf
