#pragma once
// BoundedBuffer: an ordered list of rows with a cap. When an addition takes
// the count past the capacity, the pruneSize oldest rows go in one step, so
// pruning happens once per pruneSize additions, not on every row.
//
// No lock of its own: the store serialises every access with its row lock.

#include <QList>
#include <QString>
#include <optional>

#include "core/log/logrow.h"

namespace vf {

// The filter a buffer is asked to apply (the store plugs the filter language in).
class RowMatcher {
public:
    virtual ~RowMatcher() = default;
    // Whether the row passes. On an evaluation error, sets *error and returns false.
    virtual bool matches(const Row& row, QString* error) const = 0;
};

class BoundedBuffer final {
public:
    static constexpr qsizetype kDefaultCapacity = 20000;
    static constexpr qsizetype kDefaultPruneSize = 1000;

    explicit BoundedBuffer(qsizetype capacity = kDefaultCapacity) : capacity_(capacity) { internalInit(); }

    qsizetype count() const { return data_.size(); }
    void reset() { data_.clear(); }

    // Appends one row; returns whether the buffer pruned.
    bool addObject(RowPtr row) {
        data_.append(std::move(row));
        return checkCapacity();
    }

    // Replaces the whole contents (it does not append); the cap is checked once.
    bool addAllObjects(RowList rows) {
        data_ = std::move(rows);
        return checkCapacity();
    }

    // With a non-zero capacity exceeded, removes the pruneSize oldest rows.
    bool checkCapacity() {
        if (capacity_ == 0 || data_.size() <= capacity_) return false;
        data_.remove(0, qMin(pruneSize_, data_.size()));
        return true;
    }

    // The rows that pass `matcher`, in order; all rows (a shared copy) without
    // one. Stops at the first evaluation error, which it reports in *error.
    RowList itemsForPredicate(const RowMatcher* matcher, QString* error = nullptr) const {
        if (data_.isEmpty()) return {};
        if (matcher == nullptr) return data_;
        RowList result;
        for (const RowPtr& row : data_) {
            QString failure;
            if (matcher->matches(*row, &failure)) {
                result.append(row);
            } else if (!failure.isEmpty()) {
                if (error != nullptr) *error = failure;
                return {};
            }
        }
        return result;
    }

    std::optional<RowPtr> lastObject() const {
        if (data_.isEmpty()) return std::nullopt;
        return data_.last();
    }

    qsizetype capacity() const { return capacity_; }
    void setCapacity(qsizetype capacity) { capacity_ = capacity; }
    qsizetype pruneSize() const { return pruneSize_; }
    void setPruneSize(qsizetype pruneSize) { pruneSize_ = pruneSize; }
    const RowList& dataArray() const { return data_; }
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
};

}  // namespace vf
