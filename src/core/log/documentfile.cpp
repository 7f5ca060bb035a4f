// Reading the program's own saved documents: a property list whose root
// dictionary holds the rows under "logdata". An XML list is read as a
// stream, each entry a row as soon as its closing tag is read; a binary one
// is parsed whole (the parse can be left behind when the reading stops) and
// its entries then made rows in order.
#include <QFile>
#include <QXmlStreamReader>
#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <plist/plist.h>

#include "core/filter/fieldsource.h"
#include "core/log/linecursor.h"
#include "core/log/linecut.h"
#include "core/log/logexport.h"
#include "core/support/logger.h"
#include "core/support/plistreader.h"
#include "core/support/threads.h"

namespace vf {

namespace {

using namespace Qt::StringLiterals;

// How many rows go on at a time after the first stretch.
constexpr qsizetype kDocumentFirstRows = 4096;
constexpr qsizetype kDocumentRows = 65536;
// Progress is told and the stop flag looked at this often, in rows.
constexpr qsizetype kStopCheckRows = 1024;
constexpr qint64 kDocumentReadBytes = qint64(1) << 20;
// How long a wait for the binary parse goes before it looks at the stop flag.
constexpr auto kStopCheckWait = std::chrono::milliseconds(50);

// An entry's number as its file gives it: an integer, or a string of digits.
std::optional<uint64_t> numberOf(std::string_view text) {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return value;
}

// Turns entries into rows in file order: numbers them, hands them on a
// stretch at a time, tells progress and looks at the stop flag.
class DocumentRows final {
public:
    DocumentRows(const RowIndexSource& nextIndex, const TextFileReading& how, DocumentNumbers numbers)
        : nextIndex_(nextIndex), how_(how), fresh_(numbers == DocumentNumbers::Fresh) {}
    DocumentRows(const DocumentRows&) = delete;
    DocumentRows& operator=(const DocumentRows&) = delete;

    // One entry: its values (idx left out) and its number, if it has one;
    // `done` of `total` tells how far the file was read. False: stop.
    bool take(RowValues values, std::optional<uint64_t> number, uint64_t done, uint64_t total) {
        if (++taken_ % kStopCheckRows == 0) {
            if (how_.progress) how_.progress(done, total);
            if (stopped()) {
                read_.cancelled = true;
                return false;
            }
        }
        for (int k = 1; k < kRowKeyCount; ++k) values[RowKey(k)] = cutLongLine(std::move(values[RowKey(k)]));
        // Rows saved this way kept logcat's tag padding and the blank after
        // the colon; rows read from text lose both, and so do these.
        values.name = std::string(trimBlanks(values.name));
        if (values.text.starts_with(' ')) values.text.erase(0, 1);
        values.idx = fresh_ || !number ? nextIndex_().value() : *number;
        // A row is found again by its number, and numbers ascend along every
        // list: a file whose numbers do not is numbered afresh.
        if (!fresh_ && last_ && values.idx <= *last_) {
            if (!renumber()) return false;
            values.idx = nextIndex_().value();
        }
        last_ = values.idx;
        rows_.append(arena_.make(values));
        if (how_.rows && rows_.size() >= stretch_) handOn();
        return true;
    }

    bool stopped() const { return how_.cancelled != nullptr && *how_.cancelled; }
    bool handedAny() const { return handed_; }

    // The rows not yet handed on go on (or stay in the result).
    DocumentRead finish() {
        if (how_.rows && !rows_.isEmpty()) handOn();
        read_.rows = std::move(rows_);
        return std::move(read_);
    }

private:
    // Numbers every row so far afresh; false when some already went on.
    bool renumber() {
        fresh_ = true;
        if (handed_) {
            read_.renumber = true;
            return false;
        }
        numberRows(rows_, 0, rows_.size(), nextIndex_);
        return true;
    }

    void handOn() {
        how_.rows(std::exchange(rows_, RowList()));
        handed_ = true;
        stretch_ = kDocumentRows;
    }

    const RowIndexSource& nextIndex_;
    const TextFileReading& how_;
    bool fresh_;
    RowArena arena_;
    RowList rows_;
    DocumentRead read_;
    std::optional<uint64_t> last_;
    qsizetype stretch_ = kDocumentFirstRows;
    qsizetype taken_ = 0;
    bool handed_ = false;
};

// The value of the row key named `key`, or null for any other key.
std::string* valueFor(RowValues& values, QStringView key) {
    for (int k = 1; k < kRowKeyCount; ++k) {
        const std::string_view name = rowKeyName(RowKey(k));
        if (key == QLatin1StringView(name.data(), qsizetype(name.size()))) return &values[RowKey(k)];
    }
    return nullptr;
}

// ---------------------------------------------------------------------------
// XML

// The text of the element the reader is at the start of, read to its end,
// into `out` (kept by the caller, so that its room is reused: a document
// holds millions of keys and values).
void readText(QXmlStreamReader& xml, QString& out) {
    out.clear();
    for (int depth = 1; depth > 0;) {
        switch (xml.readNext()) {
            case QXmlStreamReader::Characters: out.append(xml.text()); break;
            case QXmlStreamReader::StartElement: ++depth; break;
            case QXmlStreamReader::EndElement: --depth; break;
            case QXmlStreamReader::Invalid: return;
            default: break;
        }
    }
}

// What the property list makes of a value element's text: strings as they
// are, integers and reals in decimal (as a binary list's values read), and
// nothing for the other kinds.
std::string xmlValueText(QXmlStreamReader& xml, QString& scratch) {
    const QStringView kind = xml.name();
    const bool string = kind == u"string"_s, integer = kind == u"integer"_s, real = kind == u"real"_s;
    if (!string && !integer && !real) {
        xml.skipCurrentElement();
        return {};
    }
    readText(xml, scratch);
    if (string) return scratch.toStdString();
    const QStringView text = QStringView(scratch).trimmed();
    if (real) return std::to_string(text.toDouble());
    bool ok = false;
    if (const qulonglong value = text.toULongLong(&ok); ok) return std::to_string(value);
    const qlonglong negative = text.toLongLong(&ok);
    return std::to_string(ok ? uint64_t(negative) : 0);
}

// One entry (at its <dict>): the row keys' values and the number.
void readXmlEntry(QXmlStreamReader& xml, RowValues& values, std::optional<uint64_t>& number, QString& key,
                  QString& scratch) {
    key.clear();
    while (xml.readNextStartElement()) {
        if (xml.name() == u"key"_s) {
            readText(xml, key);
            continue;
        }
        if (key == u"idx"_s) {
            number = numberOf(xmlValueText(xml, scratch));
        } else if (std::string* value = valueFor(values, key)) {
            *value = xmlValueText(xml, scratch);
        } else {
            xml.skipCurrentElement();
        }
        key.clear();
    }
}

enum class Found { Nothing, Rows, Stopped };

// The root dictionary (at its <dict>) up to and through its "logdata" array.
Found readXmlRoot(QXmlStreamReader& xml, QFile& file, uint64_t total, DocumentRows& rows) {
    bool afterLogdataKey = false;
    QString key, scratch;
    while (xml.readNextStartElement()) {
        if (xml.name() == u"key"_s) {
            afterLogdataKey = xml.readElementText() == u"logdata"_s;
            continue;
        }
        if (!afterLogdataKey || xml.name() != u"array"_s) {
            xml.skipCurrentElement();
            afterLogdataKey = false;
            continue;
        }
        while (xml.readNextStartElement()) {
            if (xml.name() != u"dict"_s) {
                xml.skipCurrentElement();
                continue;
            }
            RowValues values;
            std::optional<uint64_t> number;
            readXmlEntry(xml, values, number, key, scratch);
            if (xml.hasError()) break;
            if (!rows.take(std::move(values), number, uint64_t(file.pos()), total)) return Found::Stopped;
        }
        return Found::Rows;
    }
    return Found::Nothing;
}

DocumentRead readXmlDocument(const QString& path, QFile& file, uint64_t total, DocumentRows& rows) {
    QXmlStreamReader xml(&file);
    Found found = Found::Nothing;
    if (xml.readNextStartElement()) {
        const bool wrapped = xml.name() == u"plist"_s;
        if (!wrapped || xml.readNextStartElement()) {
            if (xml.name() == u"dict"_s) found = readXmlRoot(xml, file, total, rows);
        }
    }
    const bool damaged = xml.hasError() && found != Found::Stopped;
    if (damaged) VF_LOG("not a property list: {}, {}", path, xml.errorString());
    // Rows that went on stay, whatever follows them.
    if (found == Found::Nothing || (damaged && !rows.handedAny())) return {};
    DocumentRead read = rows.finish();
    read.read = true;
    return read;
}

// ---------------------------------------------------------------------------
// Binary

// The file's bytes, never more than a property list may hold (the path may
// name a device or a pipe that does not end), telling `progress` as they
// come; nullopt when stopped.
std::optional<QByteArray> readDocumentBytes(QFile& file, const TextFileReading& how, uint64_t total) {
    QByteArray bytes;
    while (bytes.size() <= kPlistMaxBytes) {
        if (how.cancelled != nullptr && *how.cancelled) return std::nullopt;
        const QByteArray piece = readAtMost(file, std::min(kDocumentReadBytes, kPlistMaxBytes + 1 - bytes.size()));
        if (piece.isEmpty()) break;
        bytes.append(piece);
        if (how.progress) how.progress(std::min<uint64_t>(uint64_t(bytes.size()), total), 2 * total);
    }
    return bytes;
}

// Parses `bytes` on the pool while this thread watches the stop flag: a
// stop returns at once (null root) and leaves the parse to end unseen.
PlistReadResult parseStoppably(QByteArray bytes, const std::atomic<bool>* cancelled) {
    if (cancelled == nullptr) return readPlistSafely(bytes);
    struct Shared {
        std::mutex mutex;
        std::condition_variable done;
        std::optional<PlistReadResult> result;
    };
    const auto shared = std::make_shared<Shared>();
    startOnPool([shared, bytes = std::move(bytes)] {
        PlistReadResult result = readPlistSafely(bytes);
        std::lock_guard lock(shared->mutex);
        shared->result = std::move(result);
        shared->done.notify_all();
    });
    std::unique_lock lock(shared->mutex);
    while (!shared->done.wait_for(lock, kStopCheckWait, [&] { return shared->result.has_value(); })) {
        if (*cancelled) return {nullptr, u"stopped"_s};
    }
    return std::move(*shared->result);
}

// A binary value as text: strings as they are, numbers in decimal.
std::string plistText(plist_t node) {
    if (node == nullptr) return {};
    switch (plist_get_node_type(node)) {
        case PLIST_STRING: return plistString(node);
        case PLIST_UINT: {
            uint64_t value = 0;
            plist_get_uint_val(node, &value);
            return std::to_string(value);
        }
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return std::to_string(value);
        }
        default: return {};
    }
}

std::optional<uint64_t> plistNumber(plist_t node) {
    if (node == nullptr) return std::nullopt;
    if (plist_get_node_type(node) != PLIST_UINT) return numberOf(plistText(node));
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    return value;
}

DocumentRead readBinaryDocument(const QString& path, QByteArray bytes, const TextFileReading& how, uint64_t total,
                                DocumentRows& rows) {
    const PlistReadResult root = parseStoppably(std::move(bytes), how.cancelled);
    if (!root) {
        if (!rows.stopped()) VF_LOG("not a property list: {}, {}", path, root.error);
        return {};
    }
    if (plist_get_node_type(root.root.get()) != PLIST_DICT) return {};
    plist_t logdata = plist_dict_get_item(root.root.get(), "logdata");
    if (logdata == nullptr || plist_get_node_type(logdata) != PLIST_ARRAY) return {};
    const uint64_t count = std::max<uint64_t>(plist_array_get_size(logdata), 1);
    // Walked with an iterator: the library finds an item by its position
    // from the array's start, a walk by positions takes quadratic time.
    plist_array_iter iter = nullptr;
    plist_array_new_iter(logdata, &iter);
    uint64_t i = 0;
    for (plist_t entry = nullptr;; ++i) {
        plist_array_next_item(logdata, iter, &entry);
        if (entry == nullptr) break;
        if (plist_get_node_type(entry) != PLIST_DICT) continue;
        RowValues values;
        for (int k = 1; k < kRowKeyCount; ++k)
            values[RowKey(k)] = plistText(plist_dict_get_item(entry, rowKeyName(RowKey(k)).data()));
        const std::optional<uint64_t> number = plistNumber(plist_dict_get_item(entry, "idx"));
        if (!rows.take(std::move(values), number, total + total * (i + 1) / count, 2 * total)) break;
    }
    free(iter);  // NOLINT: the library allocates it with malloc
    DocumentRead read = rows.finish();
    read.read = true;
    return read;
}

}  // namespace

DocumentRead readVellumfoxFile(const QString& path, const RowIndexSource& nextIndex, const TextFileReading& how,
                               DocumentNumbers numbers) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const uint64_t total = std::max<uint64_t>(uint64_t(std::max<qint64>(file.size(), 0)), 1);
    DocumentRows rows(nextIndex, how, numbers);
    DocumentRead read;
    if (file.peek(8) == "bplist00") {
        std::optional<QByteArray> bytes = readDocumentBytes(file, how, total);
        if (!bytes) return {};  // stopped before anything was known
        read = readBinaryDocument(path, std::move(*bytes), how, total, rows);
    } else if (file.size() <= kPlistMaxBytes) {
        read = readXmlDocument(path, file, total, rows);
    }
    if (read.read) VF_LOG("dictionary format:{}, rows:{}", path, read.rows.size());
    return read;
}

std::optional<RowList> readVellumfoxFile(const QString& path, const RowIndexSource& nextIndex) {
    DocumentRead read = readVellumfoxFile(path, nextIndex, TextFileReading{});
    if (!read.read) return std::nullopt;
    return std::move(read.rows);
}

}  // namespace vf
