#pragma once
// Two numbers that name a row and must not be mixed up.
//
// RowIdx is a row's sequence number: the store gives it once, when the row
// is made, and every list that holds the row (all rows, the filtered view,
// the table's copy, a crash's rows) knows the row by it. Along any list the
// numbers ascend.
//
// ViewPos is a position in one list as it is shown now (the filtered view,
// the table's rows). It changes whenever rows leave the front or the filter
// changes, so it is only good until the list changes.
//
// Neither turns into the other, or into a plain integer, without saying so:
// arithmetic that mixes them does not compile.
//
// Plain values: any thread.

#include <QtGlobal>
#include <compare>
#include <cstdint>

namespace vf {

class RowIdx final {
public:
    constexpr RowIdx() noexcept = default;
    constexpr explicit RowIdx(uint64_t value) noexcept : value_(value) {}

    constexpr uint64_t value() const noexcept { return value_; }
    // The number the store gives the row made after this one.
    constexpr RowIdx next() const noexcept { return RowIdx(value_ + 1); }

    friend constexpr auto operator<=>(RowIdx, RowIdx) noexcept = default;

private:
    uint64_t value_ = 0;
};

class ViewPos final {
public:
    constexpr ViewPos() noexcept = default;
    constexpr explicit ViewPos(qsizetype value) noexcept : value_(value) {}

    constexpr qsizetype value() const noexcept { return value_; }
    // The position as a row of a Qt item model.
    constexpr int row() const noexcept { return int(value_); }

    friend constexpr auto operator<=>(ViewPos, ViewPos) noexcept = default;

private:
    qsizetype value_ = 0;
};

}  // namespace vf
