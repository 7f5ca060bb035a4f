#pragma once
// The viewer's saved filters from the command line: "filters list | show
// NAME | import FILE | export FILE [NAME...]", and --saved NAME for convert
// and stream. The library is the viewer's own (the "predicates"
// preference), so both front ends see the same filters. Main thread; read
// the library before the preferences storage is switched for a run.

#include <istream>
#include <optional>
#include <ostream>

#include "cli/options.h"

namespace vf::cli {

int runFilters(const CliOptions& options, std::ostream& out, std::ostream& err);

// Appends the text of every --saved filter to options.filters, so they are
// ANDed like filters selected together in the viewer's list. Returns the
// exit status when a name is not in the library.
std::optional<int> resolveSavedFilters(CliOptions& options, std::ostream& err);

// "pretty json|xml|base64": the viewer's Format JSON, Format XML or Decoded
// Base64 applied to the whole of `in`.
int runPretty(const CliOptions& options, std::istream& in, std::ostream& out, std::ostream& err);

}  // namespace vf::cli
