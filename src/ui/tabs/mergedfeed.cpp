#include "ui/tabs/mergedfeed.h"

#include <algorithm>

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
    shown_.clear();
    owed_.assign(sources.size(), 0);
    shownOf_.assign(sources.size(), 0);
    for (const TimelineRow& each : timeline) {
        merged << each.row;
        shown_.push_back(each.source);
        ++shownOf_[size_t(each.source)];
    }
    last_ = timeline.empty() ? TimelineRow{RowPtr(), 0, INT64_MIN} : lastOf(timeline);
    merged_.parts().store->setLogDataFromFile(std::move(merged));
    written_ = merged_.parts().store->allRows().mark;
}

// The same tabs with the same clocks, each of which appended rows or let
// its oldest go, and the merged rows as the feed left them.
bool MergedFeed::appendNewRows(const Seen& seen, const std::vector<MarkedRows>& rows) {
    LogDatasource& store = *merged_.parts().store;
    if (seen.size() != seen_.size()) return false;
    const MarkedRows now = store.allRows();
    if (now.mark != written_) {
        // Cleared by the user: only rows to come are shown.
        if (!now.rows.isEmpty()) return false;
        shown_.clear();
        std::fill(owed_.begin(), owed_.end(), 0);
        std::fill(shownOf_.begin(), shownOf_.end(), 0);
    }
    std::vector<TimelineSource> tails;
    std::vector<size_t> owed = owed_;
    for (size_t i = 0; i < seen.size(); ++i) {
        const auto& [tab, mark, offset] = seen[i];
        const auto& [shownTab, shownMark, shownOffset] = seen_[i];
        const StoreChange change = changeBetween(shownMark, mark);
        const RowList& all = rows[i].rows;
        // (Rows that came and went between two looks were never shown.)
        if (tab != shownTab || offset != shownOffset || change.reset || change.appended > all.size()) return false;
        // A source owes no more rows than it has shown (none after a clear).
        owed[i] = qMin(owed[i] + size_t(change.dropped), shownOf_[i]);
        tails.push_back({all.mid(all.size() - change.appended), offset});
    }
    const std::vector<TimelineRow> next = mergeByTime(tails);
    if (!goesAfter(next, last_)) return false;
    const size_t gone = leadingLetGo(shown_, owed);
    size_t held = 0;
    for (const size_t each : owed) held += each;
    if (held > kMaxHeld) return false;
    owed_ = std::move(owed);
    for (size_t i = 0; i < gone; ++i) --shownOf_[size_t(shown_[i])];
    shown_.erase(shown_.begin(), shown_.begin() + qsizetype(gone));
    written_ = now.mark;
    if (next.empty() && gone == 0) return true;
    RowList appended;
    appended.reserve(qsizetype(next.size()));
    for (const TimelineRow& each : next) {
        appended << each.row;
        shown_.push_back(each.source);
        ++shownOf_[size_t(each.source)];
    }
    if (!next.empty()) last_ = lastOf(next);
    store.appendRows(appended, qsizetype(gone));
    written_ = store.allRows().mark;
    return true;
}

}  // namespace vf::ui
