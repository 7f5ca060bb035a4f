#pragma once
// HeldTextScan: which rows may hold the text a filter needs (one of its
// words or a match of one of its patterns: see Predicate::heldText), asked
// of rows in order. Rows whose lines lie in an
// adopted text (a mapped file) are answered from searches of that text a
// stretch at a time, not of each line: a hit is mapped back to the row
// whose span holds it, and a stretch without a hit answers for every row in
// it. Other rows (live lines, rows with side records) are scanned one by
// one. Either way the answer is the same: a row may hold the text when its
// line holds a word or a match starts in it, when its line has bytes other
// than ASCII (which may hold a word once folded), or when a value outside
// its line (the listed app, a tid shown as "-", a side record) may.
//
// One scan per thread; rows are only read.

#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "core/filter/heldtext.h"
#include "core/filter/textmatch.h"
#include "core/log/logrow.h"

namespace vf {

// A filter's held text made ready to search for. Immutable; any thread.
class HeldTextSearch final {
public:
    explicit HeldTextSearch(const HeldText& held);

    // The first thing found in `text`: where a hit starts and how far a
    // line must run from there to hold it (a word's length; 0 for a
    // pattern's match, which counts wherever it starts, and for a byte >=
    // 0x80 met before any word that folding may find); `at` npos: nothing.
    struct Hit {
        size_t at = std::string_view::npos;
        size_t length = 0;
    };
    Hit find(std::string_view text) const;

    // Whether `text` on its own (a line, an app's name) may hold it.
    bool mayHold(std::string_view text) const { return find(text).at != std::string_view::npos; }

private:
    struct Word {
        textmatch::Searcher searcher;
        bool folded;  // bytes >= 0x80 may hold it once folded
    };
    std::vector<Word> words_;
    std::vector<std::shared_ptr<const HeldPattern>> patterns_;
};

class HeldTextScan final {
public:
    // `held` outlives the scan. With `wholeText` false every row is scanned
    // on its own (the answers are the same: for comparisons).
    explicit HeldTextScan(const HeldTextSearch& held, bool wholeText = true);
    HeldTextScan(const HeldTextScan&) = delete;
    HeldTextScan& operator=(const HeldTextScan&) = delete;

    // Whether `row` may hold the text. Fastest for rows asked in the order
    // of their lines in the text.
    bool mayHold(const Row& row);

private:
    // A stretch of an adopted text searched so far: [from, to) was looked
    // at; `found` is the first hit there, a line must run `length` bytes
    // from it to hold it (null: none).
    struct Region {
        std::string_view text;
        const char* from = nullptr;
        const char* to = nullptr;
        const char* found = nullptr;
        size_t length = 0;
    };
    struct AppAnswer {
        const char* name = nullptr;
        bool mayHold = false;
    };

    bool spanMayHold(const Row& row);
    Region* regionOf(const Row& row, std::string_view span);
    void search(Region& region, const char* from, const char* end);
    bool appMayHold(std::string_view app);

    const HeldTextSearch& held_;
    bool wholeText_;
    bool dashMayHold_;
    std::array<Region, 4> regions_{};  // a merged list interleaves a few texts
    size_t nextRegion_ = 0;
    std::array<AppAnswer, 64> apps_{};  // by the listed name's address
};

}  // namespace vf
