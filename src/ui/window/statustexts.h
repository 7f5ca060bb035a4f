#pragma once
// Texts the main window shows about its state. Pure functions; any thread.

#include <QString>
#include <QStringList>
#include <optional>

#include "core/adb/endpoint.h"

namespace vf::ui {

struct TableState {
    qsizetype total = 0;     // rows in the store
    bool filtered = false;   // a filter is in force
    bool fromDevice = true;  // false: a file is shown
    bool logging = false;    // a device stream is running
    bool seeking = false;    // the first device to come will be streamed
    bool waiting = false;    // the device is listed but not ready (offline, lost): waited for
    std::optional<AdbEndpoint> adbDown;  // the ADB server that does not answer; none when one does
    QString filter;          // the status line's filter text ("Filter: ...")
};

// The count on the status line: "Viewing 4 of 12" with a filter ("of 12
// so far" while logging, the total still grows), "Viewing: 12" without,
// and the version when there is nothing to count.
QString viewingText(qsizetype shown, const TableState& state);

// The filter in force as the user chose it: the saved filters by name, the
// quick filter's own text and the lowest level shown ("Info", empty for
// every level), e.g. “Errors” and “Net” · “queue=4” · Info and above.
// "All Messages" when none applies.
QString filterInWords(const QStringList& savedNames, const QString& quickText, const QString& level);

// What all the tabs hold together, "3 tabs: 45,210 rows, 12.4 MB"; empty
// for a single tab (its own count says it all).
QString totalsText(qsizetype tabs, qsizetype rows, size_t bytes);

// What an empty log table says to do; empty when the table has rows.
QString emptyTableHint(qsizetype shown, const TableState& state);

}  // namespace vf::ui
