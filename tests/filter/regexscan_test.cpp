#include <gtest/gtest.h>

#include "core/filter/regexscan.h"

namespace vf::filter {
namespace {

using Words = std::vector<std::string>;

// Every word must be in every match: a word the pattern only may hold (a
// quantified letter, a brace's count, an escape's argument, a group's
// inside) must not be taken.
TEST(RegexScan, RequiredWords) {
    const std::pair<const char*, Words> cases[] = {
        {"timeout|Error", {"timeout", "error"}},
        {"Time(out)?s", {"time"}},
        {"colou?r", {"colo"}},
        {"a{2,3}bcd", {"bcd"}},
        {"\\x41bc", {}},
        {"\\p{Lu}abc\\cXyz", {"abc"}},
        {"\\btimeout\\b", {"timeout"}},
        {"[)a|]bc|de", {"bc", "de"}},
        {"[]x]yz", {"yz"}},
        {"x\\.y\\$", {"x.y$"}},
        {"(?i)ABC", {"abc"}},
        {"\xC3\xA9+abc", {"abc"}},
        {"ab|", {}},
        {"(ab|cd)", {}},
        {"(?x)a b", {}},
        {"\\Qa.b\\E", {}},
        {"[[:alpha:]]xyz", {}},
    };
    for (const auto& [pattern, words] : cases) EXPECT_EQ(requiredWords(pattern), words) << pattern;
}

// Only anchors go; anything else that looks outside the match leaves the
// pattern unsearchable as whole text.
TEST(RegexScan, WholeTextPattern) {
    const std::pair<const char*, const char*> cases[] = {
        {"^Net.*$", "Net.*"},
        {"\\bfoo\\B\\Ax\\z\\Z\\G", "foox"},
        {"[$^]x\\$5\\^", "[$^]x\\$5\\^"},
        {"\\p{^Lu}\\c^", "\\p{^Lu}\\c^"},
        {"(?i)a(?:b|c)(?<n>d)(?s).", "(?i)a(?:b|c)(?<n>d)(?s)."},
        {"a{2}?b+?", "a{2}?b+?"},
        {"(?<=a)b", nullptr},
        {"(?!a)b", nullptr},
        {"(?>a+)b", nullptr},
        {"a++", nullptr},
        {"a{2}+", nullptr},
        {"^*a", nullptr},
        {"(*COMMIT)a", nullptr},
        {"a\\Kb", nullptr},
        {"(a)\\g1", nullptr},
        {"(?x)a", nullptr},
        {"(?(1)a|b)", nullptr},
        {"(?1)", nullptr},
    };
    for (const auto& [pattern, expected] : cases) {
        const std::optional<std::string> got = wholeTextPattern(pattern);
        if (expected == nullptr) EXPECT_FALSE(got) << pattern << " gave " << got.value_or("");
        else EXPECT_EQ(got.value_or("(none)"), expected) << pattern;
    }
}

}  // namespace
}  // namespace vf::filter
