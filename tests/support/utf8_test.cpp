#include <gtest/gtest.h>

#include <string>

#include "core/support/utf8.h"

namespace vf {
namespace {

TEST(Utf8, StrayBytesBecomeReplacementCharacters) {
    const std::string fffd = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"plain ascii, more than sixteen bytes long\n", "plain ascii, more than sixteen bytes long\n"},
        {"caf\xC3\xA9 \xE6\x97\xA5", "caf\xC3\xA9 \xE6\x97\xA5"},
        {"caf\xE9 ok", "caf" + fffd + " ok"},  // a Latin-1 byte in UTF-8 text
        {"\xC0\x80", fffd + fffd},            // overlong: each byte
        {"\xED\xA0\x80", fffd + fffd + fffd},  // surrogate
        {"\xF4\x90\x80\x80", fffd + fffd + fffd + fffd},  // above U+10FFFF
        {"abcdefgh\xC3", "abcdefgh" + fffd},  // truncated after the fast path
        {"12345678abcdefgh\xF0\x9F\x98", "12345678abcdefgh" + fffd + fffd + fffd},  // truncated at the end
        {"\xC3\x28", fffd + "("},
        {"\xFF\xF0\x9F\x98\x80", fffd + "\xF0\x9F\x98\x80"},
    };
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(utf8::replaceInvalid(in), out) << in;
        EXPECT_EQ(utf8::isValid(in), in == out) << in;
        EXPECT_TRUE(utf8::isValid(utf8::replaceInvalid(in))) << in;
    }
}

TEST(Utf8, MultiByteSequencesTellUtf8FromLatin1) {
    EXPECT_FALSE(utf8::hasMultiByteSequence("plain ascii"));
    EXPECT_FALSE(utf8::hasMultiByteSequence("caf\xE9 na\xEFve \xE0 la"));  // Latin-1 only
    EXPECT_TRUE(utf8::hasMultiByteSequence("caf\xE9 and caf\xC3\xA9"));
    EXPECT_TRUE(utf8::hasMultiByteSequence("\xEF\xBB\xBF"));
    EXPECT_EQ(utf8::fromLatin1("caf\xE9"), "caf\xC3\xA9");
}

}  // namespace
}  // namespace vf
