#include "cli/logfile.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "core/log/bugreport.h"
#include "core/log/logexport.h"
#include "core/support/plistreader.h"
#include "core/support/terminaltext.h"
#include "core/log/utf8.h"
#include "core/support/text.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

bool hasVellumfoxSuffix(const QString& path) { return path.toLower().endsWith(u"vellumfox"_s); }

// Detection judges a file by its first few dozen lines; reading this much
// covers them in any ordinary log and keeps `detect` cheap on huge files.
constexpr qint64 kDetectionBytes = qint64(1) << 20;

// Drops an incomplete UTF-8 sequence that the read limit cut off, so that
// the prefix of a valid file is still valid.
void trimCutSequence(QByteArray& bytes) {
    qsizetype lead = bytes.size();
    while (lead > 0 && bytes.size() - lead < 4 && (uchar(bytes[lead - 1]) & 0xC0) == 0x80) --lead;
    if (lead == 0 || uchar(bytes[lead - 1]) < 0xC0) return;
    const uchar c = uchar(bytes[lead - 1]);
    const qsizetype need = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
    if (bytes.size() - (lead - 1) < need) bytes.truncate(lead - 1);
}

bool looksBinary(const QByteArray& head) {
    return utf8::looksBinary(std::string_view(head.constData(), size_t(head.size())));
}

// "reading NAME: N%" on one terminal line, once the reading has taken long
// enough to be worth watching; cleared when the reading ends.
class ProgressLine final {
public:
    ProgressLine(std::ostream* out, const QString& path) : out_(out), name_(QFileInfo(path).fileName().toStdString()) {
        clock_.start();
    }
    ~ProgressLine() {
        if (shown_ >= 0) *out_ << "\r\033[K" << std::flush;
    }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void operator()(uint64_t done, uint64_t total) {
        if (out_ == nullptr || total == 0 || clock_.elapsed() < kQuietMs) return;
        const int percent = int(std::min<uint64_t>(done * 100 / total, 100));
        if (percent == shown_) return;
        shown_ = percent;
        *out_ << "\rreading " << terminalSafe(name_) << ": " << percent << '%' << std::flush;
    }

private:
    static constexpr qint64 kQuietMs = 200;
    std::ostream* out_;
    std::string name_;
    QElapsedTimer clock_;
    int shown_ = -1;
};

}  // namespace

QString unreadableReason(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) return u"no such file"_s;
    if (info.isDir()) return u"is a directory"_s;
    // Opening a FIFO waits for a writer, and reading one or a device may
    // never end: only regular files are read (they are checked without
    // being opened).
    if (!info.isFile()) return u"not a regular file"_s;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return file.errorString();
    return {};
}

SavedLog openSavedLog(const QString& path, std::ostream* progress) {
    if (const QString reason = unreadableReason(path); !reason.isEmpty()) return {{}, reason, {}};
    std::optional<RowList> rows;
    {
        ProgressLine line(progress, path);
        TextFileReading how;
        how.progress = [&line](uint64_t done, uint64_t total) { line(done, total); };
        // A bugreport, its zip, or another archive: told by the content.
        BugreportRead report = readBugreport(path, rowCounter(), how);
        if (report.outcome == BugreportRead::Outcome::Refused) return {{}, report.refusal, {}};
        if (report.outcome == BugreportRead::Outcome::Read) return {std::move(report.rows), {}, report.facts};
        rows = openLogFile(path, rowCounter(), how.progress);
    }
    if (rows) return {std::move(*rows), {}, {}};
    const bool binary = utf8::fileLooksBinary(path);
    return {{}, binary ? QString::fromLatin1(utf8::kBinaryFileReason) : u"cannot tell the log layout"_s, {}};
}

LayoutDetection detectLayout(const QString& path) {
    LayoutDetection result;
    if (const QString reason = unreadableReason(path); !reason.isEmpty()) {
        result.error = reason;
        return result;
    }
    ReportProbe probe = probeBugreport(path);
    if (!probe.refusal.isEmpty()) {
        result.error = probe.refusal;
        return result;
    }
    if (probe.layout.kind != ReportLayout::Kind::None) {
        result.report = std::move(probe.layout);
        return result;
    }
    if (hasVellumfoxSuffix(path)) {
        if (readVellumfoxFile(path, rowCounter())) {
            result.propertyList = true;
            return result;
        }
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.error = file.errorString();
        return result;
    }
    QByteArray head = readAtMost(file, kDetectionBytes);
    if (looksBinary(head)) {
        result.error = QString::fromLatin1(utf8::kBinaryFileReason);
        return result;
    }
    if (head.size() == kDetectionBytes) trimCutSequence(head);
    const std::string text = utf8::fileTextAsUtf8(head.toStdString());
    // Lines as the file reader splits them (a CR LF pair leaves an empty line
    // between, which the detector skips as too short).
    result.format = determineLogType(splitLines(text, LineBreaks::LfCr));
    return result;
}

}  // namespace vf::cli
