#include "core/support/terminaltext.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace vf {
namespace {

// A device's log must not drive the terminal: an escape sequence in a row
// ("\x1b]0;title\x07", "\x1b[2J", the C1 CSI) is shown, not obeyed.
TEST(TerminalText, ControlCharactersAreShownNotObeyed) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"plain\ttab\n", "plain\ttab\n"},
        {"\x1b]0;pwned\x07 \x1b[2J\n", "\\x1b]0;pwned\\x07 \\x1b[2J\n"},
        {"cr\rback\x08\x7f", "cr\\x0dback\\x08\\x7f"},
        {"csi \xc2\x9b"
         "31m \xc3\xa9 \xc2\xa0",
         "csi \\u009b31m \xc3\xa9 \xc2\xa0"},
        {"inner\nline\n", "inner\\x0aline\n"},
    };
    for (const auto& c : cases) EXPECT_EQ(terminalSafe(c.in), c.out) << c.in;
    // A name in a message: one line, tabs and line breaks shown too.
    EXPECT_EQ(visibleControls(u"a\tb\nc\x1b[2J\u0085\u00e9"_s),
              u"a\\x09b\\x0ac\\x1b[2J\\u0085\u00e9"_s);
}

}  // namespace
}  // namespace vf
