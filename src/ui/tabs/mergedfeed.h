#pragma once
// MergedFeed: fills a merged tab's store with one timeline of the rows of
// the other tabs (mergeByTime: each device's rows on the host's clock by the
// offset read when its run started), shown with their Source column. It
// merges again whenever a source's rows or clock changed, at most once per
// interval; the merged list replaces the store's rows as a whole.
//
// Main thread only. The merged tab outlives the feed (it is the tab's
// child); the sources are asked for anew at each merge (tabs come and go).

#include <QObject>
#include <QTimer>
#include <functional>
#include <tuple>
#include <vector>

#include "core/log/storechange.h"

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
    SourceTab& merged_;
    Sources sources_;
    QTimer timer_;
    std::vector<std::tuple<const SourceTab*, ListMark, int64_t>> seen_;  // each source's rows and clock
    bool mergedOnce_ = false;
};

}  // namespace vf::ui
