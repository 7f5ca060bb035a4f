#pragma once
// Lines read from files are held to the same limit as live lines
// (kMaxLineBytes, 1 MiB): a longer line keeps its first MiB of whole
// characters and ends in the same mark (kCutLineMark), so one huge line
// costs a bounded row. Pure functions; any thread.

#include <string>
#include <string_view>

namespace vf {

// A value read from a file, cut and marked when it is longer than the limit.
std::string cutLongLine(std::string line);

// Cuts every line of `text` (lines end at LF or CR, as LineSplitter reads
// them in LfCr mode) that is longer than the limit, in place: the text
// shrinks and is never copied whole. Returns how many lines were cut.
size_t cutLongLinesInPlace(std::string& text);

}  // namespace vf
