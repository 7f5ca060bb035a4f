#pragma once
// One open service on a connection: its ids on both ends and the output
// waiting to go to the host. The connection (Transport) sends the output one
// WRTE at a time and waits for the host's OKAY before the next.

#include <QByteArray>
#include <QObject>
#include <cstdint>

namespace vf::sim {

class Stream final : public QObject {
    Q_OBJECT
public:
    Stream(uint32_t localId, uint32_t remoteId, bool terminalNewlines, QObject* parent = nullptr);

    uint32_t localId() const { return localId_; }
    uint32_t remoteId() const { return remoteId_; }

    // Service side: queue output; end the service once it is all delivered.
    void write(const QByteArray& bytes);
    void finish();
    qsizetype pendingBytes() const { return pending_.size(); }

    // Transport side.
    QByteArray takeChunk(qsizetype maxBytes);
    bool finishing() const { return finishing_; }
    bool awaitingAck() const { return awaitingAck_; }
    void setAwaitingAck(bool on) { awaitingAck_ = on; }
    // The host acknowledged the last WRTE.
    void acknowledged();

Q_SIGNALS:
    void outputReady();
    // Everything written so far has reached the host; a producer may write more.
    void drained();

private:
    uint32_t localId_;
    uint32_t remoteId_;
    bool terminalNewlines_;
    QByteArray pending_;
    bool finishing_ = false;
    bool awaitingAck_ = false;
};

class Device;

// Starts the service named in an OPEN ("shell:ps") on `stream`. Returns false
// for a service this device does not offer; the OPEN is then refused.
bool startService(const QByteArray& name, Stream* stream, Device& device);

}  // namespace vf::sim
