#pragma once
// The rows a bugreport's readers make: each log line a row of its section's
// buffer, kept whole or handed on a stretch at a time, named once the whole
// report was seen, and the layout of its sections. The zip's reader gives it
// one line at a time; the text's reader gives it stretches parsed on the pool.
//
// Threads: a ReportRows is used by the reading thread alone; reportLogRow()
// and ReportStretch are used by any thread on rows of its own arena.

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "core/log/bugreport.h"
#include "core/log/logparser.h"
#include "core/log/logrow.h"
#include "core/log/namelist.h"
#include "core/log/processidentity.h"

namespace vf {

// One log line of a report as a row in `arena`, numbered by `nextIndex`: cut
// at the line limit, repaired when it is not UTF-8, copied into the arena
// unless it lies there (`inArena`). Null when it is no threadtime line.
RowPtr reportLogRow(RowArena& arena, std::string_view line, bool inArena, const RowIndexSource& nextIndex);

// The format a section is said to have from its first row.
inline LogLineFormat reportRowFormat(const Row& row) {
    return row.uid().empty() ? LogLineFormat::ThreadTime : LogLineFormat::ThreadTimeUid;
}

// Log lines of one section parsed apart from the reading thread.
struct ReportStretch {
    RowList rows;  // numbered when taken
    FileChunkNotes notes;
    size_t section = 0;  // its index among the layout's sections
    int64_t lines = 0;   // log lines, empty ones left out
    LogLineFormat format = LogLineFormat::None;  // of its first row
};

class ReportRows final {
public:
    // `rows` false: only the layout is wanted (one row per section is made,
    // to tell its layout).
    ReportRows(const RowIndexSource& nextIndex, const TextFileReading& how, bool rows = true);
    ReportRows(const ReportRows&) = delete;
    ReportRows& operator=(const ReportRows&) = delete;

    bool wantsRows() const { return wantRows_; }
    // One line of the report. `line` lies in the arena's text when
    // `inArena`; otherwise it is copied.
    void take(std::string_view line, bool inArena);
    // A line that is no log line (the text's reader gives those one by one
    // and log lines in stretches); what kind the scanner found it.
    BugreportScanner::Line takeOther(std::string_view line);
    // The scanner's state: the section and buffer the next log line is in.
    const BugreportScanner& scanner() const { return scanner_; }
    size_t sectionCount() const { return layout_.sections.size(); }
    // Rows parsed elsewhere, in report order.
    void takeStretch(ReportStretch stretch);
    std::string_view adopt(std::string_view bytes, std::shared_ptr<const void> owner) {
        return arena_.adopt(bytes, std::move(owner));
    }

    // The reading got to `done` of `total` bytes: the rows made since the
    // last stretch go on when enough bytes went by. False: stop reading.
    bool reached(uint64_t done, uint64_t total);
    // Names the rows and says what was read.
    BugreportRead finish(ReportLayout::Kind kind, bool stopped);
    void setEntry(const QString& entry) { layout_.entry = entry; }

private:
    void closeStretch();

    const RowIndexSource& nextIndex_;
    const TextFileReading& how_;
    const bool wantRows_;
    RowArena arena_{std::make_shared<NameList>()};
    BugreportScanner scanner_;
    FileChunkNotes notes_;
    RowList rows_;  // since the last stretch
    ReportLayout layout_;
    FileRowNamer namer_;
    std::vector<RowList> stretches_;  // one per namer_.take(), for the names found later
    uint64_t handedAt_ = 0, toldAt_ = 0;
    size_t want_;
};

// Reads a report's text (`size` bytes of `fd`) through `rows`: mapped where
// it lies, its log sections cut at line breaks into stretches (sized as
// `how` says) parsed on Qt's global pool and joined in order on the calling
// thread, which parses too. Blocks; not on a thread of that pool. Line
// breaks are LF or CR LF: a section's marker after a lone CR is not seen.
BugreportRead readReportText(int fd, size_t size, ReportRows& rows, const TextFileReading& how);

// The same for a report's text that `read` gives a piece at a time (a zip's
// entry inflated: it fills the buffer it is given and returns how much it
// filled, 0 at the end, negative on an error), of `total` bytes (0: not
// known): a block is cut and its pieces parsed on the pool while the next
// one is read. Line breaks are LF or CR LF. Nullopt when `read` failed.
std::optional<BugreportRead> readReportStream(const std::function<int64_t(char*, size_t)>& read, uint64_t total,
                                             ReportRows& rows, const TextFileReading& how);

}  // namespace vf
