#pragma once
// Framing of the device transport: every message is a 24-byte little-endian
// header (command, arg0, arg1, payload length, payload checksum, magic) and
// then the payload. Pure functions, so the framing can be tested without
// sockets.

#include <QByteArray>
#include <cstdint>
#include <optional>

namespace vf::sim {

inline constexpr uint32_t kCmdSync = 0x434e5953;  // "SYNC"
inline constexpr uint32_t kCmdCnxn = 0x4e584e43;  // "CNXN"
inline constexpr uint32_t kCmdAuth = 0x48545541;  // "AUTH"
inline constexpr uint32_t kCmdOpen = 0x4e45504f;  // "OPEN"
inline constexpr uint32_t kCmdOkay = 0x59414b4f;  // "OKAY"
inline constexpr uint32_t kCmdClse = 0x45534c43;  // "CLSE"
inline constexpr uint32_t kCmdWrte = 0x45545257;  // "WRTE"

// Version 1.0.0 checks payload checksums; 1.0.1 lets both sides skip them.
inline constexpr uint32_t kVersionChecksummed = 0x01000000;
inline constexpr uint32_t kVersionSkipChecksum = 0x01000001;
inline constexpr uint32_t kOwnMaxPayload = 256 * 1024;
// Hosts older than the 1.0.1 protocol cannot take more than this.
inline constexpr uint32_t kLegacyMaxPayload = 4096;

// AUTH message kinds (arg0).
inline constexpr uint32_t kAuthToken = 1;
inline constexpr uint32_t kAuthSignature = 2;
inline constexpr uint32_t kAuthPublicKey = 3;

inline constexpr int kHeaderSize = 24;
// No sane host sends more than this; anything larger means a broken stream.
inline constexpr uint32_t kMaxAcceptedPayload = 16 * 1024 * 1024;

struct Packet {
    uint32_t command = 0;
    uint32_t arg0 = 0;
    uint32_t arg1 = 0;
    QByteArray payload;
};

// Sum of the payload bytes, as unsigned values.
uint32_t checksum(const QByteArray& payload);

// Header plus payload. The checksum is always filled in: a host that skips
// checksums ignores it, an old one needs it.
QByteArray encode(const Packet& packet);

// Four printable letters of a command, for diagnostics ("OPEN").
QByteArray commandName(uint32_t command);

// Splits a byte stream into packets. Feed it whatever the socket delivered.
class PacketDecoder final {
public:
    enum class Status { NeedMore, Ready, Broken };

    // When `verifyChecksum` is set a payload whose sum does not match breaks
    // the stream (the old protocol's rule).
    explicit PacketDecoder(bool verifyChecksum = false) : verifyChecksum_(verifyChecksum) {}
    void setVerifyChecksum(bool on) { verifyChecksum_ = on; }

    void feed(const QByteArray& bytes) { buffer_.append(bytes); }

    // Ready: `out` holds the next packet. Broken: the header's magic or the
    // checksum is wrong; the connection should be dropped.
    Status next(Packet& out);

    // Why the stream broke, for the diagnostics line.
    const QByteArray& error() const { return error_; }

private:
    QByteArray buffer_;
    QByteArray error_;
    bool verifyChecksum_;
};

}  // namespace vf::sim
