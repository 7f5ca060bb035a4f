#include "core/log/timeline.h"

#include <queue>

#include "core/adb/devicetime.h"

namespace vf {

std::vector<TimelineRow> mergeByTime(const std::vector<TimelineSource>& sources) {
    struct Head {
        int64_t hostMs;
        int source;
        qsizetype at;
        // The queue's top is its greatest: the earliest time, then the first source.
        bool operator<(const Head& other) const {
            return hostMs != other.hostMs ? hostMs > other.hostMs : source > other.source;
        }
    };
    // A row without a readable time takes the time of the row before it.
    std::vector<int64_t> lastMs(sources.size(), INT64_MIN);
    const auto headAt = [&](int source, qsizetype at) {
        const Row& row = *sources[size_t(source)].rows.at(at);
        const std::optional<int64_t> ms = deviceTimeOfYearMs(row.time());
        if (ms) lastMs[size_t(source)] = *ms - sources[size_t(source)].clockOffsetMs;
        return Head{lastMs[size_t(source)], source, at};
    };

    size_t total = 0;
    std::priority_queue<Head> heads;
    for (size_t s = 0; s < sources.size(); ++s) {
        total += size_t(sources[s].rows.size());
        if (!sources[s].rows.isEmpty()) heads.push(headAt(int(s), 0));
    }
    std::vector<TimelineRow> merged;
    merged.reserve(total);
    while (!heads.empty()) {
        const Head head = heads.top();
        heads.pop();
        const RowList& rows = sources[size_t(head.source)].rows;
        merged.push_back({rows.at(head.at), head.source, head.hostMs});
        if (head.at + 1 < rows.size()) heads.push(headAt(head.source, head.at + 1));
    }
    return merged;
}

bool goesAfter(const std::vector<TimelineRow>& next, const TimelineRow& last) {
    if (next.empty()) return true;
    const TimelineRow& first = next.front();
    if (first.hostMs == INT64_MIN) return false;
    return first.hostMs > last.hostMs || (first.hostMs == last.hostMs && first.source >= last.source);
}

size_t leadingLetGo(const std::deque<int>& shown, std::vector<size_t>& owed) {
    size_t n = 0;
    for (; n < shown.size(); ++n) {
        const auto source = size_t(shown[n]);
        if (source >= owed.size() || owed[source] == 0) break;
        --owed[source];
    }
    return n;
}

}  // namespace vf
