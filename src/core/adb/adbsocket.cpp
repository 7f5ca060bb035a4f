#include "core/adb/adbsocket.h"

#include <QThread>

#include "core/adb/replyframing.h"
#include "core/support/logger.h"
#include "core/support/text.h"
#include "core/support/threads.h"

namespace vf {

using namespace Qt::StringLiterals;

AdbSocket::AdbSocket(const AdbEndpoint& endpoint, QObject* parent) : QObject(parent), endpoint_(endpoint) {}

AdbSocket::~AdbSocket() { retireSocket(false); }

void AdbSocket::start() {
    VF_ASSERT_THREAD(this);
    ending_.reset();
    open();
}

void AdbSocket::reconnect() { open(); }

void AdbSocket::open() {
    isConnecting_ = true;
    // A replaced connection must never report into this conversation again.
    retireSocket(true);
    socket_ = new AsyncSocket(this, this);
    Error error;
    if (!socket_->connectToHost(endpoint_.host, endpoint_.port, &error)) {
        VF_LOG("Error: {}", error.toString());
        // No connection, so no disconnection will come to end it.
        retireSocket(false);
        isConnecting_ = false;
        QMetaObject::invokeMethod(
            this, [this, error] { finished(AdbResult{AdbOutcome::AdbNotRunning, error}); }, Qt::QueuedConnection);
    }
}

void AdbSocket::retireSocket(bool graceful) {
    AsyncSocket* old = std::exchange(socket_, nullptr);
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
    VF_ASSERT_THREAD(this);
    VF_LOG("");
    end(AdbOutcome::Stopped);
}

void AdbSocket::end(AdbOutcome outcome, const OptionalError& error) {
    if (!ending_) ending_ = AdbResult{outcome, error};
    isConnecting_ = false;
    if (socket_ != nullptr) socket_->disconnect();
}

bool AdbSocket::isConnected() const { return isConnecting_ || (socket_ != nullptr && socket_->isConnected()); }

QByteArray AdbSocket::frame(const QString& text) {
    // The server reads as many bytes as the prefix says: count the UTF-8
    // bytes, or a request holding a non-ASCII character arrives cut short.
    const QByteArray bytes = text.toUtf8();
    return QByteArray::number(qulonglong(bytes.size()), 16).rightJustified(4, '0') + bytes;
}

void AdbSocket::send(const QString& text) {
    if (socket_ != nullptr) socket_->writeData(frame(text), -1.0, 0);
}

void AdbSocket::sendExpectOkay(const QString& text, long tag, double timeout) {
    send(text);
    if (socket_ != nullptr) socket_->readFramed(frameStatusReply, timeout > 0 ? timeout : replyTimeout_, tag);
}

void AdbSocket::sendDeviceId(long tag) {
    if (!deviceId_.isEmpty()) sendExpectOkay(u"host:transport:"_s + deviceId_, tag);
    else sendExpectOkay(u"host:transport-any"_s, tag);
}

void AdbSocket::readPayload(long tag) {
    if (socket_ != nullptr) socket_->readFramed(frameLengthPrefixed, replyTimeout_, tag);
}

void AdbSocket::readLine(long tag) {
    if (socket_ != nullptr) socket_->readDataToData(AsyncSocket::LFData(), replyTimeout_, tag, kMaxLineBytes);
}

void AdbSocket::readPng(long tag) {
    if (socket_ != nullptr) socket_->readDataToData(QByteArrayLiteral("IEND"), replyTimeout_, tag, kMaxImageBytes);
}

bool AdbSocket::takeOkay(const QByteArray& reply) {
    const ReplyParse status = parseStatusReply(reply);
    if (status.outcome == ReplyParse::Done && status.okay) return true;
    VF_LOG("Error: response was not 'OKAY'. Got: '{}'", QString::fromUtf8(reply.left(4)));
    if (status.outcome == ReplyParse::Done) {
        const Error error = refusedError(decodeText(status.message));
        VF_LOG("Error: {}", error.toString());
        end(AdbOutcome::Refused, error);
    } else {
        end(AdbOutcome::UnexpectedReply, unexpectedReplyError());
    }
    return false;
}

std::optional<QByteArray> AdbSocket::takePayload(const QByteArray& reply) {
    ReplyParse payload = parseLengthPrefixed(reply);
    if (payload.outcome == ReplyParse::Done) return std::move(payload.message);
    end(AdbOutcome::UnexpectedReply, unexpectedReplyError());
    return std::nullopt;
}

void AdbSocket::socketDidConnect(AsyncSocket* /*socket*/) {
    isConnecting_ = false;
    connected();
}

void AdbSocket::socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) {
    isConnecting_ = false;
    if (!ending_) {
        // A reply cut short, or none in time, is the server's fault as much
        // as a malformed one: the conversation must not wait for more.
        const bool timedOut =
            error && error->code == kReadTimeoutCode && error->domain == QLatin1StringView(kSocketErrorDomain);
        if (error && error->code == kConnectionRefusedCode) ending_ = AdbResult{AdbOutcome::AdbNotRunning, error};
        else if (timedOut) ending_ = AdbResult{AdbOutcome::UnexpectedReply, error};
        else if (socket != nullptr && socket->endedMidRead())
            ending_ = AdbResult{AdbOutcome::UnexpectedReply, unexpectedReplyError()};
        else ending_ = AdbResult{};
        if (ending_->error) VF_LOG("Error: {}", ending_->error->toString());
    }
    finished(*ending_);
}

void AdbSocket::logUnknownTag(long tag) { VF_LOG("ERROR: unknown read state: {}", tag); }

}  // namespace vf
