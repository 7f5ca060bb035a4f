#pragma once
// What changed in one of the store's row lists between two moments, as a
// value: rows dropped from the front, rows appended at the end, or a reset
// (the list was replaced: cleared, loaded from a file, or a new filter).
//
// Every list carries a mark: an epoch (new for each replaced list, unique
// over all lists of the process) and running counts of rows dropped and
// appended. A consumer keeps the mark it last saw and asks what changed
// since, instead of rescanning the rows. Plain values: any thread.

#include <QtGlobal>
#include <atomic>
#include <cstdint>

#include "core/log/logrow.h"

namespace vf {

struct ListMark {
    uint64_t epoch = 0;  // 0: never seen a list
    uint64_t dropped = 0;
    uint64_t appended = 0;
    bool operator==(const ListMark&) const = default;
};

struct StoreChange {
    bool reset = false;
    qsizetype dropped = 0;   // from the front
    qsizetype appended = 0;  // at the end
    bool operator==(const StoreChange&) const = default;
    bool isEmpty() const { return !reset && dropped == 0 && appended == 0; }
};

// The change from `from` to `to` (marks of the same list, `to` not older).
inline StoreChange changeBetween(const ListMark& from, const ListMark& to) {
    if (from.epoch != to.epoch || to.dropped < from.dropped || to.appended < from.appended) return {true, 0, 0};
    return {false, qsizetype(to.dropped - from.dropped), qsizetype(to.appended - from.appended)};
}

// A fresh epoch for a replaced list.
inline uint64_t nextListEpoch() {
    static std::atomic<uint64_t> counter{0};
    return ++counter;
}

// Rows of one list with the mark they were taken at.
struct MarkedRows {
    RowList rows;
    ListMark mark;
};

// A notice of the store: the rows to show and what changed since the
// previous notice.
struct LogUpdate {
    RowList rows;
    StoreChange change;
};

}  // namespace vf
