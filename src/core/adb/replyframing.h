#pragma once
// What a conversation may accept from the ADB server, and how much of it.
// The server is trusted to frame its replies, but a broken or foreign server
// (or another program on its port) must not make a conversation wait for
// ever, misread a length, or gather without bound. Every status and every
// length-prefixed reply that a conversation reads is framed by the two
// stream parsers below (AdbSocket reads them through the framers); the
// limits below bound every other read.
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

// Error code of a "FAIL" reply (domain "logReader"); the error's texts are
// the server's message.
inline constexpr int kRefusedCode = 2;
Error refusedError(const QString& message);

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

// The two parsers as framers of AsyncSocket::readFramed: the length of the
// whole reply when it is Done, 0 while it needs more, -1 when Malformed.
qsizetype frameStatusReply(QByteArrayView bytes);
qsizetype frameLengthPrefixed(QByteArrayView bytes);

// A cut log line: the bytes trimmed back to a whole UTF-8 sequence, then
// the mark and a line feed, so the row parser sees one complete line.
QByteArray markCutLine(QByteArrayView bytes);

}  // namespace vf
