#pragma once
// MergedFeed: fills a merged tab's store with one timeline of the rows of
// the other tabs (mergeByTime: each device's rows on the host's clock by the
// offset read when its run started), shown with their Source column. It
// looks at the sources at most once per interval. Rows the sources only
// appended are merged among themselves and appended when they go after the
// last row shown; anything else (rows dropped or replaced, a clock or the
// tabs changed, a new row earlier than the last shown) merges everything
// again, and the merged list replaces the store's rows as a whole.
//
// Main thread only. The merged tab outlives the feed (it is the tab's
// child); the sources are asked for anew at each merge (tabs come and go).

#include <QObject>
#include <QTimer>
#include <functional>
#include <tuple>
#include <vector>

#include "core/log/storechange.h"
#include "core/log/timeline.h"

namespace vf::ui {

class SourceTab;

class MergedFeed final : public QObject {
    Q_OBJECT
public:
    using Sources = std::function<std::vector<const SourceTab*>()>;

    MergedFeed(SourceTab& merged, Sources sources, int intervalMs = 1000);

    // Merges now when a source changed since the last merge.
    void refresh();

private:
    using Seen = std::vector<std::tuple<const SourceTab*, ListMark, int64_t>>;
    bool appendNewRows(const Seen& seen, const std::vector<MarkedRows>& rows);

    SourceTab& merged_;
    Sources sources_;
    QTimer timer_;
    Seen seen_;  // each source's rows and clock
    bool mergedOnce_ = false;
    TimelineRow last_;  // the last row shown (its row not kept)
};

}  // namespace vf::ui
