#include "ui/tabs/mergedfeed.h"

#include "core/log/logdatasource.h"
#include "core/log/timeline.h"
#include "ui/tabs/sourcetab.h"

namespace vf::ui {

MergedFeed::MergedFeed(SourceTab& merged, Sources sources, int intervalMs)
    : QObject(&merged), merged_(merged), sources_(std::move(sources)) {
    merged_.setMerged();
    timer_.setInterval(intervalMs);
    connect(&timer_, &QTimer::timeout, this, &MergedFeed::refresh);
    timer_.start();
    refresh();
}

void MergedFeed::refresh() {
    std::vector<std::tuple<const SourceTab*, ListMark, int64_t>> seen;
    std::vector<TimelineSource> sources;
    for (const SourceTab* tab : sources_()) {
        MarkedRows all = tab->parts().store->allRows();
        seen.emplace_back(tab, all.mark, tab->clockOffsetMs());
        sources.push_back({std::move(all.rows), tab->clockOffsetMs()});
    }
    if (mergedOnce_ && seen == seen_) return;
    mergedOnce_ = true;
    seen_ = std::move(seen);
    RowList rows;
    for (TimelineRow& each : mergeByTime(sources)) rows << std::move(each.row);
    merged_.parts().store->setLogDataFromFile(std::move(rows));
}

}  // namespace vf::ui
