#include "core/screen/screencapreader.h"

#include <QtEndian>
#include <utility>

#include "core/adb/replyframing.h"
#include "core/support/logger.h"
#include "core/support/text.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
enum Tag : long { kTransportStatus = 2, kCommandStatus = 3, kPng = 4 };

// "IEND" is the last chunk of every PNG; its data is empty, so its CRC-32
// never changes.
constexpr char kIendCrc[] = "\xAE\x42\x60\x82";
}  // namespace

void ScreencapReader::connected() { sendDeviceId(kTransportStatus); }

void ScreencapReader::sendCommand() {
    resultData_ = QByteArray();
    sendExpectOkay(captureRequest(displayId_), kCommandStatus);
}

QString ScreencapReader::captureRequest(const QString& displayId) {
    return displayId.isEmpty() ? u"shell:screencap -p"_s : u"shell:screencap -d "_s + displayId + u" -p"_s;
}

void ScreencapReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kTransportStatus:
            if (takeOkay(data)) sendCommand();
            break;
        case kCommandStatus:
            if (takeOkay(data)) readPng(kPng);
            break;
        case kPng:
            // Every whole read ends in "IEND"; one that does not was cut at
            // the size limit: no screenshot is that large, so it is a failure.
            if (!data.endsWith("IEND") || resultData_.size() + data.size() > kMaxImageBytes) {
                VF_LOG("screenshot larger than {} bytes: dropped", kMaxImageBytes);
                resultData_ = QByteArray();
                end(AdbOutcome::UnexpectedReply,
                    Error{QString::fromLatin1(kLogReaderErrorDomain), kTooLargeCode, QString::fromLatin1(kTooLargeText), {}, {}});
                break;
            }
            resultData_.append(data);
            readPng(kPng);
            break;
        default:
            logUnknownTag(tag);
            end(AdbOutcome::UnexpectedReply);
    }
}

void ScreencapReader::finished(const AdbResult& result) {
    const QByteArray data = std::exchange(resultData_, QByteArray());
    if (data.isEmpty()) VF_LOG("nothing read");
    const QByteArray text = data.left(qMax<qsizetype>(0, pngStart(data)));
    if (!text.isEmpty() && text != loggedText_) VF_LOG("screencap printed before the image: {}", decodeText(text).trimmed());
    loggedText_ = text;
    if (delegate_ != nullptr) delegate_->screencapFinished(data, result);
}

bool ScreencapReader::hasTerminalNewlines(QByteArrayView data) {
    // Signature 89 50 4E 47 0D 0A 1A 0A: a terminal turns its 0D 0A into 0D 0D 0A.
    return data.size() >= 7 && data.startsWith("\x89PNG") && data.sliced(4, 3) == "\r\r\n";
}

qsizetype ScreencapReader::pngStart(QByteArrayView data) {
    for (qsizetype at = data.indexOf("\x89PNG\r"); at >= 0; at = data.indexOf("\x89PNG\r", at + 1)) {
        const QByteArrayView rest = data.sliced(at + 5);
        if (rest.startsWith("\n\x1a") || rest.startsWith("\r\n\x1a")) return at;
    }
    return -1;
}

bool ScreencapReader::mayBeUniform(QByteArrayView png) {
    // Signature (8), IHDR length and type (8), then width and height, big-endian.
    if (png.size() < 24 || png.sliced(12, 4) != "IHDR") return false;
    const auto word = [&](qsizetype at) { return qFromBigEndian<quint32>(png.data() + at); };
    const quint64 pixels = quint64(word(16)) * word(20);
    // A black 1080x2400 frame deflates to 10-40 KB (by compression level);
    // screens with content take hundreds.
    return pixels > 0 && quint64(png.size()) * 32 < pixels;
}

QByteArray ScreencapReader::undoCrLf(const QByteArray& data) {
    QByteArray out(data.size(), Qt::Uninitialized);
    const char* in = data.constData();
    char* write = out.data();
    const qsizetype length = data.size();
    for (qsizetype i = 0; i < length;) {
        if (i + 1 < length && in[i] == '\r' && in[i + 1] == '\n') {
            *write++ = '\n';
            i += 2;
        } else {
            *write++ = in[i++];
        }
    }
    out.truncate(write - out.constData());
    return out;
}

QByteArray ScreencapReader::completeFinalChunk(QByteArray png) {
    if (png.endsWith("IEND")) png.append(kIendCrc, 4);
    return png;
}

QByteArray ScreencapReader::createImageFromData(const QByteArray& data) {
    // Devices since Android 7 (and any shell without a terminal) send the
    // PNG untouched; undoing CR LF there would break the signature.
    const qsizetype start = pngStart(data);
    const QByteArray png = start > 0 ? data.sliced(start) : data;
    return completeFinalChunk(hasTerminalNewlines(png) ? undoCrLf(png) : png);
}

}  // namespace vf
