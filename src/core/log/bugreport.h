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
// Pure functions and a scanner used by one thread at a time; the reader
// blocks on file I/O (call it off the GUI thread).

#include <QString>
#include <memory>
#include <string_view>

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

// What a report says of the device it came from.
struct ReportFacts {
    QString fingerprint;  // "Build fingerprint: '...'"
    QString device;       // the [ro.product.model] property
    bool isEmpty() const { return fingerprint.isEmpty() && device.isEmpty(); }
    // "Pixel 6 · google/oriole/...": what a title shows; empty when nothing is known.
    QString title() const;
    friend bool operator==(const ReportFacts&, const ReportFacts&) = default;
};

// Reads a report's text line by line (without line ends): which lines are
// log lines and of which buffer, and the facts outside the log sections.
class BugreportScanner final {
public:
    enum class Line { Outside, SectionStart, SectionEnd, Marker, Log };

    Line take(std::string_view line);
    // The buffer of the last log line taken (None before any marker of a
    // section whose name does not tell it).
    LogBuffer buffer() const { return buffer_; }
    const ReportFacts& facts() const { return facts_; }
    int sections() const { return sections_; }

private:
    void takeFact(std::string_view line);

    bool inSection_ = false;
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
    RowList rows;
    ReportFacts facts;
    // The text the rows point into when it is the file itself.
    std::shared_ptr<const MappedFile> mapping;
};

// Looks at `path` and, when it is a report (its zip, or the text), reads its
// log sections into rows numbered by `nextIndex`, in the threadtime layout
// with or without the uid column, and names them from the log's own start
// lines and uids. A zip's text is inflated once, as a stream, keeping only
// the log sections; a text file is mapped and read where it lies.
BugreportRead readBugreport(const QString& path, const RowIndexSource& nextIndex);

}  // namespace vf
