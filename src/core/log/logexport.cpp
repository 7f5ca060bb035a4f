#include "core/log/logexport.h"

#include <QFile>
#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "core/log/linecursor.h"
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
