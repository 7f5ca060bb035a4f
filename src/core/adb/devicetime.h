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

}  // namespace vf
