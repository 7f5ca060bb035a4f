#include "core/log/logexport.h"

#include <QFile>
#include <charconv>
#include <memory>
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

std::optional<RowList> readVellumfoxFile(const QString& path, const RowIndexSource& nextIndex) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    // Never more than a property list may hold: the path may name a device
    // or a pipe that does not end.
    const QByteArray bytes = readAtMost(file, kPlistMaxBytes + 1);
    const PlistReadResult root = readPlistSafely(bytes);
    if (!root) {
        VF_LOG("not a property list: {}, {}", path, root.error);
        return std::nullopt;
    }
    if (plist_get_node_type(root.root.get()) != PLIST_DICT) return std::nullopt;
    plist_t logdata = plist_dict_get_item(root.root.get(), "logdata");
    if (logdata == nullptr || plist_get_node_type(logdata) != PLIST_ARRAY) return std::nullopt;

    const uint32_t count = plist_array_get_size(logdata);
    std::vector<RowValues> entries;
    entries.reserve(count);
    bool ascending = true;
    for (uint32_t i = 0; i < count; ++i) {
        plist_t entry = plist_array_get_item(logdata, i);
        if (plist_get_node_type(entry) != PLIST_DICT) continue;
        RowValues values;
        for (int k = 1; k < kRowKeyCount; ++k)
            values[RowKey(k)] = cutLongLine(plistText(plist_dict_get_item(entry, rowKeyName(RowKey(k)).data())));
        // Rows saved this way kept logcat's tag padding and the blank after
        // the colon; rows read from text lose both, and so do these.
        values.name = std::string(trimBlanks(values.name));
        if (values.text.starts_with(' ')) values.text.erase(0, 1);
        const auto idx = plistIndex(plist_dict_get_item(entry, "idx"));
        values.idx = idx ? *idx : nextIndex().value();
        if (!entries.empty() && values.idx <= entries.back().idx) ascending = false;
        entries.push_back(std::move(values));
    }
    // A row is found again by its number, and numbers ascend along every
    // list: a file whose numbers do not is numbered afresh.
    if (!ascending)
        for (RowValues& values : entries) values.idx = nextIndex().value();
    RowArena arena;
    RowList rows;
    rows.reserve(qsizetype(entries.size()));
    for (const RowValues& values : entries) rows.append(arena.make(values));
    VF_LOG("dictionary format:{}, lines:{}", path, rows.size());
    return rows;
}

std::optional<RowList> openLogFile(const QString& path, const RowIndexSource& nextIndex,
                                   const std::function<void(uint64_t done, uint64_t total)>& progress) {
    if (path.toLower().endsWith(QStringLiteral("vellumfox"))) {
        if (auto rows = readVellumfoxFile(path, nextIndex)) return rows;
    }
    TextFileReading how;
    how.progress = progress;
    TextFileRead read = readTextFile(path, nextIndex, how);
    if (!read.read || read.format == LogLineFormat::None) return std::nullopt;
    return std::move(read.rows);
}

}  // namespace vf
