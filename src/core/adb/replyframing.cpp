#include "core/adb/replyframing.h"

namespace vf {

namespace {
int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}
}  // namespace

Error unexpectedReplyError() {
    Error error;
    error.domain = QString::fromLatin1(kLogReaderErrorDomain);
    error.code = kUnexpectedReplyCode;
    error.description = QString::fromLatin1(kUnexpectedReplyText);
    error.failureReason = error.description;
    error.recoverySuggestion = error.description;
    return error;
}

ReplyStatus replyStatus(QByteArrayView status) {
    if (status == QByteArrayView("OKAY")) return ReplyStatus::Okay;
    if (status == QByteArrayView("FAIL")) return ReplyStatus::Fail;
    return ReplyStatus::Unexpected;
}

std::optional<uint32_t> parseHexLength(QByteArrayView digits) {
    if (digits.size() != 4) return std::nullopt;
    uint32_t value = 0;
    for (const char c : digits) {
        const int digit = hexDigit(c);
        if (digit < 0) return std::nullopt;
        value = value * 16 + uint32_t(digit);
    }
    return value;
}

ReplyParse parseLengthPrefixed(QByteArrayView bytes) {
    ReplyParse parse;
    // A bad digit is an error as soon as it arrives, not only once all four have.
    for (qsizetype i = 0; i < qMin<qsizetype>(4, bytes.size()); ++i) {
        if (hexDigit(bytes[i]) < 0) {
            parse.outcome = ReplyParse::Malformed;
            return parse;
        }
    }
    if (bytes.size() < 4) return parse;
    const qsizetype length = qsizetype(*parseHexLength(bytes.first(4)));
    if (bytes.size() < 4 + length) return parse;
    parse.outcome = ReplyParse::Done;
    parse.consumed = 4 + length;
    parse.message = bytes.sliced(4, length).toByteArray();
    return parse;
}

ReplyParse parseStatusReply(QByteArrayView bytes) {
    ReplyParse parse;
    const qsizetype head = qMin<qsizetype>(4, bytes.size());
    // Reject as soon as the status can no longer be either word.
    if (!QByteArrayView("OKAY").startsWith(bytes.first(head)) && !QByteArrayView("FAIL").startsWith(bytes.first(head))) {
        parse.outcome = ReplyParse::Malformed;
        return parse;
    }
    if (head < 4) return parse;
    if (replyStatus(bytes.first(4)) == ReplyStatus::Okay) {
        parse.outcome = ReplyParse::Done;
        parse.consumed = 4;
        parse.okay = true;
        return parse;
    }
    parse = parseLengthPrefixed(bytes.sliced(4));
    if (parse.outcome == ReplyParse::Done) parse.consumed += 4;
    return parse;
}

QByteArray markCutLine(QByteArrayView bytes) {
    qsizetype end = bytes.size();
    // Step back over continuation bytes to the last lead byte, and drop that
    // sequence too unless it is complete.
    qsizetype lead = end;
    while (lead > 0 && lead > end - 4 && (uchar(bytes[lead - 1]) & 0xC0) == 0x80) --lead;
    if (lead > 0 && uchar(bytes[lead - 1]) >= 0xC0) {
        const uchar c = uchar(bytes[lead - 1]);
        const qsizetype need = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
        if (end - (lead - 1) < need) end = lead - 1;
    }
    QByteArray line = bytes.first(end).toByteArray();
    if (line.endsWith('\r')) line.chop(1);
    line += kCutLineMark;
    line += '\n';
    return line;
}

}  // namespace vf
