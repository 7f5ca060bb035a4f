#pragma once
// MergedFeed: fills a merged tab's store with one timeline of the rows of
// the other tabs (mergeByTime: each device's rows on the host's clock by the
// offset read when its run started), each row named in the Source column by
// its tab. It merges again whenever a source's rows changed, at most once
// per interval; the merged list replaces the store's rows as a whole.
//
// Main thread only. The merged tab outlives the feed; the sources are asked
// for anew at each merge (tabs come and go).

#include <QHash>
#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

#include "core/log/storechange.h"

namespace vf {
class Row;
}

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
    struct Names {
        QHash<const Row*, int> sourceOf;  // by row, an index into `names`
        QStringList names;
    };
    QString sourceName(const Row& row) const;

    SourceTab& merged_;
    Sources sources_;
    QTimer timer_;
    std::vector<std::pair<const SourceTab*, ListMark>> seen_;
    // The merge shown and the one before (the table may still show its rows).
    std::shared_ptr<Names> names_, previous_;
};

}  // namespace vf::ui
