#include "core/adb/adbsocket.h"

#include <QStringDecoder>
#include <limits>

#include "core/adb/replyframing.h"
#include "core/support/logger.h"
#include "core/support/threads.h"

namespace vf {

using namespace Qt::StringLiterals;

AdbSocket::AdbSocket(const AdbEndpoint& endpoint, QObject* parent)
    : QObject(parent), endpoint_(endpoint) {}

AdbSocket::~AdbSocket() { retireSocket(false); }

void AdbSocket::connect() {
    isConnecting_.store(true);
    const QString server = endpoint_.host;
    const quint16 port = endpoint_.port;

    // A replaced connection must never report into this conversation again.
    retireSocket(true);
    replyFailed_ = false;
    auto* fresh = new AsyncSocket(this);
    {
        QMutexLocker lock(&mutex_);
        socket_ = fresh;
    }
    Error error;
    if (!fresh->connectToHost(server, port, &error)) {
        VF_LOG("// If there was an error, it's likely something like 'already connected' or 'no delegate set'");
        VF_LOG("Error: {}", error.toString());
    }
}

void AdbSocket::retireSocket(bool graceful) {
    AsyncSocket* old = nullptr;
    {
        QMutexLocker lock(&mutex_);
        old = socket_;
        socket_ = nullptr;
    }
    if (old == nullptr) return;
    if (graceful) {
        old->dispose();
        return;
    }
    old->setDelegate(nullptr);
    old->disconnect();
    old->deleteLater();
}

void AdbSocket::stop() {
    VF_LOG("");
    isConnecting_.store(false);
    // Holding the lock keeps the socket from being retired (deleted) meanwhile;
    // from another thread disconnect() only posts an event.
    QMutexLocker lock(&mutex_);
    if (socket_ != nullptr) socket_->disconnect();
}

bool AdbSocket::isConnected() const {
    if (isConnecting_.load()) return true;
    QMutexLocker lock(&mutex_);
    return socket_ != nullptr && socket_->isConnected();
}

QString AdbSocket::deviceId() const {
    QMutexLocker lock(&mutex_);
    return deviceId_;
}

void AdbSocket::setDeviceId(const QString& deviceId) {
    QMutexLocker lock(&mutex_);
    deviceId_ = deviceId;
}

QByteArray AdbSocket::frame(const QString& text) {
    // The server reads as many bytes as the prefix says: count the UTF-8
    // bytes, or a request holding a non-ASCII character arrives cut short.
    const QByteArray bytes = text.toUtf8();
    return QByteArray::number(qulonglong(bytes.size()), 16).rightJustified(4, '0') + bytes;
}

void AdbSocket::send(const QString& text, double timeout, long tag) {
    if (socket_ == nullptr) return;
    const QByteArray framed = frame(text);
    const qsizetype prefixLength = framed.size() - text.toUtf8().size();
    socket_->writeData(framed.left(prefixLength), timeout, tag);
    socket_->writeData(framed.mid(prefixLength), timeout, tag);
}

void AdbSocket::sendExpectOkay(const QString& text, double timeout, long tag) {
    send(text, timeout, tag);
    if (socket_ != nullptr) socket_->readDataToLength(4, timeout > 0 ? timeout : replyTimeout_, tag);
}

void AdbSocket::readWithTag(long tag) {
    if (socket_ != nullptr) socket_->readDataToData(AsyncSocket::LFData(), replyTimeout_, tag, kMaxLineBytes);
}

void AdbSocket::readPNGWithTag(long tag) {
    if (socket_ != nullptr) socket_->readDataToData(QByteArrayLiteral("IEND"), replyTimeout_, tag, kMaxImageBytes);
}

void AdbSocket::readToLength(qsizetype length, long tag) {
    if (socket_ != nullptr) socket_->readDataToLength(length, replyTimeout_, tag);
}

void AdbSocket::sendDeviceId(long tag) {
    const QString serial = deviceId();
    if (!serial.isEmpty()) sendExpectOkay(u"host:transport:"_s + serial, -1.0, tag);
    else sendExpectOkay(u"host:transport-any"_s, -1.0, tag);
}

bool AdbSocket::isOkay(const QByteArray& bytes) { return bytes == "OKAY"; }

std::optional<QString> AdbSocket::stringFromData(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) return std::nullopt;
    return text;
}

uint32_t AdbSocket::hexStringToInteger(const QString& text) {
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace()) ++i;
    if (i + 1 < text.size() && text.at(i) == u'0' && (text.at(i + 1) == u'x' || text.at(i + 1) == u'X')) {
        i += 2;
    }
    uint64_t value = 0;
    for (; i < text.size(); ++i) {
        const char16_t c = text.at(i).unicode();
        int digit = -1;
        if (c >= u'0' && c <= u'9') digit = c - u'0';
        else if (c >= u'a' && c <= u'f') digit = c - u'a' + 10;
        else if (c >= u'A' && c <= u'F') digit = c - u'A' + 10;
        if (digit < 0) break;
        value = qMin<uint64_t>(value * 16 + uint64_t(digit), std::numeric_limits<uint32_t>::max());
    }
    return uint32_t(value);
}

uint32_t AdbSocket::hexDataToInteger(const QByteArray& bytes) {
    const std::optional<QString> text = stringFromData(bytes);
    return text ? hexStringToInteger(*text) : 0;
}

int64_t AdbSocket::leadingInteger(const QString& text) {
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace()) ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == u'-' || text.at(i) == u'+')) negative = text.at(i++) == u'-';
    int64_t value = 0;
    for (; i < text.size() && text.at(i) >= u'0' && text.at(i) <= u'9'; ++i) {
        value = qMin<int64_t>(value * 10 + (text.at(i).unicode() - u'0'), std::numeric_limits<int32_t>::max());
    }
    return negative ? -value : value;
}

Error AdbSocket::logReaderError(int code, const QString& message) {
    Error error;
    error.domain = QString::fromLatin1(kLogReaderErrorDomain);
    error.code = code;
    error.description = message;
    error.failureReason = message;
    error.recoverySuggestion = message;
    VF_LOG("Error: {}", error.toString());
    return error;
}

void AdbSocket::adbNotRunningError(const Error& /*error*/) {
    VF_LOG("");
    isConnecting_.store(false);
}

void AdbSocket::adbDeviceNotFound(const Error& /*error*/) {
    VF_LOG("");
    isConnecting_.store(false);
}

void AdbSocket::adbReplyFailed(const Error& error) {
    VF_LOG("Error: {}", error.toString());
    isConnecting_.store(false);
    replyFailed_ = true;
    stop();
}

bool AdbSocket::checkStatus(const QByteArray& status) {
    const ReplyStatus kind = replyStatus(status);
    if (kind == ReplyStatus::Unexpected && !replyFailed_) adbReplyFailed(unexpectedReplyError());
    return kind == ReplyStatus::Okay;
}

std::optional<uint32_t> AdbSocket::checkLength(const QByteArray& digits) {
    const std::optional<uint32_t> length = parseHexLength(digits);
    if (!length && !replyFailed_) adbReplyFailed(unexpectedReplyError());
    return length;
}

void AdbSocket::socketDidConnect(AsyncSocket* /*socket*/) { isConnecting_.store(false); }

void AdbSocket::socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) {
    if (error && error->code == kConnectionRefusedCode) adbNotRunningError(*error);
    // A reply cut short, or none in time, is the server's fault as much as
    // a malformed one; the conversation must not wait for more.
    const bool cutShort = socket != nullptr && socket->endedMidRead();
    const bool timedOut = error && error->code == kReadTimeoutCode && error->domain == QLatin1StringView(kSocketErrorDomain);
    if ((cutShort || timedOut) && !replyFailed_) adbReplyFailed(timedOut ? *error : unexpectedReplyError());
    isConnecting_.store(false);
}

void AdbSocket::logNotOkay(const QByteArray& status) const {
    VF_LOG("Error: response was not 'OKAY'. Got: '{}'", QString::fromUtf8(status));
}

void AdbSocket::logUnknownTag(long tag) { VF_LOG("ERROR: unknown read state: {}", tag); }

}  // namespace vf
