#pragma once
// Keeps a reconnected stream's replayed lines out of the store. When the
// stream is opened again, logcat first sends the device's buffer, which
// repeats lines already stored. Those are told by the device's own clock:
// the time of the last row the device sent before the stream dropped. Host
// time never enters the comparison (the store's status rows are stamped on
// the host's clock), so a device whose clock or time zone differs from the
// host's neither loses fresh lines nor stores its buffer twice.
//
// A row is a replay while the guard is armed (the first 30 seconds of a run,
// and only until the first row newer than the last one kept) and its time
// sorts before the last kept time, or equals it and repeats one of the rows
// kept at that very time. Times compare as text, as logcat writes them
// ("MM-dd HH:mm:ss.SSS").
//
// One owner; not thread-safe (the store calls it under its row lock).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vf {

class ReplayGuard final {
public:
    static constexpr int64_t kWindowMs = 30'000;

    ReplayGuard() = default;
    ReplayGuard(const ReplayGuard&) = delete;
    ReplayGuard& operator=(const ReplayGuard&) = delete;

    // The identity of a row apart from its time, for rows sharing one time.
    static uint64_t fingerprint(std::string_view pid, std::string_view tid, std::string_view level,
                                std::string_view tag, std::string_view text);

    // A logging run starts (monotonic clock, milliseconds).
    void startRun(int64_t nowMs);
    // True when the row is a replay and must not be stored. A row that is
    // not a replay is not yet noted: call rowStored() once it is kept.
    bool isReplay(std::string_view deviceTime, uint64_t fingerprint, int64_t nowMs);
    // A live row from the device was stored (never call it for status rows
    // or rows read from files).
    void rowStored(std::string_view deviceTime, uint64_t fingerprint);
    // The log was cleared or replaced by a file: nothing is left to repeat.
    void forget();

    // The device time of the last live row kept; empty when there is none
    // (nothing came yet, or the log was cleared or replaced by a file).
    const std::string& lastTime() const { return lastTime_; }
    // The first row of a run that carries on a log: how long before its
    // time the last row kept was logged, when it is later. The device's
    // oldest line then is newer than the last one shown, so what the device
    // logged in between is gone. nullopt for every other row, and when
    // nothing was lost.
    std::optional<int64_t> takeGap(std::string_view deviceTime);
    // Whether takeGap() still waits for the run's first row.
    bool awaitsFirstRow() const { return gapCheck_; }

private:
    // Rows sharing the last time; more than this many at one millisecond are
    // not told apart (the excess counts as fresh).
    static constexpr size_t kMaxSameTime = 256;

    std::string lastTime_;
    std::vector<uint64_t> atLastTime_;
    int64_t runStartMs_ = 0;
    bool armed_ = false;
    bool gapCheck_ = false;  // a run carries on a log and its first row has not come
};

}  // namespace vf
