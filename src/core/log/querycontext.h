#pragma once
// What a query's log-dependent terms (age, is:crash) are measured against,
// taken from the rows at hand. Pure functions; any thread.

#include <cstdint>
#include <memory>
#include <vector>

#include "core/filter/query.h"
#include "core/log/crashdetector.h"
#include "core/log/logrow.h"

namespace vf {

// The idx of every row of every crash the detector lists, ascending.
std::shared_ptr<const std::vector<uint64_t>> crashRowsOf(const CrashDetector& detector);

// A saved log's context: `age` counts back from its newest row (the last
// one with a time), and, when `uses` asks for crashes, `is:crash` takes the
// rows of the crashes a detector finds in it.
QueryContext fileQueryContext(const RowList& rows, uint8_t uses);

}  // namespace vf
