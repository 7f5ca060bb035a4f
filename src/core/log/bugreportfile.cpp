// Reading a report from disk: the text mapped where it lies, or a zip's
// main text inflated a block at a time while the blocks before are parsed,
// so that only its log sections are held for long.
#include <QFile>
#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include "core/adb/replyframing.h"
#include "core/log/bugreport.h"
#include "core/log/linecut.h"
#include "core/log/mappedfile.h"
#include "core/log/namelist.h"
#include "core/log/processidentity.h"
#include "core/log/reportrows.h"
#include "core/support/logger.h"
#include "core/support/text.h"
#include "core/support/utf8.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace {

// Enough for the banner and for tar's magic.
constexpr size_t kHeadBytes = 4096;

BugreportRead refused(const QString& why) {
    BugreportRead read;
    read.outcome = BugreportRead::Outcome::Refused;
    read.refusal = why;
    return read;
}

struct ZipCloser {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct ZipFileCloser {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using ZipArchive = std::unique_ptr<zip_t, ZipCloser>;
using ZipFile = std::unique_ptr<zip_file_t, ZipFileCloser>;

bool isReportTextName(std::string_view name) {
    const size_t slash = name.rfind('/');
    const std::string_view base = slash == std::string_view::npos ? name : name.substr(slash + 1);
    return base.starts_with("bugreport") && base.ends_with(".txt");
}

// The report's main text: the entry main_entry.txt names, else the largest
// bugreport*.txt; -1 when there is none.
zip_int64_t mainEntry(zip_t* archive) {
    const zip_int64_t named = zip_name_locate(archive, "main_entry.txt", 0);
    if (named >= 0) {
        if (ZipFile file{zip_fopen_index(archive, zip_uint64_t(named), 0)}) {
            std::array<char, 512> name{};
            const zip_int64_t n = zip_fread(file.get(), name.data(), name.size() - 1);
            std::string entry(name.data(), n > 0 ? size_t(n) : 0);
            while (!entry.empty() && std::isspace(static_cast<unsigned char>(entry.back()))) entry.pop_back();
            const zip_int64_t index = zip_name_locate(archive, entry.c_str(), 0);
            if (index >= 0) return index;
        }
    }
    zip_int64_t best = -1;
    zip_uint64_t bestSize = 0;
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        if (zip_stat_index(archive, zip_uint64_t(i), 0, &st) != 0 || st.name == nullptr) continue;
        if (!isReportTextName(st.name) || (best >= 0 && st.size <= bestSize)) continue;
        best = i;
        bestSize = st.size;
    }
    return best;
}

BugreportRead readReportZip(const QString& path, ReportRows& rows, const TextFileReading& how, uint64_t probeBytes) {
    const QString kind = archiveKindText(ArchiveKind::Zip);
    int error = 0;
    const ZipArchive archive{zip_open(QFile::encodeName(path).constData(), ZIP_RDONLY, &error)};
    if (!archive) {
        zip_error_t why;
        zip_error_init_with_code(&why, error);
        const QString text = QString::fromUtf8(zip_error_strerror(&why));
        zip_error_fini(&why);
        return refused(u"%1 that cannot be read (%2)"_s.arg(kind, text));
    }
    const zip_int64_t entry = mainEntry(archive.get());
    if (entry < 0) return refused(u"%1 without a bugreport text in it, not a log"_s.arg(kind));
    const ZipFile file{zip_fopen_index(archive.get(), zip_uint64_t(entry), 0)};
    if (!file) return refused(u"%1 whose bugreport cannot be read (%2)"_s.arg(kind, QString::fromUtf8(zip_strerror(archive.get()))));
    zip_stat_t st;
    zip_stat_init(&st);
    const bool sized = zip_stat_index(archive.get(), zip_uint64_t(entry), 0, &st) == 0 && (st.valid & ZIP_STAT_SIZE) != 0;
    const uint64_t total = sized ? st.size : 0;
    if ((st.valid & ZIP_STAT_NAME) != 0 && st.name != nullptr) rows.setEntry(QString::fromUtf8(st.name));

    // Described without rows, the entry is looked at only so far.
    const uint64_t limit = rows.wantsRows() ? UINT64_MAX : probeBytes;
    uint64_t inflated = 0;
    std::optional<BugreportRead> read = readReportStream(
        [&](char* into, size_t size) {
            const zip_int64_t n = zip_fread(file.get(), into, std::min<uint64_t>(size, limit - inflated));
            if (n > 0) inflated += uint64_t(n);
            return int64_t(n);
        },
        total, rows, how);
    if (!read) return refused(u"%1 whose bugreport cannot be read (%2)"_s.arg(kind, QString::fromUtf8(zip_file_strerror(file.get()))));
    if (inflated == limit && sized && total > limit) {
        read->facts.layout.lookedAt = inflated;
        read->facts.layout.entrySize = total;
    }
    return std::move(*read);
}

// Looks at `path` and reads it through `rows` when it is a report.
BugreportRead readReport(const QString& path, ReportRows& rows, const TextFileReading& how,
                         uint64_t probeBytes = kProbeZipBytes) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return {};
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return {};
    }
    std::string head(kHeadBytes, '\0');
    const ssize_t n = ::pread(fd, head.data(), head.size(), 0);
    head.resize(n > 0 ? size_t(n) : 0);
    BugreportRead read;
    const ArchiveKind kind = archiveKindOf(head);
    if (kind == ArchiveKind::Zip) {
        read = readReportZip(path, rows, how, probeBytes);
    } else if (kind != ArchiveKind::None) {
        read = refused(u"%1, not a log"_s.arg(archiveKindText(kind)));
    } else if (startsBugreportText(head)) {
        read = readReportText(fd, size_t(st.st_size), rows, how);
    }
    ::close(fd);
    if (read.outcome == BugreportRead::Outcome::Refused) VF_LOG("refused {}: {}", path, read.refusal);
    return read;
}

}  // namespace

BugreportRead readBugreport(const QString& path, const RowIndexSource& nextIndex) {
    return readBugreport(path, nextIndex, TextFileReading{});
}

BugreportRead readBugreport(const QString& path, const RowIndexSource& nextIndex, const TextFileReading& how) {
    ReportRows rows(nextIndex, how);
    return readReport(path, rows, how);
}

ReportProbe probeBugreport(const QString& path, uint64_t zipBytes) {
    const RowIndexSource counter = rowCounter();
    const TextFileReading how;
    ReportRows rows(counter, how, false);
    BugreportRead read = readReport(path, rows, how, zipBytes);
    return {std::move(read.facts.layout), std::move(read.facts), read.refusal};
}

}  // namespace vf
