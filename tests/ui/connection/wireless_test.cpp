// Pairing and keeping paired devices connected, against a scripted server
// (Debian's adb cannot pair): which server the pair dialog offers pairing
// on, a QR code's device found on the network and paired with, and a paired
// device followed to its new port.
#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTemporaryDir>

#include "support/fixtures/scriptedadbserver.h"
#include "core/support/preferences.h"
#include "support/fixtures/wait.h"
#include "ui/connection/pairdialog.h"
#include "ui/connection/wirelesswatch.h"

namespace vf::ui {
namespace {

using namespace Qt::StringLiterals;
using vf::test::framed;
using vf::test::Script;
using vf::test::ScriptedAdbServer;
using vf::test::waitUntil;

Script answer(const QByteArray& request, const QByteArray& reply) {
    return Script().expectRequest(request).reply(reply).close();
}
QByteArray okay(const QByteArray& text) { return "OKAY" + framed(text); }

TEST(PairDialog, OffersPairingOnlyWhereTheServerHasIt) {
    const struct {
        QByteArray version;
        QByteArray probeReply;  // empty: the version alone decides
        bool pairs;
    } cases[] = {
        {"0029", okay("mdns daemon version [Openscreen discovery 0.0.0]"), true},
        {"0029", vf::test::failReply("unknown host service"), false},  // Debian's adb 29
        {"0028", {}, false},
        {"002a", {}, true},
    };
    for (const auto& c : cases) {
        ScriptedAdbServer server;
        server.addScript(answer("host:version", okay(c.version)));
        if (!c.probeReply.isEmpty()) server.addScript(answer("host:mdns:check", c.probeReply));
        PairDialog dialog([&] { return server.endpoint(); }, {});
        auto* pages = dialog.findChild<QStackedWidget*>();
        ASSERT_TRUE(waitUntil([&] { return pages->currentIndex() != 0; })) << c.version.constData();
        EXPECT_EQ(pages->currentWidget() == dialog.methods(), c.pairs) << c.version.constData();
        EXPECT_EQ(dialog.serverLabel()->text().contains(u"platform-tools 30 or later"_s), !c.pairs);
        EXPECT_EQ(server.connectionCount(), c.probeReply.isEmpty() ? 1 : 2);
    }
}

TEST(PairDialog, PairsWithTheDeviceThatScannedItsQrCode) {
    ScriptedAdbServer server;
    server.addScript(answer("host:version", okay("002a")));
    QStringList paired;
    PairDialog dialog([&] { return server.endpoint(); }, [&](const QString& name) { paired << name; });
    const PairingInvitation& invitation = dialog.invitation();
    // Before the device has scanned the code, then after.
    server.addScript(answer("host:mdns:services", okay("adb-OTHER\t_adb-tls-connect._tcp\t10.0.0.9:40000\n")));
    server.addScript(answer("host:mdns:services",
                            okay(invitation.name.toUtf8() + "\t_adb-tls-pairing._tcp.\t192.168.1.20:37099\n")));
    server.addScript(answer("host:pair:" + invitation.password.toUtf8() + ":192.168.1.20:37099",
                            okay("Successfully paired to 192.168.1.20:37099 [guid=adb-R58N12345-vWx3Yz]")));
    dialog.methods()->setCurrentIndex(1);
    ASSERT_TRUE(waitUntil([&] { return !paired.isEmpty(); }, 8000));
    EXPECT_EQ(paired, QStringList{u"adb-R58N12345-vWx3Yz"_s});
    EXPECT_TRUE(dialog.messageLabel()->text().startsWith(u"Paired with 192.168.1.20:37099."_s));
    EXPECT_TRUE(vf::test::waitThenSettle([&] { return server.connectionCount() == 4; }, 1500));
    EXPECT_EQ(server.connectionCount(), 4);  // no more looking once paired

    // A typed code is checked before anything is sent.
    dialog.addressField()->setText(u"192.168.1.20"_s);
    dialog.codeField()->setText(u"123456"_s);
    dialog.pairWithCode();
    EXPECT_TRUE(dialog.messageLabel()->text().startsWith(u"Give the port too"_s));
    EXPECT_EQ(server.connectionCount(), 4);
}

TEST(WirelessWatch, ConnectsAPairedDeviceAtItsNewPortOnce) {
    QTemporaryDir dir;
    Preferences::setStorageFile(dir.filePath(u"prefs.ini"_s));
    rememberPairedDevice({u"adb-R58N12345-vWx3Yz"_s, u"192.168.1.20:40001"_s});
    ScriptedAdbServer server;
    const QByteArray listing = okay("adb-R58N12345-vWx3Yz\t_adb-tls-connect._tcp\t192.168.1.20:41235\n");
    server.addScript(answer("host:mdns:services", listing));
    server.addScript(answer("host:connect:192.168.1.20:41235", okay("connected to 192.168.1.20:41235")));
    server.addScript(answer("host:mdns:services", listing));
    server.addScript(answer("host:mdns:services", vf::test::failReply("unknown host service")));
    server.addScript(answer("host:mdns:services", vf::test::failReply("unknown host service")));
    server.addScript(answer("host:mdns:services", listing));
    WirelessWatch watch([&] { return server.endpoint(); });
    QSignalSpy reconnected(&watch, &WirelessWatch::reconnected);
    watch.poll();
    ASSERT_TRUE(waitUntil([&] { return reconnected.count() == 1; }));
    EXPECT_EQ(reconnected.at(0).at(1).toString(), u"Connected to 192.168.1.20:41235."_s);
    EXPECT_EQ(pairedDevices(), (QList<PairedDevice>{{u"adb-R58N12345-vWx3Yz"_s, u"192.168.1.20:41235"_s}}));
    watch.poll();  // the same address: nothing to do
    ASSERT_TRUE(waitUntil([&] { return server.connectionCount() == 3 && server.isClosed(2); }));
    // A server that lists nothing is asked less often, until it lists again.
    for (const int interval : {WirelessWatch::kPollMs * 2, WirelessWatch::kPollMs * 4, WirelessWatch::kPollMs}) {
        watch.poll();
        ASSERT_TRUE(waitUntil([&] { return watch.intervalMs() == interval; })) << interval;
    }
    EXPECT_TRUE(watch.isWatching());
    EXPECT_EQ(reconnected.count(), 1);
    EXPECT_EQ(wirelessPollIntervalMs(1000, 5000, 300000), 300000);
    Preferences::setStorageFile({});
}

}  // namespace
}  // namespace vf::ui
