#pragma once
// Small UTF-8 helpers for the line parser and the file reader. Everything
// works on bytes; lengths and positions that the layout rules state in
// characters are counted in UTF-16 units, as the rules were written for
// UTF-16 strings. Pure functions, any thread.

#include <QString>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "core/support/utf8.h"

namespace vf::utf8 {

// The text of a whole file as UTF-8: as it is when it is valid; through the
// encoding a byte-order mark announces (UTF-16, UTF-32); with U+FFFD for each
// stray byte when it is mostly UTF-8 (it holds valid multi-byte sequences);
// as ISO Latin-1 only when it holds no UTF-8 sequence at all. A UTF-8
// byte-order mark stays at the front for the caller to skip.
std::string fileTextAsUtf8(std::string bytes);

// A file whose first kBinaryProbeBytes hold a NUL byte is binary, not a log,
// unless a byte-order mark announces UTF-16 or UTF-32 text. Such files are
// refused with kBinaryFileReason.
inline constexpr size_t kBinaryProbeBytes = 64 * 1024;
inline constexpr char kBinaryFileReason[] = "not a text log (it holds NUL bytes)";
bool looksBinary(std::string_view head);
// Whether the regular file at `path` starts binary (reads its first
// kBinaryProbeBytes only; false for anything it cannot read).
bool fileLooksBinary(const QString& path);

// Number of bytes of the white space character at the front of `s` (ASCII
// blanks, tabs, line breaks, NEL and the Unicode space and separator
// characters), or 0 when `s` does not start with one.
inline size_t whitespaceAt(const char* s, const char* end) noexcept {
    const auto c = static_cast<unsigned char>(*s);
    if (c < 0x80) return (c == ' ' || (c >= '\t' && c <= '\r')) ? 1 : 0;
    const auto at = [&](std::ptrdiff_t i) { return static_cast<unsigned char>(s[i]); };
    const std::ptrdiff_t left = end - s;
    if (c == 0xC2 && left >= 2) return (at(1) == 0x85 || at(1) == 0xA0) ? 2 : 0;
    if (left < 3) return 0;
    if (c == 0xE1) return (at(1) == 0x9A && at(2) == 0x80) ? 3 : 0;  // U+1680
    if (c == 0xE2 && at(1) == 0x80) {
        const unsigned char d = at(2);
        return (d <= 0x8A || d == 0xA8 || d == 0xA9 || d == 0xAF) ? 3 : 0;  // U+2000..200A, 2028, 2029, 202F
    }
    if (c == 0xE2) return (at(1) == 0x81 && at(2) == 0x9F) ? 3 : 0;   // U+205F
    if (c == 0xE3) return (at(1) == 0x80 && at(2) == 0x80) ? 3 : 0;   // U+3000
    return 0;
}

inline const char* skipWhitespace(const char* p, const char* end) noexcept {
    while (p < end) {
        const size_t n = whitespaceAt(p, end);
        if (n == 0) break;
        p += n;
    }
    return p;
}

// UTF-16 units of the character whose lead byte is `c` (continuation and
// invalid bytes count as one, like a replacement character).
inline int unitsOfLead(unsigned char c) noexcept { return c >= 0xF0 && c < 0xF8 ? 2 : (c & 0xC0) == 0x80 ? 0 : 1; }

// min(UTF-16 length of s, cap).
inline size_t utf16Length(std::string_view s, size_t cap) noexcept {
    size_t units = 0;
    for (const char ch : s) {
        units += size_t(unitsOfLead(static_cast<unsigned char>(ch)));
        if (units >= cap) return cap;
    }
    return units;
}

// The UTF-16 unit at `index`, reduced to what the layout rules compare
// with: the ASCII character there, or 0 when the index is past the end or
// the unit is not ASCII.
inline char asciiAt16(std::string_view s, size_t index) noexcept {
    size_t units = 0;
    for (const char ch : s) {
        const auto c = static_cast<unsigned char>(ch);
        const int n = unitsOfLead(c);
        if (n == 0) continue;
        if (units == index) return c < 0x80 ? ch : char(0);
        units += size_t(n);
        if (units > index) return 0;
    }
    return 0;
}

}  // namespace vf::utf8
