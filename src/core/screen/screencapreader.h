#pragma once
// ScreencapReader: one screenshot of a device as PNG bytes, through
// "shell:screencap -p" ("shell:screencap -d ID -p" for one display of
// several). Text the command prints before the PNG (a device with several
// displays warns when no display is named) is logged and dropped. Each capture opens its own connection to the ADB
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
    // The display to capture (an id of "dumpsys SurfaceFlinger
    // --display-id"); empty: the device's default. Before start().
    void setDisplayId(const QString& displayId) { displayId_ = displayId; }
    // The service request of a capture of `displayId`. Pure.
    static QString captureRequest(const QString& displayId);

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

    // The PNG file in the bytes of a capture: anything before the PNG
    // signature dropped, the terminal's CR LF undone when the signature
    // shows it, and the checksum of a final IEND chunk restored (the reads
    // stop right after "IEND"). Bytes without a signature are passed on. Pure.
    static QByteArray createImageFromData(const QByteArray& data);
    // Where the PNG signature starts (also as a terminal turned it), or -1.
    static qsizetype pngStart(QByteArrayView data);
    // Whether the PNG signature shows a shell that turned LF into CR LF
    // (0D 0D 0A where the signature has 0D 0A).
    static bool hasTerminalNewlines(QByteArrayView data);
    // Whether a PNG is compressed so well that it may be one flat colour:
    // below 1 byte per 32 pixels of its header's size. A screen with any
    // content never gets there, so only such frames need a look at their
    // pixels. False when the header cannot be read. Pure.
    static bool mayBeUniform(QByteArrayView png);
    // Every CR LF pair becomes a single LF; a lone CR, also a final one, stays.
    static QByteArray undoCrLf(const QByteArray& data);
    // Appends the IEND chunk's checksum when the bytes end with "IEND".
    static QByteArray completeFinalChunk(QByteArray png);

private:
    void connected() override;
    void finished(const AdbResult& result) override;
    void sendCommand();

    ScreencapReaderDelegate* delegate_ = nullptr;
    QString displayId_;
    QByteArray resultData_;
    QByteArray loggedText_;  // the text before the last PNG, logged once until it changes
};

}  // namespace vf
