#pragma once
// Output writers for log rows: the viewer's saved-text layout, its copy
// layout (tab-separated), and JSON lines. Writers take the stream they write
// to, so the same code serves the terminal, pipes and tests.
//
// A writer is used from one thread at a time; it owns nothing but its state.

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "cli/options.h"
#include "core/log/logrow.h"
#include "core/support/terminaltext.h"

namespace vf::cli {

class RowWriter {
public:
    virtual ~RowWriter() = default;
    virtual void write(const RowPtr& row) = 0;
};

// `color`: wrap text lines in the level's terminal colour (text format only;
// tsv and json are for machines and never coloured). `terminal`: `out` is a
// terminal, so text and tsv lines go through terminalSafe() (a device's log
// must not drive the user's terminal; json escapes on its own). `out` must
// outlive the writer. `device`: rows of several devices share the output, so
// each carries this one's serial (a first column in text, a last one in tsv,
// a "device" key in json); empty: no device column.
std::unique_ptr<RowWriter> makeRowWriter(OutputFormat format, std::ostream& out, bool color = false,
                                         bool terminal = false, const std::string& device = {});

// Appends `utf8` as a JSON string literal (with its quotes). Control
// characters are escaped, invalid UTF-8 becomes U+FFFD.
void appendJsonString(std::string& out, std::string_view utf8);

// The terminal colour sequence for a level letter; empty for levels shown plain.
std::string_view levelColor(std::string_view type);

}  // namespace vf::cli
