#pragma once
// What a filter tells a pass about the text of the rows it can pass: every
// passing row holds one of a few words, or a match of one of a few
// patterns, somewhere in its fields. A pass may search a file's text for
// them and evaluate only the rows the hits land in.
//
// Immutable once made; any thread, concurrently.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vf {

// A compiled pattern a text may be searched with. Its matches in a field
// are matches in any text around that field too (it asserts nothing about
// what lies outside the match), so a search of a whole file finds at
// least the rows with a match in the field.
class HeldPattern {
public:
    virtual ~HeldPattern() = default;
    // Where the first match in `text` starts; npos when there is none. A
    // search that cannot tell (the engine gave up) answers 0.
    virtual size_t find(std::string_view text) const = 0;
};

struct HeldText {
    // Lower-case ASCII, in any ASCII case, in a field folded as comparisons
    // fold it: a field with bytes other than ASCII may hold one unseen.
    std::vector<std::string> words;
    // The same in a field's own bytes (a pattern's literal text).
    std::vector<std::string> byteWords;
    std::vector<std::shared_ptr<const HeldPattern>> patterns;

    bool empty() const { return words.empty() && byteWords.empty() && patterns.empty(); }
    size_t count() const { return words.size() + byteWords.size() + patterns.size(); }

    static HeldText word(std::string word);
    static HeldText byteWord(std::string word);
    // Any of the alternatives of every part (nothing when a part has none,
    // or when they are too many to search for); no word a part of another.
    static HeldText anyOf(const std::vector<HeldText>& parts);
    // The one of `parts` a search finds fewest rows for, as far as one can
    // guess: long words first, patterns before short words.
    static HeldText best(std::vector<HeldText> parts);
};

}  // namespace vf
