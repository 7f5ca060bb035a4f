#pragma once
// One timeline of the rows of several sources (devices, files), each on its
// own clock: rows are placed by their time less their source's clock offset,
// so that two devices logging the same moment land together.
//
// Pure; any thread (the rows are only read).

#include <cstdint>
#include <deque>
#include <vector>

#include "core/log/logrow.h"

namespace vf {

struct TimelineSource {
    RowList rows;                // in the source's own order
    int64_t clockOffsetMs = 0;   // the source's clock ahead of the host's (negative: behind)
};

struct TimelineRow {
    RowPtr row;
    int source = 0;       // its index in the sources
    int64_t hostMs = 0;   // where it was placed: its time on the host's clock (INT64_MIN: none read yet)
};

// The rows of every source by host time. It is a merge, not a sort: each
// source's own order is kept, a row whose time does not read goes right
// after the row before it in its source, and equal times keep the order of
// the sources. Times are taken within one year (a log that runs over New
// Year is not ordered across it).
std::vector<TimelineRow> mergeByTime(const std::vector<TimelineSource>& sources);

// Whether `next`, the merge of the rows that came at the end of each source
// since `last` was merged, goes after it as a merge of everything would
// place it: its first row is later, or as late and from a source not before
// it. A first row with no time read says no.
bool goesAfter(const std::vector<TimelineRow>& next, const TimelineRow& last);

// A merged timeline whose sources let their oldest rows go: `shown` holds
// the source of each row shown, oldest first, and `owed[s]` how many of
// source s's first rows shown it let go. Returns how many rows at the front
// of `shown` are all such rows, and takes them off `owed` (rows it let go
// behind a row still held stay owed).
size_t leadingLetGo(const std::deque<int>& shown, std::vector<size_t>& owed);

}  // namespace vf
