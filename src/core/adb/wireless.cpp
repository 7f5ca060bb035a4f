#include "core/adb/wireless.h"

#include <QRandomGenerator>
#include <QRegularExpression>

#include "core/adb/replyframing.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace {

// Letters, digits and the punctuation of host names and IPv6 addresses.
bool isHostText(const QString& host) {
    static const QRegularExpression shape(u"^[A-Za-z0-9._%:-]+$"_s);
    return shape.match(host).hasMatch();
}

std::optional<quint16> parsePort(const QString& text) {
    bool ok = false;
    const uint port = text.toUInt(&ok, 10);
    if (!ok || port == 0 || port > 65535 || text.startsWith(u'+')) return std::nullopt;
    return quint16(port);
}

QString textOf(const QByteArray& reply) { return QString::fromUtf8(reply).trimmed(); }

}  // namespace

QString DeviceAddress::text() const {
    const QString shown = host.contains(u':') ? u'[' + host + u']' : host;
    return shown + u':' + QString::number(port);
}

AddressParse parseDeviceAddress(const QString& text, bool portRequired) {
    const QString typed = text.trimmed();
    const auto refuse = [&](const QString& why) { return AddressParse{std::nullopt, why}; };
    if (typed.isEmpty()) return refuse(u"Enter the device's address, such as 192.168.1.20:5555."_s);
    QString host = typed;
    std::optional<QString> portText;
    if (typed.startsWith(u'[')) {
        const qsizetype close = typed.indexOf(u']');
        if (close < 0) return refuse(u"\u201c%1\u201d lacks the closing bracket of its address."_s.arg(typed));
        host = typed.mid(1, close - 1);
        const QString rest = typed.mid(close + 1);
        if (!rest.isEmpty()) {
            if (!rest.startsWith(u':')) return refuse(u"\u201c%1\u201d is not HOST:PORT."_s.arg(typed));
            portText = rest.mid(1);
        }
    } else if (typed.count(u':') == 1) {
        const qsizetype colon = typed.indexOf(u':');
        host = typed.left(colon);
        portText = typed.mid(colon + 1);
    }
    if (host.isEmpty() || !isHostText(host))
        return refuse(u"\u201c%1\u201d is not a host name or an address."_s.arg(host.isEmpty() ? typed : host));
    DeviceAddress address{host, kDefaultDevicePort};
    if (portText) {
        const auto port = parsePort(*portText);
        if (!port) return refuse(u"\u201c%1\u201d is not a port (1 to 65535)."_s.arg(*portText));
        address.port = *port;
    } else if (portRequired) {
        return refuse(u"Give the port too (HOST:PORT): the device shows it beside the pairing code."_s);
    }
    return {address, {}};
}

bool isNetworkSerial(const QString& serial) {
    if (serial.contains(u"._adb-tls-connect._tcp"_s) || serial.contains(u"._adb._tcp"_s)) return true;
    // Emulators are "emulator-5554"; USB serials have no colon.
    const qsizetype colon = serial.lastIndexOf(u':');
    return colon > 0 && parsePort(serial.mid(colon + 1)).has_value();
}

QString connectRequest(const DeviceAddress& address) { return u"host:connect:"_s + address.text(); }

QString disconnectRequest(const QString& serial) { return u"host:disconnect:"_s + serial; }

QString pairRequest(const QString& password, const DeviceAddress& address) {
    return u"host:pair:"_s + password + u':' + address.text();
}

bool isPairingCode(const QString& text) {
    static const QRegularExpression sixDigits(u"^[0-9]{6}$"_s);
    return sixDigits.match(text).hasMatch();
}

WirelessAnswer readConnectReply(const QByteArray& reply) {
    const QString text = textOf(reply);
    // The server's words come first, its reason (after ": ") last.
    const auto reason = [&text] {
        const qsizetype colon = text.lastIndexOf(u": "_s);
        return colon < 0 ? QString() : text.mid(colon + 2);
    };
    if (text.startsWith(u"connected to "_s)) return {true, u"Connected to %1."_s.arg(text.mid(13)), {}};
    if (text.startsWith(u"already connected to "_s))
        return {true, u"%1 is already connected."_s.arg(text.mid(21)), {}};
    if (text.startsWith(u"failed to authenticate to "_s))
        return {false,
                u"%1 did not let this computer in: allow debugging on the device when it asks, or pair it first "
                "(Device \u25b8 Pair\u2026)."_s.arg(text.mid(26)),
                {}};
    static const QRegularExpression unresolved(u"^failed to resolve host: '(.*)': (.*)$"_s);
    if (const auto m = unresolved.match(text); m.hasMatch())
        return {false, u"Could not find the host %1: %2."_s.arg(m.captured(1), m.captured(2)), {}};
    if (text.startsWith(u"failed to connect to "_s) || text.startsWith(u"cannot connect to "_s)) {
        const QString why = reason();
        QString message = u"Could not connect: %1."_s.arg(why.isEmpty() ? text : why);
        if (why.contains(u"refused"_s, Qt::CaseInsensitive))
            message += u" Is Wireless debugging on, and is the port the one the device shows?"_s;
        return {false, message, {}};
    }
    return {false, text.isEmpty() ? u"The ADB server gave no answer."_s : text, {}};
}

WirelessAnswer readDisconnectReply(const QByteArray& reply, const std::optional<QString>& failure) {
    if (failure) {
        static const QRegularExpression noSuch(u"^no such device '(.*)'$"_s);
        if (const auto m = noSuch.match(*failure); m.hasMatch())
            return {false, u"%1 is not connected."_s.arg(m.captured(1)), {}};
        return {false, *failure, {}};
    }
    const QString text = textOf(reply);
    if (text == u"disconnected everything"_s) return {true, u"Disconnected every network device."_s, {}};
    if (text.startsWith(u"disconnected "_s)) return {true, u"Disconnected %1."_s.arg(text.mid(13)), {}};
    return {false, text, {}};
}

WirelessAnswer readPairReply(const QByteArray& reply) {
    const QString text = textOf(reply);
    static const QRegularExpression paired(u"^Successfully paired to (\\S+)(?: \\[guid=([^\\]]*)\\])?"_s);
    if (const auto m = paired.match(text); m.hasMatch())
        return {true, u"Paired with %1."_s.arg(m.captured(1)), m.captured(2)};
    QString why = text.startsWith(u"Failed: "_s) ? text.mid(8) : text;
    if (why.contains(u"Wrong password"_s, Qt::CaseInsensitive))
        why = u"wrong pairing code, or the device closed its pairing dialog"_s;
    if (why.endsWith(u'.')) why.chop(1);
    return {false, u"Pairing failed: %1."_s.arg(why.isEmpty() ? u"the server gave no reason"_s : why), {}};
}

QString hostQueryFailure(const AdbResult& result, const AdbEndpoint& endpoint) {
    if (result.outcome == AdbOutcome::AdbNotRunning)
        return u"No ADB server answers at %1: start it (adb start-server) and try again."_s.arg(endpoint.display());
    if (result.error && !result.error->description.isEmpty()) return result.error->description;
    return QString::fromLatin1(kUnexpectedReplyText);
}

WirelessAnswer readWirelessAnswer(WirelessRequest request, const QByteArray& reply, const AdbResult& result,
                                  const AdbEndpoint& endpoint) {
    if (result.outcome == AdbOutcome::Done) {
        if (request == WirelessRequest::Connect) return readConnectReply(reply);
        return request == WirelessRequest::Pair ? readPairReply(reply) : readDisconnectReply(reply);
    }
    const QString failure = hostQueryFailure(result, endpoint);
    if (result.outcome == AdbOutcome::Refused) {
        if (request == WirelessRequest::Pair && isUnknownHostService(failure))
            return {false, serverTooOldText(std::nullopt), {}};
        if (request == WirelessRequest::Disconnect) return readDisconnectReply({}, failure);
    }
    return {false, failure, {}};
}

std::optional<int> parseServerVersion(const QByteArray& reply) {
    if (reply.size() != 4) return std::nullopt;
    bool ok = false;
    const int version = reply.toInt(&ok, 16);
    return ok ? std::optional<int>(version) : std::nullopt;
}

// host:version answers 41 (0x29) from platform-tools 29.0 (Debian's adb
// 29.0.6 among them) through today's releases, while host:pair and the
// host:mdns:* requests came with platform-tools 30.0.0 (Android 11's
// Wireless debugging). So below 41 a server cannot pair, above it can, and
// at 41 only a request of its own tells: an older server answers
// host:mdns:check with "FAIL" and "unknown host service".
PairingSupport pairingSupport(std::optional<int> serverVersion) {
    if (!serverVersion || *serverVersion == 41) return PairingSupport::Probe;
    return *serverVersion > 41 ? PairingSupport::Supported : PairingSupport::TooOld;
}

bool isUnknownHostService(const QString& failure) {
    return failure.contains(u"unknown host service"_s, Qt::CaseInsensitive);
}

QString serverTooOldText(std::optional<int> serverVersion) {
    const QString which =
        serverVersion ? u"The running ADB server (version %1)"_s.arg(*serverVersion) : u"The running ADB server"_s;
    return which +
           u" cannot pair devices or find them on the network: that needs adb from platform-tools 30 or later, "
           "and Debian's adb is 29.\n\nInstall the SDK Platform-Tools from the Android SDK, then either put their "
           "folder first on PATH or choose their adb in Preferences, and stop the old server (adb kill-server) so "
           "that the new one starts.\n\nConnecting by address (Device \u25b8 Connect\u2026) works with this server."_s;
}

QList<MdnsService> parseMdnsServices(const QByteArray& listing) {
    QList<MdnsService> services;
    for (const QByteArray& raw : listing.split('\n')) {
        const QStringList fields = QString::fromUtf8(raw).trimmed().split(u'\t', Qt::SkipEmptyParts);
        if (fields.size() != 3) continue;
        QString type = fields.at(1).trimmed();
        if (type.endsWith(u'.')) type.chop(1);
        if (!type.startsWith(u'_')) continue;
        const AddressParse address = parseDeviceAddress(fields.at(2), true);
        if (!address.address) continue;
        services.append(MdnsService{fields.at(0).trimmed(), type, *address.address});
    }
    return services;
}

std::optional<MdnsService> findService(const QList<MdnsService>& services, const QString& name, const char* type) {
    for (const MdnsService& service : services)
        if (service.name == name && service.type == QLatin1StringView(type)) return service;
    return std::nullopt;
}

QList<PairedDevice> movedDevices(const QList<PairedDevice>& paired, const QList<MdnsService>& services) {
    QList<PairedDevice> moved;
    for (const PairedDevice& device : paired) {
        const auto service = findService(services, device.serviceName, kConnectServiceType);
        if (service && service->address.text() != device.lastAddress)
            moved.append(PairedDevice{device.serviceName, service->address.text()});
    }
    return moved;
}

QString PairingInvitation::qrText() const {
    // The Wi-Fi QR format escapes its separators with a backslash.
    const auto escaped = [](QString value) {
        for (const QChar special : {u'\\', u';', u',', u':', u'"'})
            value.replace(special, u"\\"_s + special);
        return value;
    };
    return u"WIFI:T:ADB;S:"_s + escaped(name) + u";P:"_s + escaped(password) + u";;"_s;
}

PairingInvitation makePairingInvitation(QRandomGenerator& random) {
    static constexpr char kAlphabet[] = "abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    const auto draw = [&random](int count) {
        QString text;
        for (int i = 0; i < count; ++i) text += QLatin1Char(kAlphabet[random.bounded(int(sizeof kAlphabet) - 1)]);
        return text;
    };
    return {u"vellumfox-"_s + draw(8), draw(12)};
}

}  // namespace vf
