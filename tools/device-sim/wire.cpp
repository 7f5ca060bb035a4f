#include "wire.h"

#include <QtEndian>

namespace vf::sim {

namespace {

uint32_t readU32(const QByteArray& bytes, int offset) {
    return qFromLittleEndian<uint32_t>(bytes.constData() + offset);
}

void appendU32(QByteArray& out, uint32_t value) {
    char le[4];
    qToLittleEndian<uint32_t>(value, le);
    out.append(le, 4);
}

}  // namespace

uint32_t checksum(const QByteArray& payload) {
    uint32_t sum = 0;
    for (char c : payload) sum += static_cast<unsigned char>(c);
    return sum;
}

QByteArray encode(const Packet& packet) {
    QByteArray out;
    out.reserve(kHeaderSize + packet.payload.size());
    appendU32(out, packet.command);
    appendU32(out, packet.arg0);
    appendU32(out, packet.arg1);
    appendU32(out, static_cast<uint32_t>(packet.payload.size()));
    appendU32(out, checksum(packet.payload));
    appendU32(out, packet.command ^ 0xffffffffu);
    out.append(packet.payload);
    return out;
}

QByteArray commandName(uint32_t command) {
    QByteArray name(4, '?');
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>((command >> (8 * i)) & 0xff);
        if (c >= 0x20 && c < 0x7f) name[i] = c;
    }
    return name;
}

PacketDecoder::Status PacketDecoder::next(Packet& out) {
    if (!error_.isEmpty()) return Status::Broken;
    if (buffer_.size() < kHeaderSize) return Status::NeedMore;
    const uint32_t command = readU32(buffer_, 0);
    const uint32_t length = readU32(buffer_, 12);
    const uint32_t sum = readU32(buffer_, 16);
    const uint32_t magic = readU32(buffer_, 20);
    if (magic != (command ^ 0xffffffffu)) {
        error_ = "bad magic for command " + commandName(command);
        return Status::Broken;
    }
    if (length > kMaxAcceptedPayload) {
        error_ = "payload too large: " + QByteArray::number(length);
        return Status::Broken;
    }
    if (static_cast<uint32_t>(buffer_.size()) < kHeaderSize + length) return Status::NeedMore;
    QByteArray payload = buffer_.mid(kHeaderSize, static_cast<qsizetype>(length));
    if (verifyChecksum_ && checksum(payload) != sum) {
        error_ = "bad checksum for command " + commandName(command);
        return Status::Broken;
    }
    out.command = command;
    out.arg0 = readU32(buffer_, 4);
    out.arg1 = readU32(buffer_, 8);
    out.payload = std::move(payload);
    buffer_.remove(0, kHeaderSize + static_cast<qsizetype>(length));
    return Status::Ready;
}

}  // namespace vf::sim
