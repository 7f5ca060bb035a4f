#pragma once
// Character-by-character folding through per-character tables, so that rows
// with non-ASCII text are folded without building QStrings. Internal to
// textmatch.cpp.

#include <QString>
#include <cstdint>
#include <string>
#include <string_view>

namespace vf::textmatch {

// The reference folding of a QString (decompose, drop non-spacing marks
// for [d], case-fold for [c]).
QString foldString(const QString& text, uint8_t options);

// Folds UTF-8 `text` into `out` one character at a time. Returns false
// (leaving `out` unspecified) when only the reference folding gives the
// right answer: malformed UTF-8, or combining marks that decomposition
// would reorder. Any thread; tables are built on first use under a lock.
bool foldByCharacter(std::string_view text, uint8_t options, std::string& out);

}  // namespace vf::textmatch
