#include "core/filter/textmatch.h"

#include "core/filter/foldtable.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vf::textmatch {

bool isAscii(std::string_view text) {
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    size_t i = 0;
    uint64_t high = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t word;
        std::memcpy(&word, p + i, 8);
        high |= word;
    }
    for (; i < n; ++i) high |= p[i];
    return (high & 0x8080808080808080ull) == 0;
}

size_t firstNonAscii(std::string_view text) {
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    size_t i = 0;
#if defined(__SSE2__)
    for (; i + 16 <= n; i += 16) {
        const int high = _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)));
        if (high != 0) return i + unsigned(__builtin_ctz(unsigned(high)));
    }
#endif
    for (; i < n; ++i)
        if (p[i] >= 0x80) return i;
    return std::string_view::npos;
}

namespace {

// Index of the character after the one starting at `i` (UTF-8).
size_t nextCodePoint(std::string_view text, size_t i) {
    ++i;
    while (i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) ++i;
    return i;
}

}  // namespace

std::string fold(std::string_view text, uint8_t options) {
    std::string out;
    foldInto(text, options, out);
    return out;
}

void foldInto(std::string_view text, uint8_t options, std::string& out) {
    if (options == kNoOptions || isAscii(text)) {
        out.assign(text);
        if (options & kCaseInsensitive)
            for (char& c : out) c = char(lowerAscii(static_cast<unsigned char>(c)));
        return;
    }
    if (foldByCharacter(text, options, out)) return;
    const QString folded = foldString(QString::fromUtf8(text.data(), qsizetype(text.size())), options);
    const QByteArray utf8 = folded.toUtf8();
    out.assign(utf8.constData(), size_t(utf8.size()));
}

bool equalsLowerAscii(std::string_view a, std::string_view lowerNeedle) {
    if (a.size() != lowerNeedle.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (lowerAscii(static_cast<unsigned char>(a[i])) != static_cast<unsigned char>(lowerNeedle[i])) return false;
    return true;
}

bool globMatch(std::string_view text, std::string_view pattern) {
    constexpr size_t kNone = std::string_view::npos;
    size_t t = 0, p = 0, starP = kNone, starT = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            starP = ++p;
            starT = t;
        } else if (p < pattern.size() && pattern[p] == '?') {
            ++p;
            t = nextCodePoint(text, t);
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (starP != kNone) {
            p = starP;
            t = starT = nextCodePoint(text, starT);
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

Searcher::Searcher(std::string needle, bool foldCase) : needle_(std::move(needle)), foldCase_(foldCase) {
    if (needle_.empty()) return;
    first_ = static_cast<unsigned char>(needle_.front());
    last_ = static_cast<unsigned char>(needle_.back());
    auto isLower = [](unsigned char c) { return unsigned(c) - 'a' < 26u; };
    firstMask_ = (foldCase_ && isLower(first_)) ? 0x20 : 0;
    lastMask_ = (foldCase_ && isLower(last_)) ? 0x20 : 0;
}

bool Searcher::matchesAt(const char* p) const {
    const size_t n = needle_.size();
    if (!foldCase_) return std::memcmp(p, needle_.data(), n) == 0;
    for (size_t k = 0; k < n; ++k)
        if (lowerAscii(static_cast<unsigned char>(p[k])) != static_cast<unsigned char>(needle_[k])) return false;
    return true;
}

size_t Searcher::findScalar(std::string_view text) const {
    const char* s = text.data();
    const size_t n = needle_.size();
    for (size_t j = 0; j + n <= text.size(); ++j) {
        if ((static_cast<unsigned char>(s[j]) | firstMask_) != first_) continue;
        if ((static_cast<unsigned char>(s[j + n - 1]) | lastMask_) != last_) continue;
        if (matchesAt(s + j)) return j;
    }
    return std::string_view::npos;
}

Searcher::Result Searcher::scan(std::string_view text) const {
    bool nonAscii = false;
    if (findNoting(text, nonAscii) != std::string_view::npos) return Result::Found;
    return nonAscii ? Result::AbsentNonAscii : Result::Absent;
}

size_t Searcher::findOrNonAscii(std::string_view text, bool& nonAscii) const {
    const size_t n = needle_.size();
    nonAscii = false;
    if (n == 0) return 0;
    const size_t size = text.size();
#if defined(__SSE2__)
    // As findNoting(), stopping at the first 16 starting points that hold a
    // byte >= 0x80: an ASCII needle cannot match across it, so a match before
    // it is the answer, else that byte. The last n - 1 bytes start no match
    // and are looked at on their own.
    if (size >= n + 15) {
        const char* s = text.data();
        const __m128i first = _mm_set1_epi8(char(first_)), last = _mm_set1_epi8(char(last_));
        const __m128i firstMask = _mm_set1_epi8(char(firstMask_)), lastMask = _mm_set1_epi8(char(lastMask_));
        const size_t lastStep = size - n - 15;
        for (size_t i = 0;; i += 16) {
            if (i > lastStep) i = lastStep;
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + n - 1));
            const auto high = unsigned(_mm_movemask_epi8(a));
            const __m128i eq = _mm_and_si128(_mm_cmpeq_epi8(_mm_or_si128(a, firstMask), first),
                                             _mm_cmpeq_epi8(_mm_or_si128(b, lastMask), last));
            for (unsigned m = unsigned(_mm_movemask_epi8(eq)); m != 0; m &= m - 1) {
                const unsigned at = unsigned(__builtin_ctz(m));
                if (high != 0 && at > unsigned(__builtin_ctz(high))) break;
                if (matchesAt(s + i + at)) return i + at;
            }
            if (high != 0) {
                nonAscii = true;
                return i + unsigned(__builtin_ctz(high));
            }
            if (i == lastStep) break;
        }
        const size_t tail = firstNonAscii(text.substr(size - n + 1));
        if (tail == std::string_view::npos) return tail;
        nonAscii = true;
        return size - n + 1 + tail;
    }
#endif
    const size_t q = firstNonAscii(text);
    const size_t hit = findScalar(text.substr(0, q));
    nonAscii = hit == std::string_view::npos && q != std::string_view::npos;
    return nonAscii ? q : hit;
}

size_t Searcher::findNoting(std::string_view text, bool& nonAscii) const {
    const size_t n = needle_.size();
    if (n == 0) return 0;
#if defined(__SSE2__)
    // Compare the needle's first and last byte at 16 starting points at once
    // and verify only where both agree. The last step overlaps the one before
    // so that it ends exactly at the end of the text.
    const size_t size = text.size();
    if (size >= n + 15) {
        const char* s = text.data();
        const __m128i first = _mm_set1_epi8(char(first_)), last = _mm_set1_epi8(char(last_));
        const __m128i firstMask = _mm_set1_epi8(char(firstMask_)), lastMask = _mm_set1_epi8(char(lastMask_));
        const size_t lastStep = size - n - 15;
        __m128i high = _mm_setzero_si128();
        for (size_t i = 0;; i += 16) {
            if (i > lastStep) i = lastStep;
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + n - 1));
            high = _mm_or_si128(high, _mm_or_si128(a, b));
            const __m128i eq = _mm_and_si128(_mm_cmpeq_epi8(_mm_or_si128(a, firstMask), first),
                                             _mm_cmpeq_epi8(_mm_or_si128(b, lastMask), last));
            for (unsigned m = unsigned(_mm_movemask_epi8(eq)); m != 0; m &= m - 1)
                if (matchesAt(s + i + unsigned(__builtin_ctz(m)))) return i + unsigned(__builtin_ctz(m));
            if (i == lastStep) break;
        }
        nonAscii = _mm_movemask_epi8(high) != 0;
        return std::string_view::npos;
    }
#endif
    const size_t at = findScalar(text);
    if (at == std::string_view::npos) nonAscii = !isAscii(text);
    return at;
}

}  // namespace vf::textmatch
