#include "cli/wirelesscommand.h"

#include "core/adb/wireless.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

constexpr char kPrefix[] = "vellumfox-cli: ";

constexpr char16_t kConnect[] =
    uR"(usage: vellumfox-cli [-H HOST] [-P PORT] connect HOST[:PORT]

Asks the ADB server to connect to a device on the network at HOST:PORT
(default port 5555, the port of "adb tcpip"). For Wireless debugging
(Android 11 and later) use the address and port the device shows under
Developer options > Wireless debugging, after pairing once ("pair").

Exit status 1 when the server cannot connect (the reason is printed), 2 for
an address that is not HOST[:PORT].
)";

constexpr char16_t kDisconnect[] =
    uR"(usage: vellumfox-cli [-H HOST] [-P PORT] disconnect [HOST[:PORT]]

Asks the ADB server to drop the network device at HOST:PORT (default port
5555), or every network device when no address is given.

Exit status 1 when no such device is connected.
)";

constexpr char16_t kPair[] =
    uR"(usage: vellumfox-cli [-H HOST] [-P PORT] pair HOST:PORT CODE

Pairs with a device for Wireless debugging (Android 11 and later): on the
device, Developer options > Wireless debugging > Pair device with pairing
code shows the address, the port (a different one than for connecting) and
the six-digit CODE. Once paired, "connect" the address the Wireless
debugging screen shows.

Pairing needs adb from platform-tools 30 or later: an older server (Debian's
adb is 29) is reported with what to install. Exit status 1 when pairing
fails, 2 for a malformed address or code.
)";

}  // namespace

QString wirelessHelpText(const QString& topic) {
    if (topic == u"connect"_s) return QString::fromUtf16(kConnect);
    if (topic == u"disconnect"_s) return QString::fromUtf16(kDisconnect);
    if (topic == u"pair"_s) return QString::fromUtf16(kPair);
    return {};
}

WirelessCommand::WirelessCommand(const CliOptions& options, AdbEndpoint endpoint, std::ostream& out,
                                 std::ostream& err)
    : options_(options), endpoint_(std::move(endpoint)), out_(out), err_(err) {}

int WirelessCommand::run() {
    const QStringList& operands = options_.arguments;
    std::optional<DeviceAddress> address;
    if (!operands.isEmpty()) address = parseDeviceAddress(operands.first(), options_.command == Command::Pair).address;
    QString request;
    if (options_.command == Command::Connect && address) request = connectRequest(*address);
    else if (options_.command == Command::Pair && address) request = pairRequest(operands.at(1), *address);
    else request = disconnectRequest(address ? address->text() : QString());
    auto* query = new HostQuery(endpoint_, request, this);
    if (options_.command != Command::Disconnect) query->setReplyTimeout(kWirelessReplyTimeoutSeconds);
    query->setDelegate(this);
    query->start();
    if (!done_) loop_.exec();
    return status_;
}

void WirelessCommand::hostQueryFinished(const QString& /*request*/, const QByteArray& reply, const AdbResult& result) {
    const WirelessRequest kind = options_.command == Command::Connect ? WirelessRequest::Connect
                                 : options_.command == Command::Pair  ? WirelessRequest::Pair
                                                                      : WirelessRequest::Disconnect;
    const WirelessAnswer answer = readWirelessAnswer(kind, reply, result, endpoint_);
    (answer.ok ? out_ : err_) << (answer.ok ? "" : kPrefix) << answer.message.toStdString() << '\n';
    status_ = answer.ok ? kExitOk : kExitFailure;
    done_ = true;
    loop_.quit();
}

}  // namespace vf::cli
