#include "ui/tabs/mergedfeed.h"

#include "core/log/logdatasource.h"
#include "core/log/timeline.h"
#include "ui/table/logtablemodel.h"
#include "ui/tabs/sourcetab.h"

namespace vf::ui {

MergedFeed::MergedFeed(SourceTab& merged, Sources sources, int intervalMs)
    : QObject(&merged), merged_(merged), sources_(std::move(sources)) {
    merged_.setMerged();
    merged_.parts().model->setSourceOf([this](const Row& row) { return sourceName(row); });
    timer_.setInterval(intervalMs);
    connect(&timer_, &QTimer::timeout, this, &MergedFeed::refresh);
    timer_.start();
    refresh();
}

QString MergedFeed::sourceName(const Row& row) const {
    for (const std::shared_ptr<Names>& names : {names_, previous_}) {
        if (names == nullptr) continue;
        const auto it = names->sourceOf.constFind(&row);
        if (it != names->sourceOf.cend()) return names->names.value(*it);
    }
    return {};
}

void MergedFeed::refresh() {
    const std::vector<const SourceTab*> tabs = sources_();
    std::vector<std::pair<const SourceTab*, ListMark>> seen;
    std::vector<TimelineSource> sources;
    auto names = std::make_shared<Names>();
    for (const SourceTab* tab : tabs) {
        MarkedRows all = tab->parts().store->allRows();
        seen.emplace_back(tab, all.mark);
        sources.push_back({std::move(all.rows), tab->clockOffsetMs()});
        names->names << tab->tabText();
    }
    if (seen == seen_ && names_ != nullptr && names->names == names_->names) return;
    seen_ = std::move(seen);
    const std::vector<TimelineRow> merged = mergeByTime(sources);
    RowList rows;
    rows.reserve(qsizetype(merged.size()));
    names->sourceOf.reserve(qsizetype(merged.size()));
    for (const TimelineRow& each : merged) {
        names->sourceOf.insert(each.row.get(), each.source);
        rows << each.row;
    }
    previous_ = std::exchange(names_, std::move(names));
    merged_.parts().store->setLogDataFromFile(std::move(rows));
}

}  // namespace vf::ui
