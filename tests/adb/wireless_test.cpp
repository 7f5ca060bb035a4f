// Devices on the network: addresses as typed, the server's answers to
// connect, disconnect and pair, which server can pair, its listing of the
// devices it sees, and the QR code's text.
#include <gtest/gtest.h>

#include <QRandomGenerator>

#include "core/adb/wireless.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

TEST(Wireless, ReadsAddressesAsTypedAndRefusesTheRest) {
    const struct {
        const char* typed;
        bool portRequired;
        const char* address;  // nullptr: refused
    } cases[] = {
        {"192.168.1.20", false, "192.168.1.20:5555"},
        {" 192.168.1.20:37199 ", false, "192.168.1.20:37199"},
        {"pixel.local:5555", false, "pixel.local:5555"},
        {"[fe80::1%wlan0]:40000", false, "[fe80::1%wlan0]:40000"},
        {"fe80::1", false, "[fe80::1]:5555"},  // several colons: all host
        {"192.168.1.20", true, nullptr},       // pairing ports are never the default
        {"", false, nullptr},
        {"192.168.1.20:", false, nullptr},
        {"192.168.1.20:0", false, nullptr},
        {"192.168.1.20:65536", false, nullptr},
        {"192.168.1.20:+80", false, nullptr},
        {":5555", false, nullptr},
        {"my phone:5555", false, nullptr},
        {"host;reboot:5555", false, nullptr},
        {"[fe80::1:5555", false, nullptr},
    };
    for (const auto& c : cases) {
        const AddressParse parsed = parseDeviceAddress(QString::fromUtf8(c.typed), c.portRequired);
        if (c.address == nullptr) {
            EXPECT_FALSE(parsed.address) << c.typed;
            EXPECT_FALSE(parsed.error.isEmpty()) << c.typed;
        } else {
            ASSERT_TRUE(parsed.address) << c.typed << ": " << parsed.error.toStdString();
            EXPECT_EQ(parsed.address->text(), QLatin1StringView(c.address));
        }
    }
    const DeviceAddress address{u"10.0.0.5"_s, 41235};
    EXPECT_EQ(connectRequest(address), u"host:connect:10.0.0.5:41235"_s);
    EXPECT_EQ(pairRequest(u"482913"_s, address), u"host:pair:482913:10.0.0.5:41235"_s);
    for (const char* code : {"12345", "1234567", "12a456", ""}) EXPECT_FALSE(isPairingCode(QString::fromUtf8(code)));
    EXPECT_TRUE(isPairingCode(u"012345"_s));
    for (const char* serial : {"10.0.0.5:5555", "adb-R58N-abc._adb-tls-connect._tcp", "[::1]:5555"})
        EXPECT_TRUE(isNetworkSerial(QString::fromUtf8(serial))) << serial;
    for (const char* serial : {"emulator-5554", "R58N12345", "usb:1-1"})
        EXPECT_FALSE(isNetworkSerial(QString::fromUtf8(serial))) << serial;
}

// The texts as the server sends them (the failed ones as Debian's adb 29 and
// the platform-tools of Android 11 and later word them).
TEST(Wireless, WordsTheServersAnswers) {
    enum Kind { Connect, Disconnect, Pair };
    const struct {
        Kind kind;
        const char* reply;
        bool ok;
        const char* message;
        const char* serviceName = "";
    } cases[] = {
        {Connect, "connected to 10.0.0.5:5555", true, "Connected to 10.0.0.5:5555."},
        {Connect, "already connected to 10.0.0.5:5555", true, "10.0.0.5:5555 is already connected."},
        {Connect, "failed to connect to '10.0.0.5:1': Connection refused", false,
         "Could not connect: Connection refused. Is Wireless debugging on, and is the port the one the device shows?"},
        {Connect, "cannot connect to 10.0.0.9:5555: No route to host", false, "Could not connect: No route to host."},
        {Connect, "failed to connect to 10.0.0.5:5555", false, "Could not connect: failed to connect to 10.0.0.5:5555."},
        {Connect, "failed to resolve host: 'nowhere.invalid': Name or service not known", false,
         "Could not find the host nowhere.invalid: Name or service not known."},
        {Connect, "failed to authenticate to 10.0.0.5:5555", false,
         "10.0.0.5:5555 did not let this computer in: allow debugging on the device when it asks, or pair it first "
         "(Device \u25b8 Pair\u2026)."},
        {Connect, "", false, "The ADB server gave no answer."},
        {Disconnect, "disconnected 10.0.0.5:5555", true, "Disconnected 10.0.0.5:5555."},
        {Disconnect, "disconnected everything", true, "Disconnected every network device."},
        {Pair, "Successfully paired to 10.0.0.5:37099 [guid=adb-R58N12345-vWx3Yz]", true, "Paired with 10.0.0.5:37099.",
         "adb-R58N12345-vWx3Yz"},
        {Pair, "Successfully paired to 10.0.0.5:37099", true, "Paired with 10.0.0.5:37099."},
        {Pair, "Failed: Wrong password or connection was dropped.", false,
         "Pairing failed: wrong pairing code, or the device closed its pairing dialog."},
        {Pair, "Failed: Unable to start pairing client.", false, "Pairing failed: Unable to start pairing client."},
    };
    for (const auto& c : cases) {
        const QByteArray reply(c.reply);
        const WirelessAnswer answer = c.kind == Connect ? readConnectReply(reply)
                                      : c.kind == Pair  ? readPairReply(reply)
                                                        : readDisconnectReply(reply);
        EXPECT_EQ(answer.ok, c.ok) << c.reply;
        EXPECT_EQ(answer.message, QString::fromUtf8(c.message)) << c.reply;
        EXPECT_EQ(answer.serviceName, QString::fromUtf8(c.serviceName)) << c.reply;
    }
    const WirelessAnswer notConnected = readDisconnectReply({}, u"no such device '10.0.0.5:5555'"_s);
    EXPECT_FALSE(notConnected.ok);
    EXPECT_EQ(notConnected.message, u"10.0.0.5:5555 is not connected."_s);
}

TEST(Wireless, TellsWhichServerCanPair) {
    EXPECT_EQ(parseServerVersion("0029"), 41);  // Debian's adb 29.0.6
    EXPECT_EQ(parseServerVersion("001f"), 31);
    EXPECT_EQ(parseServerVersion("29"), std::nullopt);
    EXPECT_EQ(parseServerVersion("00zz"), std::nullopt);
    EXPECT_EQ(pairingSupport(40), PairingSupport::TooOld);
    EXPECT_EQ(pairingSupport(41), PairingSupport::Probe);
    EXPECT_EQ(pairingSupport(std::nullopt), PairingSupport::Probe);
    EXPECT_EQ(pairingSupport(42), PairingSupport::Supported);
    EXPECT_TRUE(isUnknownHostService(u"unknown host service"_s));
    EXPECT_FALSE(isUnknownHostService(u"device offline"_s));
    EXPECT_TRUE(serverTooOldText(41).contains(u"version 41"_s));
}

TEST(Wireless, ReadsTheDevicesTheServerSeesAndWhichOnesMoved) {
    const QByteArray listing =
        "List of discovered mdns services\n"
        "adb-R58N12345-vWx3Yz\t_adb-tls-connect._tcp.\t192.168.1.20:41235\n"
        "vellumfox-Ab3dEf7h\t_adb-tls-pairing._tcp\t192.168.1.20:37099\r\n"
        "adb-OLD\t_adb._tcp\t192.168.1.30:5555\n"
        "broken\t_adb-tls-connect._tcp\t192.168.1.20\n"
        "\n";
    const QList<MdnsService> services = parseMdnsServices(listing);
    const QList<MdnsService> expected{
        {u"adb-R58N12345-vWx3Yz"_s, u"_adb-tls-connect._tcp"_s, {u"192.168.1.20"_s, 41235}},
        {u"vellumfox-Ab3dEf7h"_s, u"_adb-tls-pairing._tcp"_s, {u"192.168.1.20"_s, 37099}},
        {u"adb-OLD"_s, u"_adb._tcp"_s, {u"192.168.1.30"_s, 5555}},
    };
    EXPECT_EQ(services, expected);
    EXPECT_EQ(findService(services, u"vellumfox-Ab3dEf7h"_s, kPairingServiceType), expected.at(1));
    EXPECT_EQ(findService(services, u"vellumfox-Ab3dEf7h"_s, kConnectServiceType), std::nullopt);

    const QList<PairedDevice> paired{
        {u"adb-R58N12345-vWx3Yz"_s, u"192.168.1.20:40001"_s},  // a new port: connect there
        {u"adb-R58N12345-vWx3Yz-2"_s, {}},                      // not on the network now
    };
    EXPECT_EQ(movedDevices(paired, services),
              (QList<PairedDevice>{{u"adb-R58N12345-vWx3Yz"_s, u"192.168.1.20:41235"_s}}));
    EXPECT_TRUE(movedDevices({{u"adb-R58N12345-vWx3Yz"_s, u"192.168.1.20:41235"_s}}, services).isEmpty());
}

TEST(Wireless, InvitesWithAQrTextOfFreshNameAndPassword) {
    EXPECT_EQ((PairingInvitation{u"vellumfox-ab"_s, u"p;a:ss"_s}.qrText()), u"WIFI:T:ADB;S:vellumfox-ab;P:p\\;a\\:ss;;"_s);
    QRandomGenerator random(7);
    const PairingInvitation one = makePairingInvitation(random);
    const PairingInvitation two = makePairingInvitation(random);
    EXPECT_TRUE(one.name.startsWith(u"vellumfox-"_s));
    EXPECT_EQ(one.password.size(), 12);
    EXPECT_NE(one.name, two.name);
    EXPECT_NE(one.password, two.password);
    EXPECT_EQ(one.qrText(), u"WIFI:T:ADB;S:"_s + one.name + u";P:"_s + one.password + u";;"_s);
}

}  // namespace
}  // namespace vf
