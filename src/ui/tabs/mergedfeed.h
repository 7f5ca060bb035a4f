#pragma once
// MergedFeed: fills a merged tab's store with one timeline of the rows of
// the other tabs (mergeByTime: each device's rows on the host's clock by the
// offset read when its run started), shown with their Source column. It
// looks at the sources at most once per interval. Rows the sources
// appended are merged among themselves and appended when they go after the
// last row shown; rows a capped source let go leave the front once every
// row before them left too (a source's rows behind another's still held
// stay shown, up to kMaxHeld). After the user cleared the merged rows only
// rows to come are shown. Anything else (rows replaced, a clock or the tabs
// changed, a new row earlier than the last shown) merges everything again,
// and the merged list replaces the store's rows as a whole.
//
// Main thread only. The merged tab outlives the feed (it is the tab's
// child); the sources are asked for anew at each merge (tabs come and go).

#include <QObject>
#include <QTimer>
#include <deque>
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

    // Rows the sources let go that may stay shown behind rows still held.
    static constexpr size_t kMaxHeld = 5000;

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
    std::deque<int> shown_;     // the source of each row shown, oldest first
    std::vector<size_t> owed_;  // per source: its rows shown that it let go
    std::vector<size_t> shownOf_;  // per source: its rows shown
    ListMark written_;          // the merged rows' mark after the feed's last change
};

}  // namespace vf::ui
