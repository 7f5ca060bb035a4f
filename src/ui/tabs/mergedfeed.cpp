#include "ui/tabs/mergedfeed.h"

#include "core/log/logdatasource.h"
#include "core/log/timeline.h"
#include "ui/tabs/sourcetab.h"

namespace vf::ui {

namespace {

// Where `timeline` ends, without holding its row.
TimelineRow lastOf(const std::vector<TimelineRow>& timeline) {
    return {RowPtr(), timeline.back().source, timeline.back().hostMs};
}

}  // namespace

MergedFeed::MergedFeed(SourceTab& merged, Sources sources, int intervalMs)
    : QObject(&merged), merged_(merged), sources_(std::move(sources)) {
    merged_.setMerged();
    timer_.setInterval(intervalMs);
    connect(&timer_, &QTimer::timeout, this, &MergedFeed::refresh);
    timer_.start();
    refresh();
}

void MergedFeed::refresh() {
    Seen seen;
    std::vector<MarkedRows> rows;
    for (const SourceTab* tab : sources_()) {
        rows.push_back(tab->parts().store->allRows());
        seen.emplace_back(tab, rows.back().mark, tab->clockOffsetMs());
    }
    if (mergedOnce_ && seen == seen_) return;
    if (mergedOnce_ && appendNewRows(seen, rows)) {
        seen_ = std::move(seen);
        return;
    }
    mergedOnce_ = true;
    seen_ = std::move(seen);
    std::vector<TimelineSource> sources;
    for (size_t i = 0; i < rows.size(); ++i) sources.push_back({std::move(rows[i].rows), std::get<2>(seen_[i])});
    RowList merged;
    const std::vector<TimelineRow> timeline = mergeByTime(sources);
    for (const TimelineRow& each : timeline) merged << each.row;
    last_ = timeline.empty() ? TimelineRow{RowPtr(), 0, INT64_MIN} : lastOf(timeline);
    merged_.parts().store->setLogDataFromFile(std::move(merged));
}

// The same tabs with the same clocks, each of which only appended rows.
bool MergedFeed::appendNewRows(const Seen& seen, const std::vector<MarkedRows>& rows) {
    if (seen.size() != seen_.size()) return false;
    std::vector<TimelineSource> tails;
    for (size_t i = 0; i < seen.size(); ++i) {
        const auto& [tab, mark, offset] = seen[i];
        const auto& [shownTab, shownMark, shownOffset] = seen_[i];
        const StoreChange change = changeBetween(shownMark, mark);
        if (tab != shownTab || offset != shownOffset || change.reset || change.dropped > 0) return false;
        const RowList& all = rows[i].rows;
        tails.push_back({all.mid(all.size() - qMin(change.appended, all.size())), offset});
    }
    const std::vector<TimelineRow> next = mergeByTime(tails);
    if (!goesAfter(next, last_)) return false;
    if (next.empty()) return true;
    RowList appended;
    appended.reserve(qsizetype(next.size()));
    for (const TimelineRow& each : next) appended << each.row;
    last_ = lastOf(next);
    merged_.parts().store->appendRows(appended);
    return true;
}

}  // namespace vf::ui
