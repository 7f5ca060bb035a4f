#pragma once
// Texts the main window shows about its state. Pure functions; any thread.

#include <QString>

namespace vf::ui {

struct TableState {
    qsizetype total = 0;     // rows in the store
    bool filtered = false;   // a filter is in force
    bool fromDevice = true;  // false: a file is shown
    bool logging = false;    // a device stream is running
    QString filter;          // the status line's filter text ("Filter: ...")
};

// The count on the status line: "Viewing 4 of 12" (a "+" while logging)
// with a filter, "Viewing: 12" without, and the version when there is
// nothing to count.
QString viewingText(qsizetype shown, const TableState& state);

// What an empty log table says to do; empty when the table has rows.
QString emptyTableHint(qsizetype shown, const TableState& state);

}  // namespace vf::ui
