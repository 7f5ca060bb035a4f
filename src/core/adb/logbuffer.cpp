#include "core/adb/logbuffer.h"

#include <array>

namespace vf {

namespace {

constexpr std::array<std::string_view, kLogBufferCount> kNames{"",       "main",  "system", "crash",   "events",
                                                               "radio",  "kernel", "security", "stats"};

constexpr std::string_view kMarker = "--------- ";

std::string_view withoutLineEnd(std::string_view line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
    return line;
}

// The word after "beginning of " or "switch to ", or nullopt.
std::optional<std::string_view> markerWord(std::string_view line) {
    line = withoutLineEnd(line);
    if (!line.starts_with(kMarker)) return std::nullopt;
    line.remove_prefix(kMarker.size());
    for (const std::string_view lead : {std::string_view("beginning of "), std::string_view("switch to ")}) {
        if (!line.starts_with(lead)) continue;
        std::string_view word = line.substr(lead.size());
        // Before Android 5 logcat named the device node instead.
        if (word.starts_with("/dev/log/")) word.remove_prefix(9);
        return word;
    }
    return std::nullopt;
}

}  // namespace

std::string_view logBufferName(LogBuffer buffer) {
    const auto i = size_t(buffer);
    return i < kNames.size() ? kNames[i] : std::string_view();
}

std::optional<LogBuffer> logBufferFromName(std::string_view name) {
    for (size_t i = 1; i < kNames.size(); ++i)
        if (kNames[i] == name) return LogBuffer(i);
    return std::nullopt;
}

QStringList logBufferNames() {
    QStringList names;
    for (size_t i = 1; i < kNames.size(); ++i) names << QString::fromLatin1(kNames[i].data(), qsizetype(kNames[i].size()));
    return names;
}

QStringList defaultLogBuffers() {
    return {QStringLiteral("main"), QStringLiteral("system"), QStringLiteral("crash")};
}

std::optional<LogBuffer> bufferOfMarker(std::string_view line) {
    const std::optional<std::string_view> word = markerWord(line);
    return word ? logBufferFromName(*word) : std::nullopt;
}

bool isBufferMarker(std::string_view line) { return markerWord(line).has_value(); }

}  // namespace vf
