#include "core/support/text.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "core/support/utf8.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vf {

namespace {

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

}  // namespace

const char* findLfCr(const char* p, const char* end) noexcept {
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
        const uint64_t hits = bytesEqual(word, '\n') | bytesEqual(word, '\r');
        if (hits != 0) return p + std::countr_zero(hits) / 8;  // little-endian
        p += 8;
    }
    while (p < end && *p != '\n' && *p != '\r') ++p;
    return p;
}

namespace {

// Length of the newline character at p (UTF-8), 0 when there is none.
size_t newlineAt(const char* p, const char* end) noexcept {
    const auto at = [p](int i) { return static_cast<unsigned char>(p[i]); };
    const unsigned char c = at(0);
    if (c >= 0x0A && c <= 0x0D) return 1;
    if (c == 0xC2 && end - p >= 2 && at(1) == 0x85) return 2;  // NEL
    if (c == 0xE2 && end - p >= 3 && at(1) == 0x80 && (at(2) == 0xA8 || at(2) == 0xA9)) return 3;
    return 0;
}

}  // namespace

bool LineSplitter::next(std::string_view& line) noexcept {
    if (done_) return false;
    const char* hit = end_;
    size_t breakLength = 1;
    if (breaks_ == LineBreaks::LfCr) {
        hit = findLfCr(p_, end_);
    } else {
        for (const char* q = p_; q < end_; ++q) {
            if ((breakLength = newlineAt(q, end_)) != 0) {
                hit = q;
                break;
            }
        }
    }
    line = std::string_view(p_, size_t(hit - p_));
    if (hit == end_) done_ = true;
    else p_ = hit + breakLength;
    return true;
}

std::vector<std::string_view> splitLines(std::string_view text, LineBreaks breaks) {
    std::vector<std::string_view> lines;
    LineSplitter splitter(text, breaks);
    std::string_view line;
    while (splitter.next(line)) lines.push_back(line);
    return lines;
}

BreakCount countLineBreaks(std::string_view text) noexcept {
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
        count.lf += countMarked(bytesEqual(word, '\n'));
        count.cr += countMarked(bytesEqual(word, '\r'));
    }
    for (; p < end; ++p) {
        count.lf += *p == '\n';
        count.cr += *p == '\r';
    }
    return count;
}

std::string validUtf8(std::string_view bytes) {
    if (utf8::isValid(bytes)) return std::string(bytes);
    return utf8::replaceInvalid(bytes);
}

QString decodeText(QByteArrayView bytes) {
    const std::string_view view(bytes.data(), size_t(bytes.size()));
    if (utf8::isValid(view)) return QString::fromUtf8(bytes);
    const std::string repaired = utf8::replaceInvalid(view);
    return QString::fromUtf8(repaired.data(), qsizetype(repaired.size()));
}

QStringList outputLines(QByteArrayView output) {
    const std::string text = validUtf8(std::string_view(output.data(), size_t(output.size())));
    QStringList lines;
    LineSplitter splitter(text, LineBreaks::AnyNewline);
    std::string_view line;
    while (splitter.next(line)) lines.append(QString::fromUtf8(line.data(), qsizetype(line.size())));
    return lines;
}

}  // namespace vf
