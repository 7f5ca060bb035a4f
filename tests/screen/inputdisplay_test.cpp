#include <gtest/gtest.h>

#include "core/screen/screenfacts.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

// Input numbers displays its own way; the display service's dump names
// both numbers on one line (Android 12's shape, cut to the fields that
// matter; before Android 10 the unique id held a small number).
TEST(InputDisplay, FindsInputsNumberForAPhysicalDisplay) {
    const QByteArray dump =
        "Logical Displays: size=2\r\n"
        "Display 0:\r\n"
        "  mBaseDisplayInfo=DisplayInfo{\"Built-in Screen\", displayId 0, displayGroupId 0, FLAG_SECURE, real 1080 "
        "x 2400, uniqueId \"local:4619827259835644672\", rotation 0}\r\n"
        "  mBaseDisplayInfo=DisplayInfo{\"HDMI Screen\", displayId 2, displayGroupId 0, real 1920 x 1080, uniqueId "
        "\"local:4619827259835644673\", rotation 0}\r\n"
        "  mBaseDisplayInfo=DisplayInfo{\"Old\", displayId 0, uniqueId \"local:0\"}\n";
    const struct {
        const char* display;
        const char* input;
    } cases[] = {
        {"4619827259835644672", "0"}, {"4619827259835644673", "2"}, {"0", "0"},
        {"461982725983564467", ""},  // a prefix of an id is not the id
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(inputDisplayFor(dump, QString::fromLatin1(c.display)), QString::fromLatin1(c.input)) << c.display;
    EXPECT_EQ(inputCommandPrefix({}), u"shell:input "_s);
    EXPECT_EQ(inputCommandPrefix(u"2"_s), u"shell:input -d 2 "_s);
}

}  // namespace
}  // namespace vf
