#include "core/support/utf8.h"

#include <cstdint>
#include <cstring>

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

// Log text is nearly all ASCII: skips it sixteen or eight bytes at a time.
const unsigned char* skipAscii(const unsigned char* p, const unsigned char* end) noexcept {
#ifdef __SSE2__
    while (end - p >= 16 && _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))) == 0) p += 16;
#endif
    while (end - p >= 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        if ((word & kHighBits) != 0) break;
        p += 8;
    }
    while (p < end && *p < 0x80) ++p;
    return p;
}

const unsigned char* begin(std::string_view s) { return reinterpret_cast<const unsigned char*>(s.data()); }

}  // namespace

size_t validPrefix(std::string_view bytes) noexcept {
    const unsigned char* const start = begin(bytes);
    const unsigned char* const end = start + bytes.size();
    const unsigned char* p = start;
    while ((p = skipAscii(p, end)) < end) {
        const size_t n = sequenceAt(p, end);
        if (n == 0) break;
        p += n;
    }
    return size_t(p - start);
}

bool isValid(std::string_view bytes) noexcept { return validPrefix(bytes) == bytes.size(); }

bool hasMultiByteSequence(std::string_view bytes) noexcept {
    const unsigned char* p = begin(bytes);
    const unsigned char* const end = p + bytes.size();
    while ((p = skipAscii(p, end)) < end) {
        if (sequenceAt(p, end) != 0) return true;
        ++p;
    }
    return false;
}

std::string replaceInvalid(std::string_view bytes) {
    static constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string out;
    out.reserve(bytes.size() + 8);
    const unsigned char* const start = begin(bytes);
    const unsigned char* const end = start + bytes.size();
    const unsigned char* p = start;
    while (p < end) {
        const unsigned char* ascii = skipAscii(p, end);
        out.append(bytes.data() + (p - start), size_t(ascii - p));
        if ((p = ascii) == end) break;
        const size_t n = sequenceAt(p, end);
        if (n == 0) {
            out.append(kReplacement);
            ++p;
        } else {
            out.append(reinterpret_cast<const char*>(p), n);
            p += n;
        }
    }
    return out;
}

std::string fromLatin1(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() + bytes.size() / 8);
    for (const char ch : bytes) {
        const auto c = static_cast<unsigned char>(ch);
        if (c < 0x80) {
            out += ch;
        } else {
            out += char(0xC0 | (c >> 6));
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

}  // namespace vf::utf8
