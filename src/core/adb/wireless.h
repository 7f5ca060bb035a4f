#pragma once
// Devices on the network: the requests that connect, disconnect and pair
// them through the ADB server, what the server's answers mean, which server
// can pair at all, the devices it sees on the network (mDNS), and the QR
// code a device scans to pair.
//
// Pure functions of their arguments; any thread.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>
#include <optional>

#include "core/adb/adbsocket.h"
#include "core/adb/endpoint.h"

class QRandomGenerator;

namespace vf {

// How long connect and pair requests may take: the server answers only once
// it has reached the device (a TCP time-out on an unreachable address, a
// pairing the device checks first).
inline constexpr double kWirelessReplyTimeoutSeconds = 30.0;

// The port a device listens on after "adb tcpip" when none is given.
inline constexpr quint16 kDefaultDevicePort = 5555;

struct DeviceAddress {
    QString host;  // a name or an address; IPv6 without brackets
    quint16 port = kDefaultDevicePort;
    // "host:port" ("[v6]:port"), as the server names the device.
    QString text() const;
    friend bool operator==(const DeviceAddress&, const DeviceAddress&) = default;
};

// "HOST", "HOST:PORT", "[IPV6]:PORT" as typed (blanks around it ignored).
// Without a port the default port, unless `portRequired` (pairing ports are
// random). Refused with a message: empty, blanks or other characters no
// host name has, a port that is not 1..65535.
struct AddressParse {
    std::optional<DeviceAddress> address;
    QString error;
};
AddressParse parseDeviceAddress(const QString& text, bool portRequired = false);

// Whether a serial of the device list is a device on the network: an
// address with a port, or a device found through mDNS
// ("adb-SERIAL-xyz._adb-tls-connect._tcp").
bool isNetworkSerial(const QString& serial);

QString connectRequest(const DeviceAddress& address);
// `serial` as the device list names it ("10.0.0.5:5555"); empty: every
// network device.
QString disconnectRequest(const QString& serial);
// The six digits the device shows, or the password of a QR code.
QString pairRequest(const QString& password, const DeviceAddress& address);
// Six digits, as the device's pairing dialog shows them.
bool isPairingCode(const QString& text);

// What the server's answer to a connect, disconnect or pair request means,
// in words for the user.
struct WirelessAnswer {
    bool ok = false;
    QString message;
    // A pairing that succeeded: the device's service name on the network
    // ("adb-SERIAL-xyz"), by which it is found and connected later.
    QString serviceName;
};
// The text after "OKAY" of host:connect ("connected to X", "already
// connected to X", "failed to connect to ...", "failed to authenticate to
// X", "cannot connect to ...", "failed to resolve host: ...").
WirelessAnswer readConnectReply(const QByteArray& reply);
// The text after "OKAY" of host:disconnect ("disconnected X"); a "FAIL"
// ("no such device 'X'") is given as `failure`.
WirelessAnswer readDisconnectReply(const QByteArray& reply, const std::optional<QString>& failure = std::nullopt);
// The text after "OKAY" of host:pair ("Successfully paired to X
// [guid=NAME]", "Failed: ...").
WirelessAnswer readPairReply(const QByteArray& reply);

// A request that did not run its course, in words: no server at
// `endpoint`, the server's own "FAIL" message, or a broken reply.
QString hostQueryFailure(const AdbResult& result, const AdbEndpoint& endpoint);

// The answer to a connect, disconnect or pair request however it ended: the
// reply's words when it ran its course, else the failure's (a server without
// pairing is told to be too old, see serverTooOldText).
enum class WirelessRequest { Connect, Disconnect, Pair };
WirelessAnswer readWirelessAnswer(WirelessRequest request, const QByteArray& reply, const AdbResult& result,
                                  const AdbEndpoint& endpoint);

// The version in the server's answer to host:version (four hex digits).
std::optional<int> parseServerVersion(const QByteArray& reply);

// What a server offers beyond connecting by address.
enum class PairingSupport {
    Supported,  // it pairs and lists the devices on the network
    Probe,      // its version does not tell: ask host:mdns:check
    TooOld,     // it has no pairing: a newer adb is needed
};
PairingSupport pairingSupport(std::optional<int> serverVersion);
// Whether the server knows a host request, from the "FAIL" message it gave
// (a server that lacks one answers "unknown host service").
bool isUnknownHostService(const QString& failure);
// The request that tells a server with pairing from one without.
inline constexpr char kPairingProbeRequest[] = "host:mdns:check";
inline constexpr char kMdnsServicesRequest[] = "host:mdns:services";
// Says plainly that this adb cannot pair and what to install instead.
QString serverTooOldText(std::optional<int> serverVersion);

// One device service the server saw on the network.
struct MdnsService {
    QString name;  // the instance: "adb-SERIAL-xyz", or the QR code's name
    QString type;  // "_adb-tls-connect._tcp", "_adb-tls-pairing._tcp", "_adb._tcp"
    DeviceAddress address;
    friend bool operator==(const MdnsService&, const MdnsService&) = default;
};
inline constexpr char kPairingServiceType[] = "_adb-tls-pairing._tcp";
inline constexpr char kConnectServiceType[] = "_adb-tls-connect._tcp";
// The answer to host:mdns:services: "NAME\tTYPE\tADDRESS:PORT" a line (a
// trailing dot of the type dropped); lines of another shape are skipped.
QList<MdnsService> parseMdnsServices(const QByteArray& listing);
// The service `name` of `type`, if listed.
std::optional<MdnsService> findService(const QList<MdnsService>& services, const QString& name, const char* type);

// A paired device as remembered: its service name and the address it was
// last connected at (empty before the first connection).
struct PairedDevice {
    QString serviceName;
    QString lastAddress;
    friend bool operator==(const PairedDevice&, const PairedDevice&) = default;
};
// The paired devices whose connect service is listed at another address
// than the one they were last connected at (a reboot or a toggle of
// Wireless debugging gives a new port): each with its new address.
QList<PairedDevice> movedDevices(const QList<PairedDevice>& paired, const QList<MdnsService>& services);

// What a QR code for pairing carries: the name the device announces its
// pairing service under, and the password it pairs with.
struct PairingInvitation {
    QString name;
    QString password;
    // "WIFI:T:ADB;S:NAME;P:PASSWORD;;", special characters escaped.
    QString qrText() const;
};
// A fresh invitation with a random name and password.
PairingInvitation makePairingInvitation(QRandomGenerator& random);

}  // namespace vf
