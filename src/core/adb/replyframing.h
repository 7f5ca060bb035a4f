#pragma once
// What a conversation may accept from the ADB server, and how much of it.
// The server is trusted to frame its replies, but a broken or foreign server
// (or another program on its port) must not make a conversation wait for
// ever, misread a length, or gather without bound. These helpers check every
// framed piece a conversation reads; the limits below bound every read.
//
// Pure functions and constants; any thread.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <cstdint>
#include <optional>

#include "core/support/error.h"

namespace vf {

// One live log line; longer lines are cut there and marked (see kCutLineMark).
inline constexpr qsizetype kMaxLineBytes = qsizetype(1) << 20;
// The whole output of a short command (process table, build properties).
inline constexpr qsizetype kMaxCommandOutputBytes = qsizetype(16) << 20;
// One screenshot.
inline constexpr qsizetype kMaxImageBytes = qsizetype(64) << 20;
// How long the device listing and the model lookup wait for each reply.
inline constexpr double kReplyTimeoutSeconds = 10.0;

// Appended to a log line that was cut at kMaxLineBytes.
inline constexpr char kCutLineMark[] = " [line cut: longer than 1 MiB]";

// The text every conversation reports when the server's reply breaks the
// protocol: a status that is neither "OKAY" nor "FAIL", a length that is not
// four hexadecimal digits, or a connection closed in the middle of a reply.
inline constexpr char kUnexpectedReplyText[] = "the ADB server sent an unexpected reply";
// Error code of that report (domain "logReader").
inline constexpr int kUnexpectedReplyCode = 3;
Error unexpectedReplyError();

enum class ReplyStatus { Okay, Fail, Unexpected };
// Classifies a four-byte status word.
ReplyStatus replyStatus(QByteArrayView status);

// The value of exactly four hexadecimal digits (either case); nullopt for
// anything else (the server always writes four).
std::optional<uint32_t> parseHexLength(QByteArrayView digits);

// A stream parser for one status reply: "OKAY", or "FAIL" + four hex digits
// + that many bytes of message. Feed it everything received so far.
struct ReplyParse {
    enum Outcome { Done, NeedMore, Malformed };
    Outcome outcome = NeedMore;
    qsizetype consumed = 0;  // Done: the bytes the reply took
    bool okay = false;       // Done: "OKAY" (else "FAIL" with `message`)
    QByteArray message;
};
ReplyParse parseStatusReply(QByteArrayView bytes);

// A length-prefixed payload (four hex digits, then the bytes), as the
// server answers "host:devices".
ReplyParse parseLengthPrefixed(QByteArrayView bytes);

// A cut log line: the bytes trimmed back to a whole UTF-8 sequence, then
// the mark and a line feed, so the row parser sees one complete line.
QByteArray markCutLine(QByteArrayView bytes);

}  // namespace vf
