// What both front ends read and decide alike: the ADB endpoint from the
// preferences, and which listed device a run takes.
#include <gtest/gtest.h>

#include "core/session/devicechoice.h"
#include "core/session/sessionpreferences.h"
#include "core/support/preferences.h"
#include "support/fixtures/scriptedadbserver.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using D = DeviceDecision;

// What the front ends read: empty values fall back to 127.0.0.1:5037.
TEST(AdbEndpoint, ServerAndPortFromThePreferences) {
    test::ScopedAdbPreferences prefs(5037, QString());
    Preferences::setValue(u"adbPort"_s, u"70000"_s);
    EXPECT_EQ(endpointFromPreferences().host, u"127.0.0.1"_s);
    EXPECT_EQ(endpointFromPreferences().port, 4464);
    Preferences::setValue(u"adbServer"_s, u"adb.example"_s);
    Preferences::setValue(u"adbPort"_s, u"5038abc"_s);
    EXPECT_EQ(endpointFromPreferences().host, u"adb.example"_s);
    EXPECT_EQ(endpointFromPreferences().port, 5038);
    Preferences::setValue(u"adbPort"_s, u"abc"_s);
    EXPECT_EQ(endpointFromPreferences().port, 0);
    Preferences::remove(u"adbPort"_s);
    EXPECT_EQ(endpointFromPreferences().port, 5037);
    Preferences::setValue(u"adbPath"_s, u" /opt/sdk/adb "_s);
    EXPECT_EQ(endpointFromPreferences().adbProgram, u"/opt/sdk/adb"_s);
}

TEST(DeviceChoice, OneStartsSeveralAskAndReconnectingTakesOnlyTheRememberedDevice) {
    const DeviceRecord a{QStringLiteral("A"), QStringLiteral("A"), {}, {}};
    const DeviceRecord b{QStringLiteral("B"), QStringLiteral("B"), {}, {}};
    auto inState = [](const char* id, const char* state) {
        return DeviceRecord{QString::fromLatin1(id), QString::fromLatin1(id), {}, {}, QString::fromLatin1(state)};
    };
    const DeviceRecord locked = inState("L", "unauthorized");
    const std::optional<QString> fresh;
    const struct {
        DeviceList devices;
        std::optional<QString> reconnectTo;
        QString serial;
        D decision;
        QString device;
    } cases[] = {
        {{}, fresh, {}, D::NoDevice, {}},
        {{}, QStringLiteral("A"), {}, D::NoDevice, {}},
        {{a}, fresh, {}, D::Start, QStringLiteral("A")},
        {{a, b}, fresh, {}, D::Ask, {}},
        {{a, b}, QStringLiteral("B"), {}, D::Start, QStringLiteral("B")},  // several attached: still the one we had
        {{b}, QStringLiteral("A"), {}, D::WaitForRemembered, {}},           // another single device: not taken
        {{a}, QString(), {}, D::WaitForRemembered, {}},                      // reconnecting after a file: none remembered
        {{a, b}, fresh, QStringLiteral("B"), D::Start, QStringLiteral("B")},
        {{a}, fresh, QStringLiteral("Z"), D::SerialNotListed, {}},
        {{locked}, fresh, {}, D::NotAuthorized, QStringLiteral("L")},
        {{inState("O", "offline")}, fresh, {}, D::NotReady, QStringLiteral("O")},
        {{inState("C", "connecting")}, fresh, {}, D::NotReady, QStringLiteral("C")},
        {{inState("P", "no permissions")}, fresh, {}, D::NotStreamable, QStringLiteral("P")},
        {{inState("R", "recovery")}, fresh, {}, D::NotStreamable, QStringLiteral("R")},
        {{inState("S", "sideload")}, QStringLiteral("S"), {}, D::NotStreamable, QStringLiteral("S")},
        {{inState("D", "device")}, fresh, {}, D::Start, QStringLiteral("D")},
    };
    for (const auto& c : cases) {
        const DeviceChoice choice = chooseDevice(c.devices, c.reconnectTo, c.serial);
        EXPECT_EQ(choice.decision, c.decision) << c.devices.size() << c.reconnectTo.value_or(QStringLiteral("-")).toStdString();
        EXPECT_EQ(choice.device ? choice.device->id : QString(), c.device);
    }
}

}  // namespace
}  // namespace vf
