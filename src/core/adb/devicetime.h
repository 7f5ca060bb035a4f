#pragma once
// A device's log time as logcat writes it in threadtime lines and takes it
// after "-T": "MM-dd HH:mm:ss.SSS", on the device's clock, without a year.
// Pure functions; any thread.

#include <cstdint>
#include <optional>
#include <string_view>

namespace vf {

inline constexpr size_t kDeviceTimeLength = 18;

// True for exactly the form "MM-dd HH:mm:ss.SSS" (digits where digits go).
bool isDeviceTime(std::string_view time);
// The time a threadtime line starts with; nullopt when it starts otherwise.
std::optional<std::string_view> leadingDeviceTime(std::string_view line);
// Milliseconds from `from` to `to` (negative when `to` is earlier). A `to`
// in a month before `from`'s is taken to be in the next year (a log that
// ran over New Year). nullopt unless both are device times.
std::optional<int64_t> deviceTimeSpanMs(std::string_view from, std::string_view to);
// Milliseconds from the start of the year (taken without 29 February, so
// that every device's times share one scale); nullopt unless `time` is a
// device time.
std::optional<int64_t> deviceTimeOfYearMs(std::string_view time);

// The command whose reply measures a device's clock: seconds and
// nanoseconds since the epoch.
inline constexpr char kDeviceClockCommand[] = "date +%s.%N";
// How far the device's clock runs ahead of the host's (negative: behind),
// in milliseconds, from the reply of kDeviceClockCommand and the host's
// clock (ms since the epoch) before the request and after the reply: the
// device read its clock about halfway between. nullopt for a reply of
// another shape (a shell without %N prints "N" or nothing there).
std::optional<int64_t> deviceClockOffsetMs(std::string_view reply, int64_t hostBeforeMs, int64_t hostAfterMs);

}  // namespace vf
