#include "core/log/replayguard.h"

#include "core/adb/devicetime.h"

#include <algorithm>
#include <cstring>

namespace vf {

namespace {

uint64_t mixWord(uint64_t h, uint64_t word) {
    h = (h ^ word) * 0x9E3779B97F4A7C15ull;
    return h ^ (h >> 32);
}

// Eight bytes at a time (every row is hashed as it arrives); the last word
// carries the field's length, which also separates one field from the next.
uint64_t mixField(uint64_t h, std::string_view s) {
    size_t i = 0;
    for (; i + 8 <= s.size(); i += 8) {
        uint64_t word;
        std::memcpy(&word, s.data() + i, 8);
        h = mixWord(h, word);
    }
    uint64_t tail = uint64_t(s.size()) << 56;
    for (size_t k = 0; i + k < s.size(); ++k) tail |= uint64_t(static_cast<unsigned char>(s[i + k])) << (8 * k);
    return mixWord(h, tail);
}

}  // namespace

uint64_t ReplayGuard::fingerprint(std::string_view pid, std::string_view tid, std::string_view level,
                                  std::string_view tag, std::string_view text) {
    uint64_t h = 14695981039346656037ull;
    for (const std::string_view field : {pid, tid, level, tag, text}) h = mixField(h, field);
    return h;
}

void ReplayGuard::startRun(int64_t nowMs) {
    runStartMs_ = nowMs;
    armed_ = !lastTime_.empty();
    gapCheck_ = armed_;
}

std::optional<int64_t> ReplayGuard::takeGap(std::string_view deviceTime) {
    if (!gapCheck_) return std::nullopt;
    gapCheck_ = false;
    const std::optional<int64_t> span = deviceTimeSpanMs(lastTime_, deviceTime);
    if (!span || *span <= 0) return std::nullopt;
    return span;
}

bool ReplayGuard::isReplay(std::string_view deviceTime, uint64_t fingerprint, int64_t nowMs) {
    if (!armed_) return false;
    if (nowMs - runStartMs_ >= kWindowMs) {
        armed_ = false;
        return false;
    }
    if (deviceTime < lastTime_) return true;
    if (deviceTime == lastTime_) {
        const auto it = std::find(atLastTime_.begin(), atLastTime_.end(), fingerprint);
        if (it == atLastTime_.end()) return false;
        // Each stored row is matched once: a line genuinely logged twice in
        // one millisecond after the drop is still kept.
        atLastTime_.erase(it);
        return true;
    }
    // The buffer's replay is over once the stream passes the last kept time.
    armed_ = false;
    return false;
}

void ReplayGuard::rowStored(std::string_view deviceTime, uint64_t fingerprint) {
    if (deviceTime != lastTime_) {
        lastTime_.assign(deviceTime);
        atLastTime_.clear();
    }
    if (atLastTime_.size() < kMaxSameTime) atLastTime_.push_back(fingerprint);
}

void ReplayGuard::forget() {
    lastTime_.clear();
    atLastTime_.clear();
    armed_ = false;
    gapCheck_ = false;
}

}  // namespace vf
