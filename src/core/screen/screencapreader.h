#pragma once
// ScreencapReader: one screenshot of a device as PNG bytes, through
// "shell:screencap -p". Each capture opens its own connection to the ADB
// server and ends when the device closes the shell stream; connect() again
// for the next one.
//
// Threads: a conversation (see AdbSocket); it reports to its delegate on its
// own thread. The pure byte helpers may be called from any thread.

#include <QByteArray>
#include <QDateTime>

#include "core/adb/adbsocket.h"

namespace vf {

class ScreencapReaderDelegate {
public:
    virtual ~ScreencapReaderDelegate() = default;
    // The bytes of one capture exactly as read (up to the last "IEND"); turn
    // them into a PNG with ScreencapReader::createImageFromData.
    virtual void screencapReceived(const QByteArray& data) = 0;
    // Nothing was read; `error` is the disconnection's, when there was one.
    // A capture larger than kMaxImageBytes (64 MiB) fails too, with
    // ScreencapReader::kTooLargeText.
    virtual void screenapFailedWithError(const OptionalError& error) = 0;
};

class ScreencapReader final : public AdbSocket {
    Q_OBJECT
public:
    static constexpr int kTooLargeCode = 4;
    static constexpr char kTooLargeText[] = "the screenshot is larger than 64 MiB";

    explicit ScreencapReader(const AdbEndpoint& endpoint, QObject* parent = nullptr)
        : AdbSocket(endpoint, parent) {}

    // Conversation thread. Not owned.
    void setDelegate(ScreencapReaderDelegate* delegate) { delegate_ = delegate; }

    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

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
    void sendCommand();

    ScreencapReaderDelegate* delegate_ = nullptr;
    QByteArray resultData_;
    QDateTime captureStart_;  // kept for diagnostics of slow devices
    bool tooLarge_ = false;   // the capture under way passed the size limit
};

}  // namespace vf
