#pragma once
// How much memory a list of rows holds, estimated for the status line: each
// row's record, its place in the list and the bytes of its line. Long lists
// are sampled evenly, so the cost stays the same for a file of millions of
// rows.
//
// Pure; any thread (the rows are only read).

#include <cstddef>

#include "core/log/logrow.h"

namespace vf {

// The estimate for `rows`, from at most `samples` of them.
size_t estimateRowBytes(const RowList& rows, qsizetype samples = 512);

}  // namespace vf
