#pragma once
// The field cursor of the line parser. Its rules decide the exact contents
// of every field, so they are kept exactly:
//  - before each scan, white space at the cursor is skipped;
//  - a scan takes everything up to the next occurrence of the delimiter (or
//    the end) and leaves the cursor on the delimiter; taking nothing is a
//    failed scan;
//  - the cursor remembers the previous scan's delimiter (also after a failed
//    scan) and cuts it from the front of a result that begins with it;
//  - nothing else is trimmed.
// Results are views into the line. Header-only because it is the hot path.

#include <cstring>
#include <optional>
#include <string_view>

#include "core/log/utf8.h"

namespace vf {

class LineCursor final {
public:
    explicit LineCursor(std::string_view line) noexcept : p_(line.data()), end_(line.data() + line.size()) {}

    std::optional<std::string_view> scanUpTo(std::string_view delimiter) noexcept {
        const std::string_view previous = previous_;
        previous_ = delimiter;
        if (p_ < end_ && isSkippable(*p_)) p_ = utf8::skipWhitespace(p_, end_);
        const char* hit = find(delimiter);
        if (hit == p_) return std::nullopt;
        std::string_view taken(p_, size_t(hit - p_));
        p_ = hit;
        if (!previous.empty() && taken.size() >= previous.size() && taken[0] == previous[0] &&
            std::memcmp(taken.data() + 1, previous.data() + 1, previous.size() - 1) == 0)
            taken.remove_prefix(previous.size());
        return taken;
    }

private:
    // Cheap pre-check: white space starts with one of these bytes.
    static bool isSkippable(char ch) noexcept {
        const auto c = static_cast<unsigned char>(ch);
        return c == ' ' || (c >= '\t' && c <= '\r') || c == 0xC2 || c == 0xE1 || c == 0xE2 || c == 0xE3;
    }

    const char* find(std::string_view delimiter) const noexcept {
        const size_t left = size_t(end_ - p_);
        if (delimiter.size() == 1) {
            const void* hit = std::memchr(p_, delimiter[0], left);
            return hit != nullptr ? static_cast<const char*>(hit) : end_;
        }
        const char* from = p_;
        while (size_t(end_ - from) >= delimiter.size()) {
            const void* hit = std::memchr(from, delimiter[0], size_t(end_ - from) - delimiter.size() + 1);
            if (hit == nullptr) break;
            const char* at = static_cast<const char*>(hit);
            if (std::memcmp(at + 1, delimiter.data() + 1, delimiter.size() - 1) == 0) return at;
            from = at + 1;
        }
        return end_;
    }

    const char* p_;
    const char* end_;
    std::string_view previous_;
};

// Blanks and tabs off both ends (line breaks stay).
inline std::string_view trimBlanks(std::string_view s) noexcept {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

}  // namespace vf
