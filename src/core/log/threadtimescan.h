#pragma once
// One walk over a threadtime line of a file (the layouts without a uid
// column): it finds where the line ends and where its fields lie together,
// reading each byte once, where splitting the text into lines and then
// parsing each line read every byte two or three times.
//
// It takes only the shape logcat writes: an ASCII header of blank-separated
// columns (the date and time one blank apart), a one-letter level, a tag up
// to the line's first colon and a message that is not empty. For those lines
// the fields are exactly the ones parseThreadTimeLine gives; every other line
// (a "---" banner, odd white space, bytes outside ASCII in the header, fields
// too long for a row's offsets) is left to that parser.
//
// Pure; any thread.

#include "core/log/logrow.h"

namespace vf {

struct ScannedLine {
    // The line's break (LF or CR), or the end of the text.
    const char* end = nullptr;
    // The line has the plain shape and `slices` hold its fields.
    bool plain = false;
    LineSlices slices;
};

// Scans the line that starts at `line` in a text ending at `end`.
// `appColumn`: the process column may read "app(pid)" (the viewer's saved
// files).
ScannedLine scanThreadTimeLine(const char* line, const char* end, bool appColumn) noexcept;

}  // namespace vf
