#pragma once
// Splitting a whole text into lines at every LF and CR (a CR LF pair gives
// an empty line between), fast enough for files of a million lines, and
// the joining of long-layout entries. Pure functions, any thread.

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vf::lines {

namespace detail {
constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;

// High bit set in every byte of `word` that equals `byte`, exactly.
inline uint64_t bytesEqual(uint64_t word, unsigned char byte) noexcept {
    const uint64_t t = word ^ (kOnes * byte);
    return ~(((t & kLow7) + kLow7) | t | kLow7);
}
}  // namespace detail

// First LF or CR at or after p, or end.
inline const char* findBreak(const char* p, const char* end) noexcept {
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
    for (; end - p >= 8; p += 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        count.lf += size_t(std::popcount(detail::bytesEqual(word, '\n')));
        count.cr += size_t(std::popcount(detail::bytesEqual(word, '\r')));
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
