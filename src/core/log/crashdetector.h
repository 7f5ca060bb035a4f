#pragma once
// Finds app crashes, native crashes and ANRs in a stream of log rows.
//
// Fed every row once, in order, as it arrives (live) or as a file is read;
// the same code serves both. It recognises the blocks Android writes when
// something dies:
//   java    AndroidRuntime "FATAL EXCEPTION: THREAD", "Process: PKG, PID: N"
//           (or "PID: N"), the exception, "at ...", "Caused by: ...",
//           "... N more"; also a bare exception line followed by "at" lines;
//   system  "*** FATAL EXCEPTION IN SYSTEM PROCESS: THREAD";
//   native  a DEBUG / crash_dump / tombstoned block opened by "*** *** ***",
//           with "pid: N, tid: N, name: T  >>> PROC <<<" (or the older
//           "pid: N, tid: N  >>> PROC <<<"), "signal N (SIGxxx), code ...",
//           and the "#NN pc ..." backtrace; and libc's one-line
//           "Fatal signal N (SIGxxx), code ..., in tid N (T), pid N (PROC)",
//           which absorbs the dump that follows it for the same pid;
//   anr     ActivityManager "ANR in PKG (...)" or "ANR (application not
//           responding) in process: PKG", then "PID: N", "Reason: ...".
//
// Several reporters write at once and their lines interleave, so a row joins
// the open block of its own reporter (same pid AND tid, same tag, same
// source: a merged timeline interleaves devices whose pids repeat), never
// the block that happens to be above it. A block ends when its reporter writes
// something that does not belong to it, falls silent for 2,000 rows (a
// block is written in one burst; the process died, usually), or at finish(). A crash is listed as
// soon as its first row is recognised and grows as rows come, so a block
// cut off by the end of the log is still listed with what it has.
//
// ActivityManager's "Process NAME (pid N) has died" ends the open blocks of
// that pid at once: the crash is complete when its process is gone.
//
// A crash's app is the process its block names ("Process:", ">>> PROC <<<",
// libc's line, the ANR's package), else the app column of its first row,
// which the store fills from start lines, the uid and the process table; a
// block's name takes the row's "@user" when the row shows the same process
// in another user ("com.example@10").
//
// A start line is taken under its usual tag or at level E/F/A: the store
// may later overwrite the tag of a pid it did not know with the process name.
// Start lines are looked for at levels E, F and A, at level I only for the
// "*** *** ***" of older devices' dumps, and never at V, D or W.
//
// Bounded: at most kMaxRowsPerCrash rows per crash (the first ones; later
// rows are only counted) and kMaxCrashes crashes (the oldest go first).
//
// Thread contract: not thread-safe. One thread feeds a detector and reads
// its crashes (the GUI thread in the viewer, the calling thread in the
// companion and the tests). It keeps no row, only idx values and copies of
// the few strings it reports, so rows may be freed at any time.

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/filter/predicate.h"
#include "core/log/logrow.h"

namespace vf {

enum class CrashKind : uint8_t { Java, Native, Anr, System };

// "java", "native", "anr" or "system".
std::string_view crashKindName(CrashKind kind);

struct CrashRecord {
    uint64_t id = 0;  // detection order, from 1; never reused by a detector
    CrashKind kind = CrashKind::Java;
    std::string app;    // package or process named by the block, else the reporter's app
    std::string pid;    // pid of the process that died, else the reporter's pid
    std::string time;   // time of the first row
    std::string title;  // the exception, the signal or the ANR reason
    std::string source;  // the `source` of its first row: tells rows apart in a merged timeline
    std::vector<RowIdx> rows;  // each row kept, ascending
    size_t droppedRows = 0;      // rows beyond kMaxRowsPerCrash, not kept

    RowIdx firstIdx() const { return rows.empty() ? RowIdx() : rows.front(); }
    RowIdx lastIdx() const { return rows.empty() ? RowIdx() : rows.back(); }
};

class CrashDetector final {
public:
    static constexpr size_t kMaxRowsPerCrash = 500;
    static constexpr size_t kMaxCrashes = 1000;

    CrashDetector();
    ~CrashDetector();
    CrashDetector(const CrashDetector&) = delete;
    CrashDetector& operator=(const CrashDetector&) = delete;

    // Takes the next row. Rows must come in log order; cheap for rows that
    // neither start a block nor come from a reporter with an open block.
    void feed(const Row& row);
    // Ends every open block (the log ended or the device went away).
    void finish();
    // Forgets everything (a new log). Ids go on counting.
    void clear();

    // Oldest first.
    const std::deque<CrashRecord>& crashes() const { return crashes_; }
    // Changes whenever crashes() changes (a crash added, grown, merged or dropped).
    uint64_t revision() const { return revision_; }
    // Whether the crash `id` is still being written: its reporter has not
    // moved on, fallen silent or been finished, so the crash may grow.
    bool isOpen(uint64_t id) const;
    // Crashes found since construction, including those dropped by the bound.
    uint64_t detectedCount() const { return detected_; }
    // The oldest crashes dropped by the bound (kMaxCrashes) since clear():
    // crashes() then holds the newest kMaxCrashes.
    uint64_t droppedCount() const { return dropped_; }

private:
    struct Block;
    struct Line;

    Block* openBlockOf(const Row& row);
    void closeStaleBlocks();
    bool continueBlock(Block& block, const Line& line);
    bool startBlock(const Line& line);
    void closeBlock(Block* block);
    CrashRecord* addCrash(CrashKind kind, const Line& line);
    CrashRecord* crashById(uint64_t id);
    void addRow(CrashRecord& crash, RowIdx idx);
    bool continueJava(Block& block, CrashRecord& crash, const Line& line);
    bool continueNative(Block& block, CrashRecord& crash, const Line& line);
    bool continueAnr(CrashRecord& crash, const Line& line);
    bool continuePending(Block& block, const Line& line);
    void absorbIntoSignal(Block& block, CrashRecord& crash);
    void endBlocksOfDeadProcess(const Row& row);

    std::vector<std::unique_ptr<Block>> open_;
    std::deque<CrashRecord> crashes_;
    uint64_t revision_ = 0;
    uint64_t detected_ = 0;
    uint64_t dropped_ = 0;
    uint64_t nextId_ = 1;
    uint64_t fed_ = 0;  // rows fed
};

// A filter that passes exactly the rows whose idx is in `rows` (any order)
// and, unless `source` is empty, whose source is `source` (sources share idx
// numbers in a merged timeline). Its text is the equivalent "idx == 'N' OR
// ..." expression. Any thread.
PredicatePtr rowsPredicate(std::vector<RowIdx> rows, std::string_view source = {});

}  // namespace vf
