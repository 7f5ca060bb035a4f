#pragma once
// vellumfox-cli crashes FILE [--json]: the crashes and ANRs of a saved log,
// found by the viewer's crash detector. One line per crash, or one JSON
// object per line with kind, app, pid, time, title, rows (the count),
// firstIdx and lastIdx. With --filter, --saved or --query, only the crashes
// one of whose rows passes. When more crashes than the detector keeps were
// found, a note on `err` says how many were dropped. Runs to completion on
// the calling thread.
// "crashes --stream" is the stream command with a CrashPrinter as its sink.

#include <QString>
#include <ostream>
#include <set>
#include <vector>

#include "cli/options.h"
#include "cli/streamcommand.h"
#include "core/filter/predicate.h"
#include "core/log/crashdetector.h"

namespace vf::cli {

// `terminal`: `out` is a terminal, so control characters in text lines are
// escaped; `progress`: `err` is one (reading a large file shows how far it got).
int runCrashes(const CliOptions& options, std::ostream& out, std::ostream& err, bool terminal,
               bool progress = false);

// Feeds a stream's rows to a detector and prints each crash once its block
// is complete: its reporter wrote something else or fell silent (see
// CrashDetector), or the stream stopped (the device went away, the run
// ended), which ends every open block. Main thread, as StreamCommand.
class CrashPrinter final : public StreamRowSink {
public:
    // `terminal`: `out` is a terminal, so control characters are escaped.
    // With a `filter`, only crashes one of whose rows passes it are printed;
    // the detector still sees every row.
    CrashPrinter(std::ostream& out, bool json, bool terminal, PredicatePtr filter = nullptr);
    CrashPrinter(const CrashPrinter&) = delete;
    CrashPrinter& operator=(const CrashPrinter&) = delete;

    void takeRow(const RowPtr& row) override;
    void streamStopped() override;

private:
    void printCompleted();
    void forgetOldPassingRows();

    std::ostream& out_;
    bool json_;
    bool terminal_;
    PredicatePtr filter_;
    // Rows that passed the filter and may still belong to a crash not yet
    // printed: rows of such crashes, and the last kPassingLookback rows
    // (a crash may take in rows written before it was recognised).
    static constexpr uint64_t kPassingLookback = 4096;
    std::set<RowIdx> passing_;
    uint64_t fed_ = 0;      // rows fed
    RowIdx lastIdx_;        // idx of the last one
    CrashDetector detector_;
    uint64_t revision_ = 0;
    uint64_t lastSeenId_ = 0;
    std::vector<uint64_t> unprinted_;  // ids of crashes still open, ascending
};

// One crash as a text line (no line feed) or as a JSON object. Pure.
std::string crashTextLine(const CrashRecord& crash);
std::string crashJsonLine(const CrashRecord& crash);

// The command's help page.
QString crashesHelpText();

}  // namespace vf::cli
