#pragma once
// Splitting a whole text into lines at every LF and CR (a CR LF pair gives
// an empty line between), fast enough for files of a million lines, and
// the joining of long-layout entries. Pure functions, any thread.

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vf::lines {

namespace detail {
constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;

// High bit set in every byte of `word` that equals `byte`, exactly.
inline uint64_t bytesEqual(uint64_t word, unsigned char byte) noexcept {
    const uint64_t t = word ^ (kOnes * byte);
    return ~(((t & kLow7) + kLow7) | t | kLow7);
}

// Number of bytes marked by bytesEqual (without a popcount instruction,
// which the baseline target lacks: the multiply sums the bytes' low bits).
inline size_t countMarked(uint64_t marks) noexcept { return size_t(((marks >> 7) * kOnes) >> 56); }
}  // namespace detail

// First LF or CR at or after p, or end.
inline const char* findBreak(const char* p, const char* end) noexcept {
#ifdef __SSE2__
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r');
    while (end - p >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const int hits = _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(v, lf), _mm_cmpeq_epi8(v, cr)));
        if (hits != 0) return p + std::countr_zero(unsigned(hits));
        p += 16;
    }
#endif
    while (end - p >= 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        const uint64_t hits = detail::bytesEqual(word, '\n') | detail::bytesEqual(word, '\r');
        if (hits != 0) return p + std::countr_zero(hits) / 8;  // little-endian
        p += 8;
    }
    while (p < end && *p != '\n' && *p != '\r') ++p;
    return p;
}

struct BreakCount {
    size_t lf = 0;
    size_t cr = 0;
};

inline BreakCount countBreaks(std::string_view text) noexcept {
    BreakCount count;
    const char* p = text.data();
    const char* end = p + text.size();
#ifdef __SSE2__
    // Per-byte counters in 16 lanes (a match is -1, so subtracting counts up),
    // summed before any lane can overflow.
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r');
    const __m128i zero = _mm_setzero_si128();
    const auto total = [&zero](__m128i lanes) {
        const __m128i sums = _mm_sad_epu8(lanes, zero);
        return size_t(_mm_cvtsi128_si64(sums)) + size_t(_mm_cvtsi128_si64(_mm_unpackhi_epi64(sums, sums)));
    };
    while (end - p >= 16) {
        __m128i lfLanes = zero;
        __m128i crLanes = zero;
        for (int i = 0; i < 255 && end - p >= 16; ++i, p += 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            lfLanes = _mm_sub_epi8(lfLanes, _mm_cmpeq_epi8(v, lf));
            crLanes = _mm_sub_epi8(crLanes, _mm_cmpeq_epi8(v, cr));
        }
        count.lf += total(lfLanes);
        count.cr += total(crLanes);
    }
#endif
    for (; end - p >= 8; p += 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        count.lf += detail::countMarked(detail::bytesEqual(word, '\n'));
        count.cr += detail::countMarked(detail::bytesEqual(word, '\r'));
    }
    for (; p < end; ++p) {
        count.lf += *p == '\n';
        count.cr += *p == '\r';
    }
    return count;
}

// Walks the lines of a text; the text must outlive the splitter.
class Splitter final {
public:
    explicit Splitter(std::string_view text) noexcept : p_(text.data()), end_(text.data() + text.size()) {}

    // The next line (possibly empty); false after the last one.
    bool next(std::string_view& line) noexcept {
        if (done_) return false;
        const char* hit = findBreak(p_, end_);
        line = std::string_view(p_, size_t(hit - p_));
        if (hit == end_) done_ = true;
        else p_ = hit + 1;
        return true;
    }

private:
    const char* p_;
    const char* end_;
    bool done_ = false;
};

// Long layout: each "[" header line is joined with the first non-empty line
// after it; lines before a header and further message lines are dropped.
// `next(line)` yields the lines, `emit(header, message)` receives each entry.
template <typename Next, typename Emit>
void joinLongEntries(Next&& next, Emit&& emit) {
    std::string_view header;
    bool pending = false;
    std::string_view line;
    while (next(line)) {
        if (!pending) {
            if (!line.starts_with('[')) continue;
            header = line;
            pending = true;
        } else if (!line.empty()) {
            emit(header, line);
            pending = false;
        }
    }
}

}  // namespace vf::lines
