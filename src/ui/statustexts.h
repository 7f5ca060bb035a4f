#pragma once
// Texts the main window shows about its state. Pure functions; any thread.

#include <QString>

namespace vf::ui {

struct TableState {
    qsizetype total = 0;    // rows in the store
    bool fromDevice = true;  // false: a file is shown
    bool logging = false;    // a device stream is running
    QString filter;          // the status line's filter text ("Filter: ...")
};

// What an empty log table says to do; empty when the table has rows.
QString emptyTableHint(qsizetype shown, const TableState& state);

}  // namespace vf::ui
