#pragma once
// BoundedBuffer: an ordered list of rows with a cap. When an addition takes
// the count past the capacity, the pruneSize oldest rows go in one step, so
// pruning happens once per pruneSize additions, not on every row.
//
// It keeps a mark (storechange.h) of what it dropped and appended, so that
// readers learn what changed without comparing rows.
//
// No lock of its own: the store serialises every access with its row lock.

#include <QList>

#include "core/log/logrow.h"
#include "core/log/storechange.h"

namespace vf {

class BoundedBuffer final {
public:
    static constexpr qsizetype kDefaultCapacity = 20000;
    static constexpr qsizetype kDefaultPruneSize = 1000;

    explicit BoundedBuffer(qsizetype capacity = kDefaultCapacity) : capacity_(capacity) { internalInit(); }

    qsizetype count() const { return data_.size(); }
    void reset() {
        data_.clear();
        mark_ = {nextListEpoch(), 0, 0};
    }
    const ListMark& mark() const { return mark_; }

    // Appends one row; returns whether the buffer pruned.
    bool addObject(RowPtr row) {
        data_.append(std::move(row));
        ++mark_.appended;
        return checkCapacity();
    }

    // Appends `rows` in order; returns whether the buffer pruned.
    bool addObjects(const RowList& rows) {
        data_.append(rows);
        mark_.appended += uint64_t(rows.size());
        return checkCapacity();
    }

    // Replaces the whole contents (it does not append); the cap is checked once.
    bool addAllObjects(RowList rows) {
        data_ = std::move(rows);
        mark_ = {nextListEpoch(), 0, uint64_t(data_.size())};
        return checkCapacity();
    }

    // Removes the `n` oldest rows (at most all of them).
    void dropFront(qsizetype n) {
        n = qBound(qsizetype(0), n, data_.size());
        data_.remove(0, n);
        mark_.dropped += uint64_t(n);
    }

    // With a non-zero capacity exceeded, removes the pruneSize oldest rows.
    bool checkCapacity() {
        if (capacity_ == 0 || data_.size() <= capacity_) return false;
        const qsizetype n = qMin(pruneSize_, data_.size());
        data_.remove(0, n);
        mark_.dropped += uint64_t(n);
        return true;
    }

    qsizetype capacity() const { return capacity_; }
    void setCapacity(qsizetype capacity) { capacity_ = capacity; }
    qsizetype pruneSize() const { return pruneSize_; }
    void setPruneSize(qsizetype pruneSize) { pruneSize_ = pruneSize; }
    const RowList& dataArray() const { return data_; }
    // Swaps in the same rows held elsewhere (or another copy of them); the
    // mark is kept.
    void setDataArray(RowList rows) { data_ = std::move(rows); }

private:
    void internalInit() {
        pruneSize_ = kDefaultPruneSize;
        data_ = RowList();
        data_.reserve(capacity_ + 1);
    }

    qsizetype capacity_;
    qsizetype pruneSize_ = kDefaultPruneSize;
    RowList data_;
    ListMark mark_{nextListEpoch(), 0, 0};
};

}  // namespace vf
