#pragma once
// Finding rows by regular expression, without widgets: the matcher the
// search field compiles once per text, and the walk that picks the next row
// to select among the rows shown.
//
// Rows are matched as UTF-8, in place: no per-field UTF-16 copy.

#include <QString>
#include <memory>
#include <optional>

#include "core/log/logrow.h"

namespace vf {

class RowSearch final {
public:
    // Compiles `text` as a regular expression with no options: case-sensitive,
    // metacharacters keep their meaning. A text that does not compile matches
    // nothing.
    explicit RowSearch(const QString& text);
    ~RowSearch();
    RowSearch(const RowSearch&) = delete;
    RowSearch& operator=(const RowSearch&) = delete;

    const QString& text() const;
    bool isValid() const;

    // The first key (time, app, pid, tid, name, text: every key but idx and
    // type) whose whole value holds a match, or nullopt.
    // One thread at a time per RowSearch (it keeps match buffers).
    std::optional<RowKey> firstMatchingKey(const Row& row) const;
    bool matches(const Row& row) const { return firstMatchingKey(row).has_value(); }

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

struct SearchOutcome {
    std::optional<ViewPos> row;  // the row to select alone; nullopt: no match
    int beeps = 0;                 // how many times to beep
};

// The walk behind Find / Find Next / Find Previous over the shown `rows`.
// direction: -1 backward, 0 from the selected row on, 1 forward. With no
// selection the walk always runs backward from the last row. Index wraps beep
// when the direction is not 0, and so does the end of a walk without a match.
// Find Next never lands on the row it started from: with the only matching
// row selected, it reports no match. An empty text or no rows: no row, no beep.
SearchOutcome findNext(const RowList& rows, const RowSearch& search, std::optional<ViewPos> selected,
                       int direction);

}  // namespace vf
