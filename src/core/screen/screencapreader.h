#pragma once
// ScreencapReader: one screenshot of a device as PNG bytes, through
// "shell:screencap -p". Each capture opens its own connection to the ADB
// server and ends when the device closes the shell stream; start() again
// for the next one.
//
// Threads: a conversation (see core/adb/adbsocket.h). The pure byte helpers
// may be called from any thread.

#include <QByteArray>

#include "core/adb/adbsocket.h"

namespace vf {

class ScreencapReaderDelegate {
public:
    virtual ~ScreencapReaderDelegate() = default;
    // Once per start(): the bytes of the capture exactly as read (up to the
    // last "IEND"; turn them into a PNG with createImageFromData), empty
    // when nothing was read, and how the conversation ended. A capture
    // larger than kMaxImageBytes (64 MiB) ends as UnexpectedReply with
    // ScreencapReader::kTooLargeText.
    virtual void screencapFinished(const QByteArray& data, const AdbResult& result) = 0;
};

class ScreencapReader final : public AdbSocket {
    Q_OBJECT
public:
    static constexpr int kTooLargeCode = 4;
    static constexpr char kTooLargeText[] = "the screenshot is larger than 64 MiB";

    explicit ScreencapReader(const AdbEndpoint& endpoint, QObject* parent = nullptr)
        : AdbSocket(endpoint, parent) {}

    // Not owned; set before start().
    void setDelegate(ScreencapReaderDelegate* delegate) { delegate_ = delegate; }

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

    // The PNG file in the bytes of a capture: the terminal's CR LF undone
    // when the stream shows it, and the checksum of a final IEND chunk
    // restored (the reads stop right after "IEND"). Pure.
    static QByteArray createImageFromData(const QByteArray& data);
    // Whether the PNG signature shows a shell that turned LF into CR LF
    // (0D 0D 0A where the signature has 0D 0A).
    static bool hasTerminalNewlines(const QByteArray& data);
    // Every CR LF pair becomes a single LF; a lone CR, also a final one, stays.
    static QByteArray undoCrLf(const QByteArray& data);
    // Appends the IEND chunk's checksum when the bytes end with "IEND".
    static QByteArray completeFinalChunk(QByteArray png);

private:
    void connected() override;
    void finished(const AdbResult& result) override;
    void sendCommand();

    ScreencapReaderDelegate* delegate_ = nullptr;
    QByteArray resultData_;
};

}  // namespace vf
