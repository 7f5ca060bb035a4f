#include "core/log/replayguard.h"

#include <algorithm>

namespace vf {

uint64_t ReplayGuard::fingerprint(std::string_view pid, std::string_view tid, std::string_view level,
                                  std::string_view tag, std::string_view text) {
    // FNV-1a over the fields, each closed by a separator byte.
    uint64_t h = 14695981039346656037ull;
    const auto mix = [&h](std::string_view s) {
        for (const char c : s) {
            h ^= static_cast<unsigned char>(c);
            h *= 1099511628211ull;
        }
        h ^= 0x1f;
        h *= 1099511628211ull;
    };
    mix(pid);
    mix(tid);
    mix(level);
    mix(tag);
    mix(text);
    return h;
}

void ReplayGuard::startRun(int64_t nowMs) {
    runStartMs_ = nowMs;
    armed_ = !lastTime_.empty();
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
}

}  // namespace vf
