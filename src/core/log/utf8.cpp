#include "core/log/utf8.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vf::utf8 {

namespace {

constexpr uint64_t kHighBits = 0x8080808080808080ull;

// Checks one multi-byte sequence at p; returns its length, or 0 when malformed.
size_t sequenceAt(const unsigned char* p, const unsigned char* end) noexcept {
    const unsigned char c = p[0];
    const auto cont = [](unsigned char b) { return (b & 0xC0) == 0x80; };
    const std::ptrdiff_t left = end - p;
    if (c >= 0xC2 && c <= 0xDF) return left >= 2 && cont(p[1]) ? 2 : 0;
    if (c >= 0xE0 && c <= 0xEF) {
        if (left < 3 || !cont(p[1]) || !cont(p[2])) return 0;
        if (c == 0xE0 && p[1] < 0xA0) return 0;   // overlong
        if (c == 0xED && p[1] >= 0xA0) return 0;  // surrogate
        return 3;
    }
    if (c >= 0xF0 && c <= 0xF4) {
        if (left < 4 || !cont(p[1]) || !cont(p[2]) || !cont(p[3])) return 0;
        if (c == 0xF0 && p[1] < 0x90) return 0;   // overlong
        if (c == 0xF4 && p[1] >= 0x90) return 0;  // above U+10FFFF
        return 4;
    }
    return 0;
}

}  // namespace

bool isValid(std::string_view bytes) noexcept {
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const auto* end = p + bytes.size();
    while (p < end) {
        // Log text is nearly all ASCII: skip it sixteen or eight bytes at a time.
#ifdef __SSE2__
        while (end - p >= 16 && _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))) == 0) p += 16;
#endif
        while (end - p >= 8) {
            uint64_t word;
            std::memcpy(&word, p, sizeof word);
            if ((word & kHighBits) != 0) break;
            p += 8;
        }
        if (p == end) break;
        if (*p < 0x80) {
            ++p;
            continue;
        }
        const size_t n = sequenceAt(p, end);
        if (n == 0) return false;
        p += n;
    }
    return true;
}

}  // namespace vf::utf8
