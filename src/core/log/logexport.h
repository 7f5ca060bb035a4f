#pragma once
// Everything written out of the rows (saved text files, clipboard text) and
// the one saved format read besides logcat text: the program's own
// "vellumfox" property-list file.
//
// All functions are pure or touch only the files they are given; any thread
// may call them. Rows are shared, never copied or changed.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <string>

#include "core/log/logparser.h"
#include "core/log/logrow.h"

namespace vf {

// One saved line: "time app(pid) tid type name: text", ending in exactly one
// line feed; a row with a uid is "time uid app(pid) tid type name: text".
// Read back, such lines are the threadtime-with-app layout (with uid).
std::string savedTextLine(const Row& row);

// The saved text of all `rows`, in order.
QByteArray writeSavedText(const RowList& rows);

// Writes the saved text of `rows` to `path` as UTF-8 (not atomically).
// `visibleOnly` and `allowedExtensions` are only logged: the caller chose
// the rows and the save panel's extensions. Failures are not reported to
// the user; the result says whether the file was written.
bool saveFile(const QString& path, const RowList& rows, bool visibleOnly, const QStringList& allowedExtensions);

// Clipboard text of `rows`: one line per row, either the value of `column`
// or the seven values time, app, pid, tid, type, name, text joined by tabs.
// Line breaks inside values become blanks; every line ends in a line feed.
QString copyText(const RowList& rows, std::optional<RowKey> column = std::nullopt);

// Reads a property-list file (XML or binary) whose root dictionary holds
// the rows under "logdata". Missing values are empty; a row without a
// number under "idx" takes one from `nextIndex`, and so do all rows when
// the numbers do not ascend. nullopt when the file is not such a dictionary.
std::optional<RowList> readVellumfoxFile(const QString& path, const RowIndexSource& nextIndex);

// The same, reporting as readTextFile() does: the rows a stretch at a time
// to `how.rows` as they are read, progress (bytes of the file; a binary
// list: the bytes read, then the rows made, half the bar each), and a stop
// that keeps the rows made so far, also while a binary list is parsed.
// `read` false: the file is no such dictionary, nothing was handed on
// (a list damaged after rows went on keeps them, and says so in the log).
// `numbers` Fresh: every row takes its number from `nextIndex`.
struct DocumentRead {
    bool read = false;
    bool cancelled = false;
    // The numbers stopped ascending after rows were handed on: nothing more
    // was read; read the file again with `numbers` Fresh.
    bool renumber = false;
    RowList rows;  // every row, unless they went to TextFileReading::rows
};
enum class DocumentNumbers { AsSaved, Fresh };
DocumentRead readVellumfoxFile(const QString& path, const RowIndexSource& nextIndex, const TextFileReading& how,
                               DocumentNumbers numbers = DocumentNumbers::AsSaved);

// Opens a saved log: a path ending in "vellumfox" (any case) that holds a
// property-list dictionary gives its rows, anything else is read as text.
// `progress` hears how far a text file's reading got (bytes done, of all).
std::optional<RowList> openLogFile(const QString& path, const RowIndexSource& nextIndex,
                                   const std::function<void(uint64_t done, uint64_t total)>& progress = {});

}  // namespace vf
