// The viewer's own wording of its state: the device in the title, the
// filter and the count on the status line.
#include <gtest/gtest.h>

#include "ui/connection/connectioncontroller.h"
#include "ui/window/statustexts.h"

using namespace Qt::StringLiterals;

namespace vf::ui {
namespace {

TEST(Texts, DeviceTitleIsModelDashSerialThenState) {
    EXPECT_EQ(deviceTitle(u"emulator-5554"_s, u"Pixel 7"_s), u"Pixel 7 \u2014 emulator-5554"_s);
    EXPECT_EQ(deviceTitle(u"emulator-5554"_s, u"Pixel 7"_s, u"PAUSED"_s), u"Pixel 7 \u2014 emulator-5554 [PAUSED]"_s);
    EXPECT_EQ(deviceTitle(u"0123"_s, std::nullopt, u"OFFLINE"_s), u"0123 [OFFLINE]"_s);
    EXPECT_EQ(deviceTitle(u"0123"_s, u""_s), u"0123"_s);

    // A listed device: its model, else its product; a state other than ready as the tag.
    DeviceRecord listed;
    listed.id = u"0123"_s;
    listed.product = u"sdk_phone"_s;
    listed.state = u"device"_s;
    EXPECT_EQ(deviceTitle(listed), u"sdk_phone \u2014 0123"_s);
    listed.name = u"Pixel 7"_s;
    listed.state = u"unauthorized"_s;
    EXPECT_EQ(deviceTitle(listed), u"Pixel 7 \u2014 0123 [UNAUTHORIZED]"_s);
}

TEST(Texts, FilterInTheUsersWords) {
    EXPECT_EQ(filterInWords({}, {}, {}), u"All Messages"_s);
    EXPECT_EQ(filterInWords({}, u"  "_s, {}), u"All Messages"_s);
    EXPECT_EQ(filterInWords({}, u"queue=4 "_s, {}), u"\u201Cqueue=4\u201D"_s);
    EXPECT_EQ(filterInWords({u"Errors"_s, u"Net"_s}, u"tag:Sync"_s, u"Info"_s),
              u"\u201CErrors\u201D and \u201CNet\u201D \u00B7 \u201Ctag:Sync\u201D \u00B7 Info and above"_s);
    EXPECT_EQ(filterInWords({}, {}, u"Warn"_s), u"Warn and above"_s);
}

TEST(Texts, ViewingCountSaysWhenTheLogStillGrows) {
    TableState state;
    state.total = 12;
    EXPECT_EQ(viewingText(12, state), u"Viewing: 12"_s);
    state.filtered = true;
    EXPECT_EQ(viewingText(4, state), u"Viewing 4 of 12"_s);
    state.logging = true;
    EXPECT_EQ(viewingText(4, state), u"Viewing 4 of 12 so far"_s);
    EXPECT_TRUE(viewingText(0, TableState{}).startsWith(u"No Data       v("_s));
}

TEST(Texts, EmptyTableSaysWhatItWaitsFor) {
    TableState state;
    state.seeking = true;
    state.adbDown = AdbEndpoint{u"127.0.0.1"_s, 5999, {}};
    EXPECT_TRUE(emptyTableHint(0, state).startsWith(u"No ADB server at 127.0.0.1:5999.\n\nStart it with \"adb -P 5999 "_s));
    state.adbDown->port = 5037;
    EXPECT_TRUE(emptyTableHint(0, state).contains(u"\"adb start-server\""_s));
    state.adbDown.reset();
    state.waiting = true;
    EXPECT_TRUE(emptyTableHint(0, state).startsWith(u"Waiting for the device"_s)) << "not \"No device connected\"";
    state.logging = true;
    EXPECT_TRUE(emptyTableHint(0, state).startsWith(u"Connected."_s));
}

}  // namespace
}  // namespace vf::ui
