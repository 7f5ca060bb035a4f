#include <gtest/gtest.h>

#include "core/adb/adbsocket.h"
#include "core/adb/replyframing.h"

namespace vf {
namespace {

// The same reply fed whole, one byte at a time, and split at every offset:
// every prefix short of the end needs more (or is already malformed, and
// stays so), and the whole gives the same result whatever came before.
TEST(ReplyFraming, StatusRepliesWholeBytewiseAndAtEverySplit) {
    const struct {
        QByteArray bytes;
        ReplyParse::Outcome outcome;
        bool okay;
        QByteArray message;
        qsizetype malformedFrom = -1;  // first prefix length that is malformed
    } cases[] = {
        {"OKAY", ReplyParse::Done, true, {}},
        {"FAIL0000", ReplyParse::Done, false, {}},
        {"FAIL0005oops!", ReplyParse::Done, false, "oops!"},
        {"FAIL000Aunicode \xc3\xa9", ReplyParse::Done, false, "unicode \xc3\xa9"},
        {"okay", ReplyParse::Malformed, false, {}, 1},
        {"OKAX", ReplyParse::Malformed, false, {}, 4},
        {"FAIL00g4oops", ReplyParse::Malformed, false, {}, 7},
        {"FAIL 004oops", ReplyParse::Malformed, false, {}, 5},
        {QByteArray(4, '\0'), ReplyParse::Malformed, false, {}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes.toStdString());
        for (qsizetype split = 0; split < c.bytes.size(); ++split) {
            const ReplyParse part = parseStatusReply(c.bytes.first(split));
            const bool malformed = c.malformedFrom >= 0 && split >= c.malformedFrom;
            EXPECT_EQ(part.outcome, malformed ? ReplyParse::Malformed : ReplyParse::NeedMore) << split;
        }
        // Trailing bytes (the next reply, a stream) are not consumed.
        for (const QByteArray& tail : {QByteArray(), QByteArray("0004more")}) {
            const ReplyParse whole = parseStatusReply(QByteArray(c.bytes + tail));
            EXPECT_EQ(whole.outcome, c.outcome);
            if (c.outcome != ReplyParse::Done) continue;
            EXPECT_EQ(whole.consumed, c.bytes.size());
            EXPECT_EQ(whole.okay, c.okay);
            EXPECT_EQ(whole.message, c.message);
        }
    }
}

// Lengths are exactly four hex digits of either case; the framers say the
// same as the parsers in the socket's terms (length, 0 for more, -1).
TEST(ReplyFraming, LengthPrefixedPayloadsAndTheFramers) {
    const struct {
        QByteArray bytes;
        qsizetype frame;  // what frameLengthPrefixed says
        QByteArray payload;
    } cases[] = {
        {"0003ab\ncd", 7, "ab\n"},
        {"001a", 0, {}},
        {"FFFF", 0, {}},
        {"0000", 4, {}},
        {"00001", 4, {}},
        {"", 0, {}},
        {"01a", 0, {}},
        {"0x1a", -1, {}},
        {" 01a", -1, {}},
        {"01a ", -1, {}},
        {"zzzz", -1, {}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(frameLengthPrefixed(c.bytes), c.frame) << c.bytes.constData();
        if (c.frame > 0) {
            EXPECT_EQ(parseLengthPrefixed(c.bytes).message, c.payload) << c.bytes.constData();
        }
    }
    EXPECT_EQ(frameStatusReply("OKAYmore"), 4);
    EXPECT_EQ(frameStatusReply("FAIL0002no"), 10);
    EXPECT_EQ(frameStatusReply("FAIL00"), 0);
    EXPECT_EQ(frameStatusReply("okay"), -1);
}

TEST(AdbSocket, FramesWithTheUtf8LengthInFourLowerCaseHexDigits) {
    using namespace Qt::StringLiterals;
    EXPECT_EQ(AdbSocket::frame(u"host:devices"_s), "000chost:devices");
    EXPECT_EQ(AdbSocket::frame(QString(0x1234, u'x')).left(4), "1234");
    EXPECT_EQ(AdbSocket::frame(QString(0x12345, u'x')).left(5), "12345");
    // Two characters, four bytes; an astral character is two UTF-16 units and four bytes.
    EXPECT_EQ(AdbSocket::frame(u"\u00e9\u00e9"_s), "0004\xc3\xa9\xc3\xa9");
    EXPECT_EQ(AdbSocket::frame(u"\U0001F600"_s), "0004\xf0\x9f\x98\x80");
}

// A cut line ends on a whole character, without a lone CR, with the mark.
TEST(ReplyFraming, CutLinesEndOnWholeCharacters) {
    const QByteArray mark = QByteArray(kCutLineMark) + '\n';
    const struct {
        QByteArray cut, kept;
    } cases[] = {
        {"abc", "abc"},
        {"ab\xc3\xa9", "ab\xc3\xa9"},
        {"ab\xc3", "ab"},
        {"ab\xe2\x82", "ab"},
        {"ab\xf0\x9f\x98", "ab"},
        {"ab\xf0\x9f\x98\x80", "ab\xf0\x9f\x98\x80"},
        {"ab\r", "ab"},
        {"\x80\x80\x80\x80\x80", "\x80\x80\x80\x80\x80"},  // not UTF-8 anyway: left for the UTF-8 check
    };
    for (const auto& c : cases) EXPECT_EQ(markCutLine(c.cut), c.kept + mark) << c.cut.toHex().toStdString();
}

}  // namespace
}  // namespace vf
