#include "transport.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QTextStream>

#include "device.h"

namespace vf::sim {

namespace {

void note(const QString& text) {
    QTextStream(stderr) << "device-sim: " << text << Qt::endl;
}

}  // namespace

Transport::Transport(QTcpSocket* socket, Device& device, QObject* parent)
    : QObject(parent), socket_(socket), device_(device), decoder_(device.options().legacy) {
    socket_->setParent(this);
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket_, &QTcpSocket::readyRead, this, &Transport::onReadyRead);
    connect(socket_, &QTcpSocket::disconnected, this, [this] { Q_EMIT closed(this); });
}

Transport::~Transport() {
    for (auto& [id, stream] : streams_) delete stream.data();
}

void Transport::drop() {
    socket_->abort();
}

void Transport::onReadyRead() {
    decoder_.feed(socket_->readAll());
    Packet packet;
    for (;;) {
        switch (decoder_.next(packet)) {
            case PacketDecoder::Status::NeedMore: return;
            case PacketDecoder::Status::Broken:
                note(QStringLiteral("dropping the connection: %1").arg(QString::fromUtf8(decoder_.error())));
                socket_->abort();
                return;
            case PacketDecoder::Status::Ready: handle(packet); break;
        }
        if (socket_->state() != QAbstractSocket::ConnectedState) return;
    }
}

void Transport::handle(const Packet& packet) {
    switch (packet.command) {
        case kCmdCnxn: handleConnect(packet); return;
        case kCmdAuth: handleAuth(packet); return;
        case kCmdSync: return;
        default: break;
    }
    if (!online_) return;  // streams only after the handshake
    switch (packet.command) {
        case kCmdOpen: handleOpen(packet); return;
        case kCmdOkay: handleOkay(packet); return;
        case kCmdWrte: handleWrite(packet); return;
        case kCmdClse: handleClose(packet); return;
        default: note(QStringLiteral("ignoring %1").arg(QString::fromLatin1(commandName(packet.command))));
    }
}

void Transport::handleConnect(const Packet& packet) {
    // A second CNXN means the host restarted the connection: old streams are gone.
    for (auto& [id, stream] : streams_) delete stream.data();
    streams_.clear();
    const bool legacy = device_.options().legacy;
    const uint32_t ownVersion = legacy ? kVersionChecksummed : kVersionSkipChecksum;
    const uint32_t ownMax = legacy ? kLegacyMaxPayload : kOwnMaxPayload;
    maxPayload_ = qMin(ownMax, packet.arg1 == 0 ? kLegacyMaxPayload : packet.arg1);
    if (device_.options().state == u"unauthorized") {
        sendToken();
        return;
    }
    // The server lists a transport that never completes its handshake as offline.
    if (device_.options().state == u"offline") return;
    online_ = true;
    send(kCmdCnxn, ownVersion, ownMax, device_.banner());
}

void Transport::sendToken() {
    QByteArray token(20, '\0');
    for (char& c : token) c = static_cast<char>(QRandomGenerator::global()->bounded(256));
    send(kCmdAuth, kAuthToken, 0, token);
}

void Transport::handleAuth(const Packet& packet) {
    // No key is ever accepted: a signature earns a fresh token (the host then
    // tries its next key), a public key waits for a user who never answers.
    if (packet.arg0 == kAuthSignature) sendToken();
}

void Transport::handleOpen(const Packet& packet) {
    const uint32_t remoteId = packet.arg0;
    QByteArray service = packet.payload;
    if (service.endsWith('\0')) service.chop(1);
    if (device_.options().traceServices) {
        note(QStringLiteral("%1 open %2").arg(QDateTime::currentMSecsSinceEpoch()).arg(QString::fromUtf8(service)));
    }
    const uint32_t localId = nextLocalId_++;
    auto* stream = new Stream(localId, remoteId, device_.options().legacy);
    streams_[localId] = stream;
    send(kCmdOkay, localId, remoteId);
    // Queued so that a service that answers at once is sent after our OKAY;
    // the stream as context drops the call if the stream is gone by then.
    connect(stream, &Stream::outputReady, stream, [this, stream] { pump(stream); }, Qt::QueuedConnection);
    if (!startService(service, stream, device_)) {
        streams_.erase(localId);
        delete stream;
        send(kCmdClse, 0, remoteId);
    }
}

Stream* Transport::findStream(uint32_t localId, uint32_t remoteId) const {
    const auto it = streams_.find(localId);
    if (it == streams_.end() || !it->second || it->second->remoteId() != remoteId) return nullptr;
    return it->second.data();
}

void Transport::handleOkay(const Packet& packet) {
    if (Stream* stream = findStream(packet.arg1, packet.arg0)) stream->acknowledged();
}

void Transport::handleWrite(const Packet& packet) {
    // Nothing reads a command's input, but the host must be told it arrived.
    if (findStream(packet.arg1, packet.arg0)) send(kCmdOkay, packet.arg1, packet.arg0);
}

void Transport::handleClose(const Packet& packet) {
    if (findStream(packet.arg1, packet.arg0)) removeStream(packet.arg1);
}

void Transport::removeStream(uint32_t localId) {
    const auto it = streams_.find(localId);
    if (it == streams_.end()) return;
    Stream* stream = it->second.data();
    streams_.erase(it);
    if (stream) stream->deleteLater();
}

void Transport::pump(Stream* stream) {
    if (!findStream(stream->localId(), stream->remoteId()) || stream->awaitingAck()) return;
    if (stream->pendingBytes() > 0) {
        stream->setAwaitingAck(true);
        send(kCmdWrte, stream->localId(), stream->remoteId(), stream->takeChunk(maxPayload_));
    } else if (stream->finishing()) {
        send(kCmdClse, stream->localId(), stream->remoteId());
        removeStream(stream->localId());
    }
}

void Transport::send(uint32_t command, uint32_t arg0, uint32_t arg1, const QByteArray& payload) {
    if (socket_->state() != QAbstractSocket::ConnectedState) return;
    socket_->write(encode({command, arg0, arg1, payload}));
}

}  // namespace vf::sim
