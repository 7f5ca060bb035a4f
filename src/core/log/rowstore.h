#pragma once
// RowStore: every row (bounded while logging), the view of rows that pass
// the filter in force, the guard that keeps a reconnected device's replayed
// buffer out (on the device's clock, see ReplayGuard) and the rate of table
// notices. No ADB in here.
//
// Any thread: one lock (the row lock) guards the state and every member
// takes it. addLive() has one producer at a time (the stream's thread).

#include <QString>
#include <atomic>
#include <mutex>
#include <optional>

#include "core/filter/predicate.h"
#include "core/log/boundedbuffer.h"
#include "core/log/filterpass.h"
#include "core/log/logrow.h"
#include "core/log/replayguard.h"
#include "core/log/storechange.h"

namespace vf {

class RowStore final {
public:
    static constexpr qsizetype kLiveCapacity = 20000;
    static constexpr qint64 kNotifyIntervalMs = 250;

    RowStore() = default;
    RowStore(const RowStore&) = delete;
    RowStore& operator=(const RowStore&) = delete;

    // A run starts: rows are capped again and, for at most
    // ReplayGuard::kWindowMs, lines the device already sent are kept out.
    void beginRun(qint64 nowMs);

    struct Added {
        bool stored = false;  // false: a replayed line, dropped
        bool notify = false;  // time for a (rate-limited) table notice
    };
    // One arriving row, tested against the filter in force; dropped while a
    // file is shown (lines of the run before still on their way). Producer only.
    Added addLive(const RowPtr& row, qint64 nowMs);
    // Where the producer copies each line before parsing it. Producer only.
    RowArena& producerArena() { return arena_; }
    // Each line of a run: for the first that starts with a device time,
    // whether the device lost lines since the last row kept, and how many
    // milliseconds of log (see ReplayGuard::takeGap). Producer only; one
    // atomic load once that line came.
    std::optional<int64_t> takeGap(std::string_view line);
    // The device time of the last live row kept, for a run that carries on
    // this log; empty when the log does not go on from a device.
    QString resumeTime() const;
    // A status row: among all rows, not in the filtered view; never taken
    // for a device row by the replay guard.
    void addMessage(const RowValues& values);
    // The timer's flush: whether rows came since the last notice.
    bool takePendingNotice(qint64 nowMs);

    // No rows; what the device sent is forgotten (nothing is left to replay).
    void clear();
    // A loaded file: replaces all rows, without a cap until the next run;
    // what the device sent is forgotten.
    void loadRows(RowList rows);
    // A file read into the store as it is parsed: no rows, and no cap until
    // the next run; what the device sent is forgotten.
    void beginFile();
    // Appends rows of that file; the view takes those the filter in force
    // passes (tested outside the lock: a filter that lands meanwhile tests
    // them again). Returns whether the rows shown changed.
    bool addFileRows(const RowList& rows);
    // Lets the `n` oldest rows of that file go, and the rows of the view
    // that lead it among them (rows it matched later stay until the next
    // filter). Returns whether the rows shown changed.
    bool dropFileRows(qsizetype n);
    // Names the source of every row, now and to come (RowKey::Source).
    void setSourceLabel(const std::string& label);
    // Sets `name` as the app of every row of `pid`; returns how many.
    int setApp(const std::string& pid, const std::string& name);

    // The view (all rows without a filter), all rows, and their count.
    MarkedRows filtered() const;
    MarkedRows all() const;
    qsizetype count() const;

    PredicatePtr filter() const;
    // Installs the result of a full pass over the rows of `snapshot`,
    // testing the rows that arrived since; nothing when `cancelled` is set.
    // On an evaluation error the filter is dropped and the error returned.
    // A view showing the first rows of the same pass (`passNumber`, see
    // showPartial()) is completed by appending the rest.
    QString installFilter(const PredicatePtr& filter, FullPassResult pass, const ListMark& snapshot,
                          const std::atomic<bool>& cancelled, uint64_t passNumber = 0);
    // No filter (cancelled: nothing).
    void clearFilter(const std::atomic<bool>& cancelled);

    // Shows what full pass number `pass` for `filter` over the rows of
    // `snapshot` matched so far, while it goes on: `matched` follow the rows
    // shown before (the pass's first call replaces the view and puts
    // `filter` in force). Until installFilter(), arriving rows stay out of
    // the view: they come after rows the pass has not reached. Nothing when
    // `cancelled` is set or all rows were replaced since the snapshot.
    // Returns whether the view changed.
    bool showPartial(uint64_t pass, const PredicatePtr& filter, const RowList& matched, const ListMark& snapshot,
                     const std::atomic<bool>& cancelled);
    // The pass going on was stopped: a view holding its first rows keeps
    // them, and the rows that arrive from now on join it when its filter
    // passes them (those that came during the pass stay out). Returns how
    // many rows that view holds; nullopt when it held none of the pass's.
    std::optional<qsizetype> stopPartial();

private:
    void resetView();
    void compactOrphans();

    mutable std::mutex mutex_;
    BoundedBuffer logData_;
    BoundedBuffer viewData_;
    PredicatePtr filter_;
    std::atomic<uint64_t> filterVersion_{0};  // changed under the lock
    ReplayGuard replay_;
    qint64 lastNoticeMs_ = 0;
    quint64 rowsSinceNotice_ = 0;
    RowArena messageArena_;     // status rows
    RowArena viewArena_;        // copies of filtered rows that left logData
    qsizetype viewCompacted_ = 0;  // leading rows of viewData that are such copies
    std::string sourceLabel_;      // empty: the rows' sources are not named here
    uint64_t partialPass_ = 0;     // the pass whose first rows the view shows; 0: none

    std::atomic<bool> gapCheck_{false};  // mirrors the guard's, read without the lock
    std::atomic<bool> fileShown_{false};  // from a file's start to the next run

    // The producer's own state (one producer at a time).
    RowArena arena_;
    AppendFilter appendFilter_;
};

}  // namespace vf
