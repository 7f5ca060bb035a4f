#include "core/adb/devicetime.h"

#include <algorithm>
#include <array>

namespace vf {

namespace {

constexpr std::string_view kShape = "00-00 00:00:00.000";

int number(std::string_view text, size_t at, size_t digits) {
    int value = 0;
    for (size_t i = at; i < at + digits; ++i) value = value * 10 + (text[i] - '0');
    return value;
}

// Milliseconds since the start of a year without 29 February.
int64_t msInYear(std::string_view time) {
    static constexpr std::array<int, 12> kDaysBefore{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const int month = number(time, 0, 2);
    const int day = number(time, 3, 2);
    const int64_t days = int64_t(kDaysBefore[size_t(std::clamp(month, 1, 12) - 1)]) + (day > 0 ? day - 1 : 0);
    const int64_t seconds = number(time, 6, 2) * 3600 + number(time, 9, 2) * 60 + number(time, 12, 2);
    return (days * 86400 + seconds) * 1000 + number(time, 15, 3);
}

}  // namespace

bool isDeviceTime(std::string_view time) {
    if (time.size() != kShape.size()) return false;
    for (size_t i = 0; i < kShape.size(); ++i) {
        const bool digit = time[i] >= '0' && time[i] <= '9';
        if (kShape[i] == '0' ? !digit : time[i] != kShape[i]) return false;
    }
    return true;
}

std::optional<std::string_view> leadingDeviceTime(std::string_view line) {
    const std::string_view head = line.substr(0, kDeviceTimeLength);
    if (!isDeviceTime(head)) return std::nullopt;
    return head;
}

std::optional<int64_t> deviceTimeOfYearMs(std::string_view time) {
    if (!isDeviceTime(time)) return std::nullopt;
    return msInYear(time);
}

std::optional<int64_t> deviceClockOffsetMs(std::string_view reply, int64_t hostBeforeMs, int64_t hostAfterMs) {
    while (!reply.empty() && (reply.back() == '\n' || reply.back() == '\r' || reply.back() == ' ')) reply.remove_suffix(1);
    const size_t dot = reply.find('.');
    if (dot == 0 || dot == std::string_view::npos || dot > 12 || reply.size() - dot - 1 < 3) return std::nullopt;
    int64_t seconds = 0;
    for (const char c : reply.substr(0, dot)) {
        if (c < '0' || c > '9') return std::nullopt;
        seconds = seconds * 10 + (c - '0');
    }
    const std::string_view fraction = reply.substr(dot + 1);
    for (const char c : fraction)
        if (c < '0' || c > '9') return std::nullopt;
    const int64_t deviceMs = seconds * 1000 + number(fraction, 0, 3);
    return deviceMs - (hostBeforeMs + (hostAfterMs - hostBeforeMs) / 2);
}

std::optional<int64_t> deviceTimeSpanMs(std::string_view from, std::string_view to) {
    if (!isDeviceTime(from) || !isDeviceTime(to)) return std::nullopt;
    constexpr int64_t kYearMs = int64_t(365) * 86400 * 1000;
    const bool nextYear = number(to, 0, 2) < number(from, 0, 2);
    return msInYear(to) + (nextYear ? kYearMs : 0) - msInYear(from);
}

}  // namespace vf
