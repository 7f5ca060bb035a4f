#pragma once
// The commands that need no ADB server: convert, detect and check-filter.
// They run to completion on the calling thread and return the exit status.
// Output goes to `out`, messages to `err`.

#include <ostream>

#include "cli/options.h"

namespace vf::cli {

// `terminal`: `out` is a terminal (control characters in rows are escaped);
// `progress`: `err` is one (reading a large file shows how far it got).
// `exitsAfter`: the process ends when the command returns, so the rows read
// are left to the system instead of being freed.
int runConvert(const CliOptions& options, std::ostream& out, std::ostream& err, bool terminal = false,
               bool progress = false, bool exitsAfter = false);
int runDetect(const CliOptions& options, std::ostream& out, std::ostream& err);
int runCheckFilter(const CliOptions& options, std::ostream& out, std::ostream& err);

}  // namespace vf::cli
