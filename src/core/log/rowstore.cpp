#include "core/log/rowstore.h"

#include "core/adb/devicetime.h"
#include "core/support/logger.h"

namespace vf {

void RowStore::beginRun(qint64 nowMs) {
    std::lock_guard lock(mutex_);
    replay_.startRun(nowMs);
    gapCheck_.store(replay_.awaitsFirstRow(), std::memory_order_relaxed);
    logData_.setCapacity(kLiveCapacity);
    viewData_.setCapacity(kLiveCapacity);
    fileShown_.store(false, std::memory_order_relaxed);
}

std::optional<int64_t> RowStore::takeGap(std::string_view line) {
    if (!gapCheck_.load(std::memory_order_relaxed)) return std::nullopt;
    const std::optional<std::string_view> time = leadingDeviceTime(line);
    if (!time) return std::nullopt;
    std::lock_guard lock(mutex_);
    gapCheck_.store(false, std::memory_order_relaxed);
    return replay_.takeGap(*time);
}

QString RowStore::resumeTime() const {
    std::lock_guard lock(mutex_);
    return QString::fromStdString(replay_.lastTime());
}

RowStore::Added RowStore::addLive(const RowPtr& row, qint64 nowMs) {
    if (fileShown_.load(std::memory_order_relaxed)) return {};
    const uint64_t seen = filterVersion_.load(std::memory_order_acquire);
    const PredicatePtr current = seen != appendFilter_.version() ? filter() : appendFilter_.filter();
    bool accepted = appendFilter_.test(*row, current, seen);
    const uint64_t print = ReplayGuard::fingerprint(row->pid(), row->tid(), row->type(), row->name(), row->text());
    std::lock_guard lock(mutex_);
    const uint64_t now = filterVersion_.load(std::memory_order_relaxed);
    // The filter changed while this row was tested: test it against the new one.
    if (now != appendFilter_.version()) accepted = appendFilter_.test(*row, filter_, now);
    // Reconnecting makes the device send its buffer again: keep the replay out.
    if (replay_.isReplay(row->time(), print, nowMs)) return {};
    replay_.rowStored(row->time(), print);
    bool pruned = logData_.addObject(row);
    if (pruned) compactOrphans();
    if (accepted && partialPass_ == 0) {
        pruned = viewData_.addObject(row);
        if (pruned) viewCompacted_ = qMax<qsizetype>(0, viewCompacted_ - viewData_.pruneSize());
    }
    Added added{true, false};
    if (pruned || accepted || !appendFilter_.filter()) {
        ++rowsSinceNotice_;
        if (nowMs - lastNoticeMs_ > kNotifyIntervalMs) {
            rowsSinceNotice_ = 0;
            lastNoticeMs_ = nowMs;
            added.notify = true;
        }
    }
    return added;
}

void RowStore::addMessage(const RowValues& values) {
    std::lock_guard lock(mutex_);
    logData_.addObject(messageArena_.make(values));
}

bool RowStore::takePendingNotice(qint64 nowMs) {
    std::lock_guard lock(mutex_);
    if (rowsSinceNotice_ == 0) return false;
    rowsSinceNotice_ = 0;
    lastNoticeMs_ = nowMs;
    return true;
}

void RowStore::clear() {
    std::lock_guard lock(mutex_);
    logData_.reset();
    resetView();
    replay_.forget();
    gapCheck_.store(false, std::memory_order_relaxed);
}

void RowStore::setSourceLabel(const std::string& label) {
    std::lock_guard lock(mutex_);
    sourceLabel_ = label;
    // The arenas' lists take their own locks; the producer's is safe to label meanwhile.
    arena_.setSourceLabel(label);
    messageArena_.setSourceLabel(label);
    viewArena_.setSourceLabel(label);
    labelSources(logData_.dataArray(), label);
}

void RowStore::loadRows(RowList rows) {
    std::lock_guard lock(mutex_);
    if (!sourceLabel_.empty()) labelSources(rows, sourceLabel_);
    logData_.setCapacity(0);
    viewData_.setCapacity(0);
    logData_.addAllObjects(std::move(rows));
    replay_.forget();
    gapCheck_.store(false, std::memory_order_relaxed);
    fileShown_.store(true, std::memory_order_relaxed);
}

void RowStore::beginFile() {
    std::lock_guard lock(mutex_);
    logData_.reset();
    resetView();
    logData_.setCapacity(0);
    viewData_.setCapacity(0);
    replay_.forget();
    gapCheck_.store(false, std::memory_order_relaxed);
    fileShown_.store(true, std::memory_order_relaxed);
}

namespace {
RowList passing(const RowList& rows, const PredicatePtr& filter) {
    RowList accepted;
    for (const RowPtr& row : rows)
        if (acceptsRow(filter, *row)) accepted.append(row);
    return accepted;
}
}  // namespace

bool RowStore::addFileRows(const RowList& rows) {
    PredicatePtr tested;
    uint64_t version = 0;
    {
        std::lock_guard lock(mutex_);
        if (!sourceLabel_.empty()) labelSources(rows, sourceLabel_);  // before `source` is tested
        tested = filter_;
        version = filterVersion_.load(std::memory_order_relaxed);
    }
    RowList accepted = tested ? passing(rows, tested) : RowList();
    std::lock_guard lock(mutex_);
    if (filterVersion_.load(std::memory_order_relaxed) != version) {
        tested = filter_;
        accepted = tested ? passing(rows, tested) : RowList();
    }
    logData_.addObjects(rows);
    if (!filter_) return !rows.isEmpty();
    if (partialPass_ != 0) return false;
    viewData_.addObjects(accepted);
    return !accepted.isEmpty();
}

bool RowStore::dropFileRows(qsizetype n) {
    std::lock_guard lock(mutex_);
    n = qMin(n, logData_.count());
    if (n <= 0) return false;
    // The view is a subsequence of all rows: its rows among the first n lead it.
    const RowList& all = logData_.dataArray();
    const RowList& view = viewData_.dataArray();
    qsizetype inView = 0;
    for (qsizetype i = 0; i < n && inView < view.size(); ++i)
        if (all.at(i) == view.at(inView)) ++inView;
    logData_.dropFront(n);
    if (!filter_) return true;
    viewData_.dropFront(inView);
    return inView > 0;
}

int RowStore::setApp(const std::string& pid, const std::string& name) {
    std::lock_guard lock(mutex_);
    int found = 0;
    for (const RowPtr& row : logData_.dataArray()) {
        if (row->pid() != pid) continue;
        row->setApp(name);
        ++found;
    }
    return found;
}

MarkedRows RowStore::filtered() const {
    std::lock_guard lock(mutex_);
    const BoundedBuffer& list = filter_ ? viewData_ : logData_;
    return {list.dataArray(), list.mark()};
}

MarkedRows RowStore::all() const {
    std::lock_guard lock(mutex_);
    return {logData_.dataArray(), logData_.mark()};
}

qsizetype RowStore::count() const {
    std::lock_guard lock(mutex_);
    return logData_.count();
}

PredicatePtr RowStore::filter() const {
    std::lock_guard lock(mutex_);
    return filter_;
}

QString RowStore::installFilter(const PredicatePtr& filter, FullPassResult pass, const ListMark& snapshot,
                                const std::atomic<bool>& cancelled, uint64_t passNumber) {
    std::lock_guard lock(mutex_);
    if (cancelled || pass.cancelled) return {};
    QString error = std::move(pass.error);
    bool reset = true;
    if (error.isEmpty()) {
        // Rows that arrived during the pass were tested against the old filter.
        const RowList& rows = logData_.dataArray();
        const StoreChange change = changeBetween(snapshot, logData_.mark());
        if (change.reset) pass.accepted.clear();
        const qsizetype from = change.reset ? 0 : qMax<qsizetype>(0, rows.size() - change.appended);
        for (qsizetype i = from; i < rows.size() && error.isEmpty(); ++i)
            if (acceptsRow(filter, *rows.at(i), &error)) pass.accepted.append(rows.at(i));
        reset = change.reset || passNumber == 0 || partialPass_ != passNumber;
    }
    partialPass_ = 0;
    if (!reset && error.isEmpty()) {
        // The view shows this pass's first rows already: the rest follow them.
        VF_LOG("setLogDataFilter: {}, #{}", filter->format(), pass.accepted.size());
        viewData_.addObjects(pass.accepted.mid(qMin(viewData_.count(), pass.accepted.size())));
        return {};
    }
    resetView();
    ++filterVersion_;
    if (!error.isEmpty()) {
        filter_.reset();
        return error;
    }
    VF_LOG("setLogDataFilter: {}, #{}", filter->format(), pass.accepted.size());
    viewData_.addAllObjects(std::move(pass.accepted));
    filter_ = filter;
    return {};
}

bool RowStore::showPartial(uint64_t pass, const PredicatePtr& filter, const RowList& matched, const ListMark& snapshot,
                           const std::atomic<bool>& cancelled) {
    std::lock_guard lock(mutex_);
    if (cancelled || logData_.mark().epoch != snapshot.epoch) return false;
    if (partialPass_ != pass) {
        resetView();
        ++filterVersion_;
        filter_ = filter;
        partialPass_ = pass;
        viewData_.addObjects(matched);
        return true;
    }
    viewData_.addObjects(matched);
    return !matched.isEmpty();
}

std::optional<qsizetype> RowStore::stopPartial() {
    std::lock_guard lock(mutex_);
    if (partialPass_ == 0) return std::nullopt;
    partialPass_ = 0;
    return viewData_.count();
}

void RowStore::clearFilter(const std::atomic<bool>& cancelled) {
    std::lock_guard lock(mutex_);
    if (cancelled) return;
    filter_.reset();
    resetView();
    ++filterVersion_;
}

void RowStore::resetView() {
    partialPass_ = 0;
    viewData_.reset();
    viewCompacted_ = 0;
}

// A row of the filtered view that logData no longer holds would keep the
// whole segment and text chunk it was made in alive; with a sparse filter the
// view spans far more lines than logData keeps. Such rows are copied into
// compact storage of their own as they leave logData.
void RowStore::compactOrphans() {
    if (logData_.count() == 0 || viewData_.count() == viewCompacted_) return;
    const RowIdx firstKept = logData_.dataArray().constFirst()->idx();
    RowList view = viewData_.dataArray();
    viewData_.setDataArray(RowList());  // `view` is now the only owner: edits do not copy
    for (; viewCompacted_ < view.size() && view.at(viewCompacted_)->idx() < firstKept; ++viewCompacted_)
        view[viewCompacted_] = viewArena_.copy(*view.at(viewCompacted_));
    viewData_.setDataArray(std::move(view));
}

}  // namespace vf
