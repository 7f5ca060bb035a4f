#pragma once
// The device's log buffers: their names as logcat spells them, the buffer a
// stream asks for by default, and the lines with which logcat says which
// buffer the lines after them come from ("--------- beginning of main",
// "--------- switch to crash"). Pure functions; any thread.

#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vf {

// A row's buffer. None: not known (a file, a status row, a stream before
// its first marker). Fits in four bits.
enum class LogBuffer : uint8_t { None, Main, System, Crash, Events, Radio, Kernel, Security, Stats };

inline constexpr int kLogBufferCount = 9;

// "main", "system", ...; empty for None.
std::string_view logBufferName(LogBuffer buffer);
// The buffer named `name` exactly; nullopt for any other word (and "").
std::optional<LogBuffer> logBufferFromName(std::string_view name);
// Every name but None's, in the enum's order (completion, help texts).
QStringList logBufferNames();

// What a stream reads unless told otherwise.
QStringList defaultLogBuffers();

// The buffer a marker line names (with or without its line end); nullopt
// when the line is not a marker, or names a buffer this program does not
// know (its lines then count as None).
std::optional<LogBuffer> bufferOfMarker(std::string_view line);
// True for any line of the marker form, known buffer or not.
bool isBufferMarker(std::string_view line);

}  // namespace vf
