#pragma once
// One connection from the ADB server: the connect handshake (or the refusal
// to authorize), then services opened by the host, each on its own stream
// with one WRTE in flight at a time.

#include <QObject>
#include <QPointer>
#include <QTcpSocket>
#include <map>

#include "stream.h"
#include "wire.h"

namespace vf::sim {

class Device;

class Transport final : public QObject {
    Q_OBJECT
public:
    // Takes ownership of `socket`.
    Transport(QTcpSocket* socket, Device& device, QObject* parent = nullptr);
    ~Transport() override;

    // Unplugs: the connection drops without a word to the host.
    void drop();

Q_SIGNALS:
    void closed(vf::sim::Transport* transport);

private:
    void onReadyRead();
    void handle(const Packet& packet);
    void handleConnect(const Packet& packet);
    void handleAuth(const Packet& packet);
    void handleOpen(const Packet& packet);
    void handleOkay(const Packet& packet);
    void handleWrite(const Packet& packet);
    void handleClose(const Packet& packet);
    void sendToken();
    void send(uint32_t command, uint32_t arg0, uint32_t arg1, const QByteArray& payload = {});
    void pump(Stream* stream);
    void removeStream(uint32_t localId);
    Stream* findStream(uint32_t localId, uint32_t remoteId) const;

    QTcpSocket* socket_;
    Device& device_;
    PacketDecoder decoder_;
    bool online_ = false;
    uint32_t maxPayload_ = kLegacyMaxPayload;
    uint32_t nextLocalId_ = 1;
    std::map<uint32_t, QPointer<Stream>> streams_;
};

}  // namespace vf::sim
