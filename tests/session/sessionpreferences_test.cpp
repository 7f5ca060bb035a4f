#include <gtest/gtest.h>

#include "core/session/sessionpreferences.h"
#include "core/support/preferences.h"
#include "support/fixtures/scriptedadbserver.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

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

}  // namespace
}  // namespace vf
