#pragma once
// vellumfox-cli crashes FILE [--json]: the crashes and ANRs of a saved log,
// found by the viewer's crash detector. One line per crash, or one JSON
// object per line with kind, app, pid, time, title, rows (the count),
// firstIdx and lastIdx. Runs to completion on the calling thread.

#include <QString>
#include <ostream>

#include "cli/options.h"
#include "core/log/crashdetector.h"

namespace vf::cli {

int runCrashes(const CliOptions& options, std::ostream& out, std::ostream& err);

// One crash as a text line (no line feed) or as a JSON object. Pure.
std::string crashTextLine(const CrashRecord& crash);
std::string crashJsonLine(const CrashRecord& crash);

// The command's help page.
QString crashesHelpText();

}  // namespace vf::cli
