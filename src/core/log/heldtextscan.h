#pragma once
// HeldTextScan: which rows may hold the text a filter needs (see
// Predicate::heldText), asked of rows in order. Rows whose lines lie in an
// adopted text (a mapped file) are answered from searches of that text a
// stretch at a time, not of each line: a hit is mapped back to the row
// whose span holds it, and a stretch without a hit answers for every row in
// it. Other rows (live lines, rows with side records) are scanned one by
// one. Either way the answer is the same: a row may hold the text when its
// line holds it, when its line has bytes other than ASCII (which may hold
// it once folded), or when a value outside its line (the listed app, a tid
// shown as "-", a side record) may.
//
// One scan per thread; rows are only read.

#include <array>
#include <string_view>

#include "core/filter/textmatch.h"
#include "core/log/logrow.h"

namespace vf {

class HeldTextScan final {
public:
    // `held` outlives the scan. With `wholeText` false every row is scanned
    // on its own (the answers are the same: for comparisons).
    explicit HeldTextScan(const textmatch::Searcher& held, bool wholeText = true);
    HeldTextScan(const HeldTextScan&) = delete;
    HeldTextScan& operator=(const HeldTextScan&) = delete;

    // Whether `row` may hold the text. Fastest for rows asked in the order
    // of their lines in the text.
    bool mayHold(const Row& row);

private:
    // A stretch of an adopted text searched so far: [from, to) was looked
    // at; `found` is where the needle first occurs there or, when
    // `nonAscii`, the first byte >= 0x80 before it (null: neither).
    struct Region {
        std::string_view text;
        const char* from = nullptr;
        const char* to = nullptr;
        const char* found = nullptr;
        bool nonAscii = false;
    };
    struct AppAnswer {
        const char* name = nullptr;
        bool mayHold = false;
    };

    bool spanMayHold(const Row& row);
    Region* regionOf(const Row& row, std::string_view span);
    void search(Region& region, const char* from, const char* end);
    bool appMayHold(std::string_view app);

    const textmatch::Searcher& held_;
    bool wholeText_;
    bool dashMayHold_;
    std::array<Region, 4> regions_{};  // a merged list interleaves a few texts
    size_t nextRegion_ = 0;
    std::array<AppAnswer, 64> apps_{};  // by the listed name's address
};

}  // namespace vf
