#include "core/adb/replyframing.h"

namespace vf {

namespace {
int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

Error logReaderError(int code, const QString& message) {
    Error error;
    error.domain = QString::fromLatin1(kLogReaderErrorDomain);
    error.code = code;
    error.description = message;
    error.failureReason = message;
    error.recoverySuggestion = message;
    return error;
}

qsizetype asFrame(const ReplyParse& parse) {
    switch (parse.outcome) {
        case ReplyParse::Done: return parse.consumed;
        case ReplyParse::NeedMore: return 0;
        case ReplyParse::Malformed: break;
    }
    return -1;
}

}  // namespace

Error unexpectedReplyError() { return logReaderError(kUnexpectedReplyCode, QString::fromLatin1(kUnexpectedReplyText)); }

Error refusedError(const QString& message) { return logReaderError(kRefusedCode, message); }

qsizetype frameStatusReply(QByteArrayView bytes) { return asFrame(parseStatusReply(bytes)); }

qsizetype frameLengthPrefixed(QByteArrayView bytes) { return asFrame(parseLengthPrefixed(bytes)); }

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
    qsizetype length = 0;
    for (const char c : bytes.first(4)) length = length * 16 + hexDigit(c);
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
    if (bytes.first(4) == QByteArrayView("OKAY")) {
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
