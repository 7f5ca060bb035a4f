#pragma once
// The two filter operations of the store, kept apart: a full pass over a
// snapshot of every row after the filter changed, and the test of each row
// as it arrives (the append pass). Both can be cancelled.
//
// Full passes run one at a time on the runner's own thread; a pass splits
// large snapshots into chunks that Qt's global pool shares. Nothing running
// on the global pool ever waits for work queued to it, so overlapping passes
// cannot starve it (file loading and the adb start use it too).

#include <QString>
#include <atomic>
#include <functional>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "core/filter/predicate.h"
#include "core/log/logrow.h"

namespace vf {

// Whether `row` passes `filter` (none: it does not). Any thread.
bool acceptsRow(const PredicatePtr& filter, const Row& row, QString* error = nullptr);

struct FullPassResult {
    RowList accepted;
    QString error;           // the first evaluation error, if any
    bool cancelled = false;  // given up: nothing else is meaningful
};

// Hears how far a full pass got, in order: the first `covered` rows of the
// snapshot are tested, and `matched` are those of them that passed beyond
// the ones heard before (so the calls' rows joined are a prefix of the
// result). Called one at a time, on the pass's thread or a thread of the
// global pool: it must not wait for work queued to that pool.
using PassProgress = std::function<void(qsizetype covered, const RowList& matched)>;

struct FullPassOptions {
    // Rows whose lines lie in an adopted text (a mapped file) are found by
    // searching that text for the text the filter needs, not line by line
    // (false: line by line; the result is the same).
    bool wholeText = true;
    PassProgress progress;  // none: nobody listens
};

// Tests every row of `rows` against `filter`, in order, giving up when
// `cancelled` is set. Runs on the calling thread, sharing large inputs with
// the global pool; the caller must not be a thread of that pool.
FullPassResult runFullPass(const RowList& rows, const Predicate& filter, const std::atomic<bool>& cancelled,
                           const FullPassOptions& options = {});

// Runs full passes one at a time on a thread of its own (standard
// primitives only, so ThreadSanitizer sees every hand-over). Starting one
// cancels the one before, and one still waiting is dropped. Any thread; the
// destructor cancels and waits.
class FilterRunner final {
public:
    using Pass = std::function<void(const std::atomic<bool>& cancelled)>;

    FilterRunner();
    ~FilterRunner();
    FilterRunner(const FilterRunner&) = delete;
    FilterRunner& operator=(const FilterRunner&) = delete;

    void start(Pass pass);
    // Cancels the pass running or waiting, without waiting for it.
    void cancel();
    void cancelAndWait();

private:
    void run();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    Pass pending_;
    std::shared_ptr<std::atomic<bool>> pendingFlag_;
    std::shared_ptr<std::atomic<bool>> current_;  // the newest pass, running or waiting
    bool busy_ = false;
    bool quit_ = false;
    std::thread thread_;  // last: started once the rest is ready
};

// The filter test of arriving rows: the producer's cached copy of the
// filter in force, refreshed when its version moves. Producer thread only.
class AppendFilter final {
public:
    // Tests `row` against `filter` of `version`, refreshing the cache first.
    bool test(const Row& row, const PredicatePtr& filter, uint64_t version);
    uint64_t version() const { return version_; }
    const PredicatePtr& filter() const { return filter_; }

private:
    PredicatePtr filter_;
    uint64_t version_ = 0;
};

}  // namespace vf
