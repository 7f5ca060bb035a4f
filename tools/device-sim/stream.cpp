#include "stream.h"

#include "shellline.h"

namespace vf::sim {

Stream::Stream(uint32_t localId, uint32_t remoteId, bool terminalNewlines, QObject* parent)
    : QObject(parent), localId_(localId), remoteId_(remoteId), terminalNewlines_(terminalNewlines) {}

void Stream::write(const QByteArray& bytes) {
    if (bytes.isEmpty() || finishing_) return;
    pending_ += terminalNewlines_ ? toTerminalNewlines(bytes) : bytes;
    Q_EMIT outputReady();
}

void Stream::finish() {
    if (finishing_) return;
    finishing_ = true;
    Q_EMIT outputReady();
}

QByteArray Stream::takeChunk(qsizetype maxBytes) {
    QByteArray chunk = pending_.left(maxBytes);
    pending_.remove(0, chunk.size());
    return chunk;
}

void Stream::acknowledged() {
    awaitingAck_ = false;
    if (pending_.isEmpty() && !finishing_) Q_EMIT drained();
    Q_EMIT outputReady();
}

}  // namespace vf::sim
