// ADB reply framing on arbitrary bytes: the stream parsers give the same
// answer however the bytes are split (every prefix of a complete reply
// needs more, a malformed prefix stays malformed), never consume more than
// they were given, and a cut line always ends in one whole line.
#include <QByteArrayView>
#include <cstddef>
#include <cstdint>

#include "core/adb/replyframing.h"

namespace {
void checkSplits(QByteArrayView bytes, vf::ReplyParse (*parse)(QByteArrayView)) {
    const vf::ReplyParse whole = parse(bytes);
    if (whole.consumed > bytes.size()) __builtin_trap();
    for (qsizetype split = 0; split <= bytes.size(); ++split) {
        const vf::ReplyParse part = parse(bytes.first(split));
        if (whole.outcome == vf::ReplyParse::Done && split < whole.consumed && part.outcome != vf::ReplyParse::NeedMore)
            __builtin_trap();
        if (part.outcome == vf::ReplyParse::Malformed && whole.outcome != vf::ReplyParse::Malformed) __builtin_trap();
        if (part.outcome == vf::ReplyParse::Done &&
            (whole.outcome != vf::ReplyParse::Done || part.consumed != whole.consumed || part.message != whole.message))
            __builtin_trap();
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArrayView bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    checkSplits(bytes, vf::parseStatusReply);
    checkSplits(bytes, vf::parseLengthPrefixed);
    // The framers the socket reads with agree with the parsers.
    const vf::ReplyParse status = vf::parseStatusReply(bytes);
    const qsizetype framed = vf::frameStatusReply(bytes);
    if ((status.outcome == vf::ReplyParse::Done) != (framed > 0)) __builtin_trap();
    const QByteArray cut = vf::markCutLine(bytes);
    if (!cut.endsWith('\n') || cut.size() > bytes.size() + qsizetype(sizeof vf::kCutLineMark) + 1) __builtin_trap();
    return 0;
}
