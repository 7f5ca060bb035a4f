#include "core/log/logexport.h"

#include <QFile>
#include <algorithm>
#include <charconv>
#include <memory>
#include <utility>
#include <vector>
#include <plist/plist.h>

#include "core/log/linecursor.h"
#include "core/log/linecut.h"
#include "core/support/plistreader.h"
#include "core/support/logger.h"

namespace vf {

namespace {

constexpr qsizetype kSavedBytesPerRow = 100;

// Seven keys in the order every written line uses.
constexpr RowKey kWrittenKeys[] = {RowKey::Time, RowKey::App, RowKey::Pid, RowKey::Tid,
                                   RowKey::Type, RowKey::Name, RowKey::Text};

template <typename Out>
void appendSavedLine(Out& out, const Row& row) {
    const auto add = [&out](std::string_view s) { out.append(s.data(), decltype(out.size())(s.size())); };
    add(row.time());
    add(" ");
    if (const std::string_view uid = row.uid(); !uid.empty()) {
        add(uid);
        add(" ");
    }
    add(row.app());
    add("(");
    add(row.pid());
    add(") ");
    add(row.tid());
    add(" ");
    add(row.type());
    add(" ");
    add(row.name());
    add(": ");
    add(row.text());
    if (!row.text().ends_with('\n')) add("\n");
}

// The extension list as the save log line has always shown it.
std::string describeList(const QStringList& list) {
    std::string text = "(";
    for (qsizetype i = 0; i < list.size(); ++i) text += (i == 0 ? "\n    " : ",\n    ") + list[i].toStdString();
    return text + "\n)";
}

void appendFlattened(std::string& out, std::string_view value) {
    for (const char c : value) out += (c == '\n' || c == '\r') ? ' ' : c;
}


// A row value as text: strings as they are, numbers in decimal.
std::string plistText(plist_t node) {
    if (node == nullptr) return {};
    switch (plist_get_node_type(node)) {
        case PLIST_STRING:
            return plistString(node);
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

std::optional<uint64_t> plistIndex(plist_t node) {
    if (node == nullptr) return std::nullopt;
    if (plist_get_node_type(node) == PLIST_UINT) {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return value;
    }
    const std::string text = plistText(node);
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return value;
}

}  // namespace

std::string savedTextLine(const Row& row) {
    std::string line;
    appendSavedLine(line, row);
    return line;
}

QByteArray writeSavedText(const RowList& rows) {
    QByteArray text;
    text.reserve(rows.size() * kSavedBytesPerRow);
    for (const RowPtr& row : rows) appendSavedLine(text, *row);
    return text;
}

bool saveFile(const QString& path, const RowList& rows, bool visibleOnly, const QStringList& allowedExtensions) {
    VF_LOG("save to:{}, visible:{}, rows:{}, allowedExt:{}", path, int(visibleOnly), rows.size(),
           describeList(allowedExtensions));
    const QByteArray text = writeSavedText(rows);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    return file.write(text) == text.size();
}

QString copyText(const RowList& rows, std::optional<RowKey> column) {
    std::string text;
    FieldScratch scratch;
    for (const RowPtr& row : rows) {
        const RowFieldSource fields(*row);
        if (column) {
            appendFlattened(text, fields.field(*column, scratch));
        } else {
            for (const RowKey key : kWrittenKeys) {
                if (key != RowKey::Time) text += '\t';
                appendFlattened(text, row->view(key));
            }
        }
        text += '\n';
    }
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

namespace {

// How many rows of a saved document go on at a time after the first stretch.
constexpr uint32_t kDocumentFirstRows = 4096;
constexpr uint32_t kDocumentRows = 65536;
constexpr qint64 kDocumentReadBytes = qint64(1) << 20;

// The file's bytes, never more than a property list may hold (the path may
// name a device or a pipe that does not end), telling `progress` as they
// come; nullopt when stopped.
std::optional<QByteArray> readDocumentBytes(QFile& file, const TextFileReading& how, uint64_t total) {
    if (!how.progress && how.cancelled == nullptr) return readAtMost(file, kPlistMaxBytes + 1);
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

}  // namespace

DocumentRead readVellumfoxFile(const QString& path, const RowIndexSource& nextIndex, const TextFileReading& how) {
    DocumentRead read;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return read;
    // Progress: the bytes read, then the rows made, half the bar each.
    const uint64_t total = std::max<uint64_t>(uint64_t(std::max<qint64>(file.size(), 0)), 1);
    const std::optional<QByteArray> bytes = readDocumentBytes(file, how, total);
    if (!bytes) return read;  // stopped before anything was known
    const PlistReadResult root = readPlistSafely(*bytes);
    if (!root) {
        VF_LOG("not a property list: {}, {}", path, root.error);
        return read;
    }
    if (plist_get_node_type(root.root.get()) != PLIST_DICT) return read;
    plist_t logdata = plist_dict_get_item(root.root.get(), "logdata");
    if (logdata == nullptr || plist_get_node_type(logdata) != PLIST_ARRAY) return read;
    read.read = true;

    // A row is found again by its number, and numbers ascend along every
    // list: a file whose numbers do not is numbered afresh.
    const uint32_t count = plist_array_get_size(logdata);
    std::vector<plist_t> entries;
    std::vector<uint64_t> numbers;
    entries.reserve(count);
    numbers.reserve(count);
    bool ascending = true;
    for (uint32_t i = 0; i < count; ++i) {
        plist_t entry = plist_array_get_item(logdata, i);
        if (plist_get_node_type(entry) != PLIST_DICT) continue;
        const auto idx = plistIndex(plist_dict_get_item(entry, "idx"));
        const uint64_t number = idx ? *idx : nextIndex().value();
        if (!numbers.empty() && number <= numbers.back()) ascending = false;
        entries.push_back(entry);
        numbers.push_back(number);
    }
    if (!ascending)
        for (uint64_t& number : numbers) number = nextIndex().value();

    RowArena arena;
    RowList rows;
    uint32_t stretch = kDocumentFirstRows;
    for (size_t i = 0; i < entries.size(); ++i) {
        RowValues values;
        for (int k = 1; k < kRowKeyCount; ++k)
            values[RowKey(k)] = cutLongLine(plistText(plist_dict_get_item(entries[i], rowKeyName(RowKey(k)).data())));
        // Rows saved this way kept logcat's tag padding and the blank after
        // the colon; rows read from text lose both, and so do these.
        values.name = std::string(trimBlanks(values.name));
        if (values.text.starts_with(' ')) values.text.erase(0, 1);
        values.idx = numbers[i];
        rows.append(arena.make(values));
        if (how.rows && uint32_t(rows.size()) >= stretch) {
            how.rows(std::exchange(rows, RowList()));
            stretch = kDocumentRows;
            if (how.progress) how.progress(total + total * (i + 1) / entries.size(), 2 * total);
            if (how.cancelled != nullptr && *how.cancelled) {
                read.cancelled = i + 1 < entries.size();
                break;
            }
        }
    }
    if (how.rows && !rows.isEmpty()) how.rows(std::exchange(rows, RowList()));
    VF_LOG("dictionary format:{}, lines:{}", path, entries.size());
    read.rows = std::move(rows);
    return read;
}

std::optional<RowList> readVellumfoxFile(const QString& path, const RowIndexSource& nextIndex) {
    DocumentRead read = readVellumfoxFile(path, nextIndex, TextFileReading{});
    if (!read.read) return std::nullopt;
    return std::move(read.rows);
}

std::optional<RowList> openLogFile(const QString& path, const RowIndexSource& nextIndex,
                                   const std::function<void(uint64_t done, uint64_t total)>& progress) {
    TextFileReading how;
    how.progress = progress;
    if (path.toLower().endsWith(QStringLiteral("vellumfox"))) {
        if (DocumentRead document = readVellumfoxFile(path, nextIndex, how); document.read)
            return std::move(document.rows);
    }
    TextFileRead read = readTextFile(path, nextIndex, how);
    if (!read.read || read.format == LogLineFormat::None) return std::nullopt;
    return std::move(read.rows);
}

}  // namespace vf
