#include <gtest/gtest.h>

#include <QString>
#include <random>

#include "core/filter/foldtable.h"
#include "core/filter/textmatch.h"

namespace vf::textmatch {
namespace {

std::string reference(const std::string& text, uint8_t options) {
    return foldString(QString::fromUtf8(text.data(), qsizetype(text.size())), options).toUtf8().toStdString();
}

TEST(TextMatch, FoldingByCharacterAgreesWithTheReference) {
    const std::vector<std::string> texts{
        "Caf\xC3\xA9 \xC3\x89T\xC3\x89",               // precomposed accents
        "e\xCC\x81 a\xCC\xA3\xCC\x81 a\xCC\x81\xCC\xA3",  // marks in and out of canonical order
        "\xC3\xA9\xCC\xA3",                             // a mark after a decomposed letter
        "\xE2\x84\xAA \xC3\x9F \xC5\xBF \xE1\xBA\x9E",      // Kelvin sign, sharp s, long s, capital sharp s
        "\xED\x95\x9C\xEA\xB8\x80 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x93\xB1 \xE2\x80\x94",  // Hangul, CJK, emoji, dash
        "\xC4\xB0stanbul \xCE\xA3\xCE\xA9\xCE\xA3",     // dotted capital I, Greek capitals
        "plain ascii"};
    for (int options : {1, 2, 3})  // [c], [d], [cd]
        for (const std::string& text : texts) EXPECT_EQ(fold(text, uint8_t(options)), reference(text, uint8_t(options))) << text;
    // Malformed UTF-8 still folds (the reference way) rather than failing.
    EXPECT_EQ(fold("a\xC3", kCaseInsensitive), reference("a\xC3", kCaseInsensitive));
    EXPECT_EQ(fold("x\xF0\x9F", kDiacriticInsensitive), reference("x\xF0\x9F", kDiacriticInsensitive));
    EXPECT_EQ(fold("ABC", kNoOptions), "ABC");
}

// The wide scan against a plain search, over needle positions that straddle
// its 16-byte steps and the scalar tail.
TEST(TextMatch, SearcherFindsWhatANaiveSearchFinds) {
    std::mt19937 random(7);
    const std::string alphabet = "abAB-xyXY\xC3\xA9";
    for (int round = 0; round < 3000; ++round) {
        std::string text(random() % 70, 'a');
        for (char& c : text) c = alphabet[random() % alphabet.size()];
        std::string needle(1 + random() % 5, 'a');
        for (char& c : needle) c = "abxy-"[random() % 5];
        bool expected = false;
        for (size_t i = 0; i + needle.size() <= text.size() && !expected; ++i) {
            size_t k = 0;
            while (k < needle.size() && lowerAscii(static_cast<unsigned char>(text[i + k])) == needle[k]) ++k;
            expected = k == needle.size();
        }
        const Searcher::Result result = Searcher(needle, true).scan(text);
        EXPECT_EQ(result == Searcher::Result::Found, expected) << text << " / " << needle;
        if (!expected) {
            EXPECT_EQ(result == Searcher::Result::AbsentNonAscii, !isAscii(text)) << text << " / " << needle;
        }
        EXPECT_EQ(Searcher(needle, false).scan(text) == Searcher::Result::Found,
                  text.find(needle) != std::string::npos);
    }
}

}  // namespace
}  // namespace vf::textmatch
