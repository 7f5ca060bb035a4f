#pragma once
// Bugreports: the report a device writes for a bug (a zip holding one big
// text file, or that text file alone) read as one log. Its log sections
// ("------ SYSTEM LOG (logcat ...) ------" up to "------ 0.5s was the
// duration of 'SYSTEM LOG' ------", likewise EVENT LOG, RADIO LOG and the
// LAST LOGCAT of older reports) become rows that carry their buffer; the
// rest of the report gives only its facts (build fingerprint, device).
// Archives that hold no report, and compressed files of other kinds, are
// told apart by their first bytes and refused, never read as text.
//
// Pure functions and a scanner used by one thread at a time; the readers
// block on file I/O and parse a report's text on Qt's global pool too (call
// them off the GUI thread, and not on a thread of that pool).

#include <QString>
#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "core/adb/logbuffer.h"
#include "core/log/logparser.h"
#include "core/log/logrow.h"

namespace vf {

class MappedFile;

// Compressed files and archives, known by their first bytes.
enum class ArchiveKind { None, Zip, Gzip, Bzip2, Xz, Zstd, SevenZip, Rar, Tar };

// What `head` (a file's first bytes; tar needs 262 of them) starts as. Pure.
ArchiveKind archiveKindOf(std::string_view head);
// "a zip archive", "a gzip file" ...; empty for None.
QString archiveKindText(ArchiveKind kind);

// Whether `head` starts a report's text (its "== dumpstate: ..." banner
// within the first lines). Pure.
bool startsBugreportText(std::string_view head);

// How a report is laid out: what holds it and its log sections in order.
struct ReportLayout {
    enum class Kind { None, Text, Zip };
    struct Section {
        QString name;  // "SYSTEM LOG"
        LogLineFormat format = LogLineFormat::None;  // of its first log line; None: no log line
        int64_t lines = 0;  // its log lines (markers and blank lines left out)
        friend bool operator==(const Section&, const Section&) = default;
    };
    Kind kind = Kind::None;
    QString entry;  // the zip's entry that holds the report's text
    std::vector<Section> sections;
    // A zip described without reading its entry through (probeBugreport):
    // how many of the entry's bytes were looked at, of how many; both 0
    // when it was read whole.
    uint64_t lookedAt = 0, entrySize = 0;
    // "bugreport (zip)", "bugreport (text)"; empty for None.
    QString kindText() const;
    // "SYSTEM LOG: threadtime with uid, 7 lines".
    static QString sectionText(const Section& section);
    // "only the first 64 MB of 278 MB were looked at: ..."; empty when it
    // was read whole.
    QString partText() const;
    // The kind, then one line per section, then the part looked at.
    QString text() const;
    friend bool operator==(const ReportLayout&, const ReportLayout&) = default;
};

// What a report says of the device it came from.
struct ReportFacts {
    QString fingerprint;  // "Build fingerprint: '...'"
    QString device;       // the [ro.product.model] property
    bool isEmpty() const { return fingerprint.isEmpty() && device.isEmpty(); }
    // "Pixel 6 · google/oriole/...": what a title shows; empty when nothing is known.
    QString title() const;
    // The title, then the report's layout when it is known: what a tooltip shows.
    QString description() const;
    ReportLayout layout;  // filled by the reader, not by the scanner
    friend bool operator==(const ReportFacts&, const ReportFacts&) = default;
};

// Reads a report's text line by line (without line ends): which lines are
// log lines and of which buffer, and the facts outside the log sections.
class BugreportScanner final {
public:
    enum class Line { Outside, SectionStart, SectionEnd, Marker, Log };

    Line take(std::string_view line);
    // The name of the log section a line is in (empty outside one); its
    // view points into a constant table.
    std::string_view section() const { return inSection_ ? section_ : std::string_view(); }
    // The buffer of the last log line taken (None before any marker of a
    // section whose name does not tell it).
    LogBuffer buffer() const { return buffer_; }
    const ReportFacts& facts() const { return facts_; }
    // The starts of the lines outside the log sections that give facts, and
    // whether the fact a start names is known (later such lines change nothing).
    static constexpr std::array<std::string_view, 2> factPrefixes() {
        return {std::string_view("Build fingerprint:"), std::string_view("[ro.product.model]:")};
    }
    bool knows(std::string_view factPrefix) const {
        return factPrefix == factPrefixes()[0] ? !facts_.fingerprint.isEmpty() : !facts_.device.isEmpty();
    }
    int sections() const { return sections_; }

private:
    void takeFact(std::string_view line);

    bool inSection_ = false;
    std::string_view section_;
    LogBuffer buffer_ = LogBuffer::None;
    ReportFacts facts_;
    int sections_ = 0;
};

struct BugreportRead {
    enum class Outcome {
        NotReport,  // plain text or some other file: read it as a log file
        Refused,    // an archive or compressed file that holds no report
        Read,
    };
    Outcome outcome = Outcome::NotReport;
    QString refusal;  // why it was refused, naming what the file is
    RowList rows;  // every row, unless they went to TextFileReading::rows
    ReportFacts facts;  // with its layout
    bool cancelled = false;  // stopped early: the rows are those before the stop
    // Rows handed to TextFileReading::rows got apps after the last stretch.
    bool namedLate = false;
    // The text the rows point into when it is the file itself.
    std::shared_ptr<const MappedFile> mapping;
};

// Looks at `path` and, when it is a report (its zip, or the text), reads its
// log sections into rows numbered by `nextIndex`, in the threadtime layout
// with or without the uid column, and names them from the log's own start
// lines and uids. A zip's text is inflated once, as a stream, keeping only
// the log sections; a text file is mapped and read where it lies.
BugreportRead readBugreport(const QString& path, const RowIndexSource& nextIndex);

// The same, reporting as readTextFile() does: rows a stretch at a time to
// `how.rows` (about `how.chunkBytes` of the report each, the first one
// smaller), progress by bytes of the report (or of the zip entry inflated),
// and a stop that keeps the rows read so far. Nothing is reported for a file
// that is no report.
BugreportRead readBugreport(const QString& path, const RowIndexSource& nextIndex, const TextFileReading& how);

// What the file is, without making rows: a report's layout (kind None for
// any other file) and, for an archive or compressed file that holds no
// report, why it is refused. Blocks while it reads the report's text
// through, but of a zip's entry only the first `zipBytes` (inflating is
// the slow part): sections further on are not listed, and the layout
// says how much it looked at.
inline constexpr uint64_t kProbeZipBytes = uint64_t(64) << 20;
struct ReportProbe {
    ReportLayout layout;
    ReportFacts facts;
    QString refusal;
};
ReportProbe probeBugreport(const QString& path, uint64_t zipBytes = kProbeZipBytes);

}  // namespace vf
