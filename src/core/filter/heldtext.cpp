#include "core/filter/heldtext.h"

#include <algorithm>
#include <cstdint>

namespace vf {

namespace {
// More alternatives than this cost a search more than evaluating each row.
constexpr size_t kMaxAlternatives = 8;

// Higher is better. Words of three letters or more are rare in log text
// and found at memory speed; a pattern costs more to run but beats a word
// that every line holds.
int score(const HeldText& held) {
    if (held.empty()) return 0;
    const int count = int(held.count());
    if (!held.patterns.empty()) return 100 - count;
    size_t shortest = SIZE_MAX;
    for (const auto* words : {&held.words, &held.byteWords})
        for (const std::string& word : *words) shortest = std::min(shortest, word.size());
    return shortest >= 3 ? 1000 + 16 * int(std::min<size_t>(shortest, 32)) - count : 10 * int(shortest) - count;
}
// Drops the words that hold one of `shorter` (or, with `self`, of the
// list's own shorter words): a text holding a word holds its parts.
void dropLonger(std::vector<std::string>& words, const std::vector<std::string>& shorter, bool self) {
    std::sort(words.begin(), words.end(), [](const std::string& a, const std::string& b) {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    });
    const auto holdsOne = [](const std::string& word, const std::vector<std::string>& parts) {
        return std::any_of(parts.begin(), parts.end(), [&](const std::string& p) { return word.find(p) != std::string::npos; });
    };
    std::vector<std::string> kept;
    for (std::string& word : words)
        if (!holdsOne(word, shorter) && !(self && holdsOne(word, kept))) kept.push_back(std::move(word));
    words = std::move(kept);
}

}  // namespace

HeldText HeldText::word(std::string word) {
    HeldText held;
    if (!word.empty()) held.words.push_back(std::move(word));
    return held;
}

HeldText HeldText::byteWord(std::string word) {
    HeldText held;
    if (!word.empty()) held.byteWords.push_back(std::move(word));
    return held;
}

HeldText HeldText::anyOf(const std::vector<HeldText>& parts) {
    HeldText all;
    for (const HeldText& part : parts) {
        if (part.empty()) return {};
        all.words.insert(all.words.end(), part.words.begin(), part.words.end());
        all.byteWords.insert(all.byteWords.end(), part.byteWords.begin(), part.byteWords.end());
        for (const auto& pattern : part.patterns)
            if (std::find(all.patterns.begin(), all.patterns.end(), pattern) == all.patterns.end())
                all.patterns.push_back(pattern);
    }
    // A folded search finds a text's own bytes too.
    dropLonger(all.words, {}, true);
    dropLonger(all.byteWords, all.words, false);
    dropLonger(all.byteWords, {}, true);
    if (all.count() > kMaxAlternatives) return {};
    return all;
}

HeldText HeldText::best(std::vector<HeldText> parts) {
    HeldText chosen;
    for (HeldText& part : parts)
        if (score(part) > score(chosen)) chosen = std::move(part);
    return chosen;
}

}  // namespace vf
