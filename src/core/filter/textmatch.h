#pragma once
// Text folding and byte searching for the filter language's comparisons.
//
// Values are UTF-8. Folding with [d] decomposes (NFD) and drops non-spacing
// marks; with [c] it case-folds; either option also decomposes, so canonically
// equal texts compare equal. ASCII text folds to its lower-case bytes (or to
// itself), which is what lets comparisons skip the Unicode work for the
// common all-ASCII row. Everything here is stateless or immutable after
// construction and safe to use from any thread.

#include <cstdint>
#include <string>
#include <string_view>

namespace vf::textmatch {

enum Options : uint8_t {
    kNoOptions = 0,
    kCaseInsensitive = 1,       // [c]
    kDiacriticInsensitive = 2,  // [d]
};

// ASCII lower-case of a byte; bytes >= 0x80 unchanged.
inline unsigned char lowerAscii(unsigned char c) { return (unsigned(c) - 'A' < 26u) ? c | 0x20 : c; }

bool isAscii(std::string_view text);

// The offset of the first byte >= 0x80 in `text`; npos when it is ASCII.
size_t firstNonAscii(std::string_view text);

// The folded form of `text` under `options` (UTF-8). No options: the text as is.
std::string fold(std::string_view text, uint8_t options);

// The same into `out` (replacing its contents), reusing its storage: no
// allocation once `out` has grown, for rows of any text.
void foldInto(std::string_view text, uint8_t options, std::string& out);

// Whether `a` (any case) equals `lowerNeedle` (ASCII, already lower case).
bool equalsLowerAscii(std::string_view a, std::string_view lowerNeedle);

// Glob match ('*' any run, '?' one character) of folded UTF-8 texts.
bool globMatch(std::string_view text, std::string_view pattern);

// A fixed needle searched for in many texts. With `foldCase` the needle must
// be ASCII and already lower case, and the search ignores ASCII case.
class Searcher final {
public:
    enum class Result { Found, Absent, AbsentNonAscii };

    Searcher() = default;
    Searcher(std::string needle, bool foldCase);

    const std::string& needle() const { return needle_; }

    // Found when the needle occurs in `text`. Otherwise Absent, or
    // AbsentNonAscii when `text` holds bytes >= 0x80 (a case-folded search may
    // then still find it after folding the text the slow way).
    Result scan(std::string_view text) const;

    // The offset of the needle's first occurrence in `text` (in its bytes
    // as they are, up to ASCII case when folding); npos when it is absent.
    size_t find(std::string_view text) const {
        bool nonAscii = false;
        return findNoting(text, nonAscii);
    }

    // The offset of whichever comes first in `text`: the needle's first
    // occurrence, or a byte >= 0x80 (then `nonAscii` is set); npos when
    // neither is there. One look at each byte.
    size_t findOrNonAscii(std::string_view text, bool& nonAscii) const;

private:
    bool matchesAt(const char* p) const;
    // Where the needle first occurs in `text` (npos: nowhere), also telling
    // (when nothing is found) whether `text` holds a byte >= 0x80.
    size_t findNoting(std::string_view text, bool& nonAscii) const;
    size_t findScalar(std::string_view text) const;

    std::string needle_;
    bool foldCase_ = false;
    unsigned char first_ = 0, last_ = 0;          // needle's first and last byte
    unsigned char firstMask_ = 0, lastMask_ = 0;  // 0x20 where that byte is a letter matched in any case
};

}  // namespace vf::textmatch
