#pragma once
// vellumfox-cli crashes FILE [--json]: the crashes and ANRs of a saved log,
// found by the viewer's crash detector. One line per crash, or one JSON
// object per line with kind, app, pid, time, title, rows (the count),
// firstIdx and lastIdx; when more crashes than the detector keeps were found,
// a note on `err` says how many were dropped. Runs to completion on the
// calling thread.
// "crashes --stream" is the stream command with a CrashPrinter as its sink.

#include <QString>
#include <ostream>
#include <vector>

#include "cli/options.h"
#include "cli/streamcommand.h"
#include "core/log/crashdetector.h"

namespace vf::cli {

// `terminal`: `out` is a terminal, so control characters in text lines are escaped.
int runCrashes(const CliOptions& options, std::ostream& out, std::ostream& err, bool terminal);

// Feeds a stream's rows to a detector and prints each crash once its block
// is complete: its reporter wrote something else or fell silent (see
// CrashDetector), or the stream stopped (the device went away, the run
// ended), which ends every open block. Main thread, as StreamCommand.
class CrashPrinter final : public StreamRowSink {
public:
    // `terminal`: `out` is a terminal, so control characters are escaped.
    CrashPrinter(std::ostream& out, bool json, bool terminal);
    CrashPrinter(const CrashPrinter&) = delete;
    CrashPrinter& operator=(const CrashPrinter&) = delete;

    void takeRow(const RowPtr& row) override;
    void streamStopped() override;

private:
    void printCompleted();

    std::ostream& out_;
    bool json_;
    bool terminal_;
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
