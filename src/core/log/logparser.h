#pragma once
// Turning log text into rows: one line at a time in any of the logcat text
// layouts, layout detection for files, and reading a whole file.

#include <QString>
#include <QStringList>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/log/filestamp.h"
#include "core/log/logrow.h"

namespace vf {

// Layout codes; the numbers are the contract between the detector and the
// parser and are never renumbered.
enum class LogLineFormat : int {
    None = 0,            // empty input: the detector cannot tell
    ThreadTimeLive = 1,  // threadtime from the live stream; app from the pid map
    ThreadTimeApp = 2,   // threadtime with app(pid)
    ThreadTime = 3,      // threadtime from a file
    Dated = 4,           // "MM-dd HH:mm:ss.SSS: I/Tag(pid): text"
    Brief = 5,           // "I/Tag( pid): text"
    Process = 6,         // "I( pid) text (Tag)"
    Raw = 7,             // the whole line is the text
    Tag = 8,             // "I/Tag: text"
    Time = 9,            // "MM-dd HH:mm:ss.SSS I/Tag( pid): text"
    Long = 10,           // "[ MM-dd HH:mm:ss.SSS pid: tid I/Tag ]" + message line
    ThreadTimeUid = 11,  // "MM-dd HH:mm:ss.SSS  uid  pid  tid I Tag: text" ("-v uid"); the
                         // process column may be app(pid), as the viewer saves such rows
};

// A short name of the layout for diagnostics. Any thread.
QString logLineFormatName(LogLineFormat format);

// Reads the app name of a live row from its fields (the store's names,
// under their lock: its pid, and what its tag, text and uid say about
// processes), before the row is made. Writes the name into `out` and
// returns true when the row's writer is known.
using AppNameLookup = std::function<bool(const RowFields& fields, std::string& out)>;

// One field of the array RowArena::make takes.
constexpr std::string_view fieldOf(const RowFields& fields, RowKey key) { return fields[size_t(key) - 1]; }

// Hands out the next row index (the store's getIndex).
using RowIndexSource = std::function<RowIdx()>;

// A source of its own that numbers rows from `first` up (readers without a
// store). Each copy counts on its own.
inline RowIndexSource rowCounter(RowIdx first = RowIdx()) {
    return [next = first]() mutable {
        const RowIdx idx = next;
        next = next.next();
        return idx;
    };
}

// Parses one line. `line` must lie in `arena`'s text (copyLine/adopt) so that
// fields are stored as offsets. An index is taken only when a row is made.
// Runs on the thread that owns `arena` (the I/O thread for the live stream,
// the loading thread for files); `appName` is called only for
// ThreadTimeLive and must take its own lock. Returns a null RowPtr when the
// line does not fit the layout.
//
// ThreadTimeLive and ThreadTimeUid take a line with or without the uid
// column (a stream asked for "-v uid", or a line whose uid logcat left
// blank): the column is there when the token after the pid and tid columns
// is not a one-letter level.
RowPtr parseThreadTimeLine(RowArena& arena, std::string_view line, LogLineFormat format,
                           const RowIndexSource& nextIndex, const AppNameLookup& appName = {});

// Detects the layout of a file from its first lines (it never looks past the
// 32nd). Logs its reasoning to the diagnostics log. Any thread.
LogLineFormat determineLogType(const std::vector<std::string_view>& lines);

// Long layout: joins each "[ ... ]" header with its first message line;
// further message lines are dropped. Any thread.
std::vector<std::string> joinLongFormatArray(const std::vector<std::string_view>& lines);

// The same walk over any source of lines: `next(line)` yields the lines,
// `emit(header, message)` receives each entry; lines before a header are
// dropped.
template <typename Next, typename Emit>
void joinLongEntries(Next&& next, Emit&& emit) {
    std::string_view header;
    bool pending = false;
    std::string_view line;
    while (next(line)) {
        if (!pending) {
            if (!line.starts_with('[')) continue;
            header = line;
            pending = true;
        } else if (!line.empty()) {
            emit(header, line);
            pending = false;
        }
    }
}

// Reads a whole text file into rows (UTF-8, then a detected encoding, then
// ISO Latin-1). nullopt when the file cannot be read or its layout cannot be told.
// Rows without an app get the one the file's own start lines and uid column
// give their pid (FileRowNamer). Blocks while it reads and parses: call
// it off the main thread, and not on a thread of Qt's global pool (it waits
// for the chunks it gives that pool). The rows own the file's text (mapped
// when it is UTF-8); nothing else is kept. Does not clear any store.
std::optional<RowList> readTextFile(const QString& path, const RowIndexSource& nextIndex);

class MappedFile;

// How readTextFile() reports while it reads.
struct TextFileReading {
    // The rows as they are parsed, in file order, a stretch at a time (then
    // TextFileRead::rows stays empty). Rows of a log with start lines get
    // their apps after the last stretch.
    std::function<void(RowList rows)> rows;
    // Bytes of the file parsed so far, of `total`.
    std::function<void(uint64_t done, uint64_t total)> progress;
    // Set: stop soon; the rows read so far stay (and are named).
    const std::atomic<bool>* cancelled = nullptr;
    // Where the file is cut for parsing (at the first line break from each
    // cut on): the first stretch is small so that rows show at once, the
    // others grow up to `chunkBytes`.
    size_t firstChunkBytes = 256 * 1024;
    size_t chunkBytes = 8 * 1024 * 1024;
};

struct TextFileRead {
    bool read = false;       // false: the file cannot be read, or its layout cannot be told
    bool cancelled = false;  // stopped early: the rows are those before the stop
    LogLineFormat format = LogLineFormat::None;
    RowList rows;            // every row, unless they went to TextFileReading::rows
    // The file the rows point into, when they do (to tell whether it
    // changed on disk since); null for files read into memory.
    std::shared_ptr<const MappedFile> mapping;
    // The file as it was opened (to tell what became of it since).
    std::optional<FileStamp> stamp;
    // Rows handed to TextFileReading::rows got apps after the last stretch.
    bool namedLate = false;
};

// readTextFile() in stretches parsed in parallel on Qt's global pool and
// joined in file order on the calling thread, which works on stretches too
// and never waits for one that no thread has started.
TextFileRead readTextFile(const QString& path, const RowIndexSource& nextIndex, const TextFileReading& how);

}  // namespace vf
