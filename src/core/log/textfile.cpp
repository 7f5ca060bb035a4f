// Reading a whole log file into rows. The file's bytes become the rows' text
// as they are whenever they are UTF-8 (the common case), so a file costs its
// own size plus the small row records and nothing per line.
#include <QFile>
#include <QStringConverter>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/log/linecut.h"
#include "core/log/logparser.h"
#include "core/log/processidentity.h"
#include "core/log/utf8.h"
#include "core/support/logger.h"
#include "core/support/text.h"

namespace vf {

namespace {

// Enough lines for the detector: it never looks past its line 31.
constexpr size_t kDetectionLines = 40;

// Large files are faulted in as huge pages where the system allows it: a
// million-line file otherwise costs tens of thousands of page faults.
void reserveForFile(std::string& bytes, size_t size) {
    bytes.reserve(size);
    constexpr uintptr_t kHugePage = 2 * 1024 * 1024;
    if (size < 4 * kHugePage) return;
    const auto begin = (reinterpret_cast<uintptr_t>(bytes.data()) + kHugePage - 1) & ~(kHugePage - 1);
    const auto end = (reinterpret_cast<uintptr_t>(bytes.data()) + size) & ~(kHugePage - 1);
    if (end > begin) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

// Whether the file's first bytes say it is binary; read before the rest, so
// that a huge binary file is refused without reading it.
bool startsBinary(int fd) {
    std::string head(utf8::kBinaryProbeBytes, '\0');
    const ssize_t n = ::pread(fd, head.data(), head.size(), 0);
    head.resize(n > 0 ? size_t(n) : 0);
    return utf8::looksBinary(head);
}

// Reads the whole file into `bytes`; on failure returns the error text.
std::optional<std::string> readWholeFile(const QString& path, std::string& bytes) {
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::string(std::strerror(errno));
    struct stat st {};
    std::optional<std::string> error;
    if (::fstat(fd, &st) != 0) {
        error = std::strerror(errno);
    } else if (!S_ISREG(st.st_mode)) {
        error = "not a regular file";
    } else if (startsBinary(fd)) {
        error = utf8::kBinaryFileReason;
    } else {
        reserveForFile(bytes, size_t(st.st_size));
        bytes.resize(size_t(st.st_size));
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t n = ::read(fd, bytes.data() + done, bytes.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) {
                error = std::strerror(errno);
                break;
            }
            if (n == 0) break;  // the file shrank while we read it
            done += size_t(n);
        }
        bytes.resize(done);
    }
    ::close(fd);
    return error;
}

// A byte-order mark of an encoding other than UTF-8, and the text it
// announces; nothing when there is none or the text does not decode.
std::optional<std::string> decodeMarkedEncoding(const std::string& bytes) {
    const QByteArrayView data(bytes.data(), qsizetype(bytes.size()));
    const auto encoding = QStringConverter::encodingForData(data);
    if (!encoding || *encoding == QStringConverter::Utf8) return std::nullopt;
    QStringDecoder decoder(*encoding);
    const QString text = decoder.decode(data);
    if (decoder.hasError()) return std::nullopt;
    const QByteArray utf8 = text.toUtf8();
    return std::string(utf8.constData(), size_t(utf8.size()));
}

// The layout rules count characters; bytes are an upper bound.
bool isLongEnough(std::string_view line) {
    if (line.size() < 3) return false;
    return line.size() >= 12 || utf8::utf16Length(line, 3) >= 3;
}

LogLineFormat detect(std::string_view text) {
    std::vector<std::string_view> head;
    LineSplitter splitter(text, LineBreaks::LfCr);
    std::string_view line;
    while (head.size() < kDetectionLines && splitter.next(line)) head.push_back(line);
    return determineLogType(head);
}

// Long layout: the joined entries become the arena's text, one per line.
std::string_view joinLongText(RowArena& arena, std::string_view text) {
    std::string joined;
    joined.reserve(text.size());
    LineSplitter splitter(text, LineBreaks::LfCr);
    joinLongEntries([&](std::string_view& line) { return splitter.next(line); },
                           [&](std::string_view header, std::string_view message) {
                               joined.append(header).append(message).append(1, '\n');
                           });
    return arena.adopt(std::move(joined));
}

}  // namespace

bool utf8::looksBinary(std::string_view head) {
    head = head.substr(0, kBinaryProbeBytes);
    if (head.find('\0') == std::string_view::npos) return false;
    // UTF-16 and UTF-32 text is full of NUL bytes; its byte-order mark says so.
    const auto encoding = QStringConverter::encodingForData(QByteArrayView(head.data(), qsizetype(head.size())));
    return !encoding || *encoding == QStringConverter::Utf8;
}

bool utf8::fileLooksBinary(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat st {};
    const bool binary = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && startsBinary(fd);
    ::close(fd);
    return binary;
}

std::string utf8::fileTextAsUtf8(std::string bytes) {
    if (isValid(bytes)) return bytes;
    if (auto decoded = decodeMarkedEncoding(bytes)) return std::move(*decoded);
    // One stray byte in a UTF-8 file must not turn every accented or CJK
    // character of it into Latin-1 mojibake.
    if (hasMultiByteSequence(bytes)) return replaceInvalid(bytes);
    return fromLatin1(bytes);
}

std::optional<RowList> readTextFile(const QString& path, const RowIndexSource& nextIndex) {
    std::string bytes;
    if (const auto error = readWholeFile(path, bytes)) {
        VF_LOG("unable to open: {}, {}", path, *error);
        VF_LOG("unable to open: {}, {}", path, *error);
        VF_LOG("unable to open (NSISOLatin1StringEncoding): {}, {}", path, *error);
        return std::nullopt;
    }
    if (!utf8::isValid(bytes)) {
        VF_LOG("unable to open: {}, {}", path, "not valid UTF-8");
        bytes = utf8::fileTextAsUtf8(std::move(bytes));
    }
    if (const size_t cut = cutLongLinesInPlace(bytes)) VF_LOG("lines cut at 1 MiB: {}", cut);
    // A UTF-8 byte-order mark is not part of the first line.
    const size_t skip = std::string_view(bytes).starts_with("\xEF\xBB\xBF") ? 3 : 0;

    RowArena arena;
    std::string_view text = arena.adopt(std::move(bytes)).substr(skip);
    const BreakCount breaks = countLineBreaks(text);
    VF_LOG("reading file:{}, lines:{}", path, breaks.lf + breaks.cr + 1);

    const LogLineFormat format = detect(text);
    if (format == LogLineFormat::None) return std::nullopt;
    if (format == LogLineFormat::Long) text = joinLongText(arena, text);

    RowList rows;
    rows.reserve(qsizetype(std::max(breaks.lf, breaks.cr) + 1));
    FileRowNamer namer;
    LineSplitter splitter(text, LineBreaks::LfCr);
    std::string_view line;
    while (splitter.next(line)) {
        if (!isLongEnough(line)) continue;
        if (RowPtr row = parseThreadTimeLine(arena, line, format, nextIndex)) {
            namer.observe(*row);
            rows.append(std::move(row));
        }
    }
    namer.nameRows(rows);
    return rows;
}

}  // namespace vf
