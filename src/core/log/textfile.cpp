// Reading a whole log file into rows. A UTF-8 file (the common case) is
// mapped read-only and its bytes become the rows' text where they are, so a
// file costs the small row records and nothing per line; the file is cut at
// line breaks into stretches parsed on every core and joined in order.
#include <QFile>
#include <QStringConverter>
#include <QThread>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/adb/replyframing.h"
#include "core/log/filestamp.h"
#include "core/log/linecut.h"
#include "core/log/logparser.h"
#include "core/log/mappedfile.h"
#include "core/log/namelist.h"
#include "core/log/processidentity.h"
#include "core/log/threadtimescan.h"
#include "core/log/utf8.h"
#include "core/support/logger.h"
#include "core/support/text.h"
#include "core/support/threads.h"

namespace vf {

namespace {

// Enough lines for the detector: it never looks past its line 31.
constexpr size_t kDetectionLines = 40;
// A stretch being parsed looks at the stop flag this often.
constexpr size_t kStopCheckLines = 4096;
// The UTF-8 check runs ahead of the parsing by this much: what it read is
// still in the core's cache when the parser reads it.
constexpr ptrdiff_t kUtf8CheckBytes = 64 * 1024;
// How long the joining thread waits for a stretch before it looks at the
// caller's stop flag again.
constexpr auto kStopCheckWait = std::chrono::milliseconds(50);

// The file's bytes and what keeps them alive: its mapping, or a copy.
struct FileBytes {
    std::string_view bytes;
    std::shared_ptr<const void> owner;
    std::shared_ptr<const MappedFile> mapping;
    std::optional<FileStamp> stamp;  // the file as it was opened
};

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

// Reads what `fd` holds into `bytes`; on failure returns the error text.
std::optional<std::string> readAll(int fd, size_t size, std::string& bytes) {
    reserveForFile(bytes, size);
    bytes.resize(size);
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::read(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::string(std::strerror(errno));
        if (n == 0) break;  // the file shrank while we read it
        done += size_t(n);
    }
    bytes.resize(done);
    return std::nullopt;
}

// Maps the file, or reads it when it cannot be mapped; on failure returns
// the error text.
std::optional<std::string> openFile(const QString& path, FileBytes& file) {
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::string(std::strerror(errno));
    struct stat st {};
    std::optional<std::string> error;
    if (::fstat(fd, &st) != 0) {
        error = std::strerror(errno);
    } else if (file.stamp = FileStamp::ofFd(fd); !S_ISREG(st.st_mode)) {
        error = "not a regular file";
    } else if (startsBinary(fd)) {
        error = utf8::kBinaryFileReason;
    } else if (std::shared_ptr<const MappedFile> mapping = MappedFile::map(fd, size_t(st.st_size))) {
        file.bytes = mapping->bytes();
        file.owner = mapping;
        file.mapping = std::move(mapping);
    } else {
        auto bytes = std::make_shared<std::string>();
        error = readAll(fd, size_t(st.st_size), *bytes);
        file.bytes = *bytes;
        file.owner = std::move(bytes);
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

// The name of the encoding the first bytes announce when it is UTF-16 or
// UTF-32 (never valid UTF-8); null otherwise.
const char* markedOtherEncoding(std::string_view bytes) {
    const auto encoding = QStringConverter::encodingForData(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
    return encoding && *encoding != QStringConverter::Utf8 ? QStringConverter::nameForEncoding(*encoding) : nullptr;
}

// How the stretches of a file that are not UTF-8 are read, decided once
// for the whole file as fileTextAsUtf8 decides it: as UTF-8 with U+FFFD for
// stray bytes when the file holds multi-byte sequences, else as Latin-1.
// Either way a stretch that is valid UTF-8 reads as it is.
class Repair final {
public:
    explicit Repair(std::string_view whole) : whole_(whole) {}
    std::string operator()(std::string_view stretch) {
        std::call_once(decided_, [this] { multiByte_ = utf8::hasMultiByteSequence(whole_); });
        return multiByte_ ? utf8::replaceInvalid(stretch) : utf8::fromLatin1(stretch);
    }

private:
    std::string_view whole_;
    std::once_flag decided_;
    bool multiByte_ = false;
};

// The layout rules count characters; bytes are an upper bound.
bool isLongEnough(std::string_view line) {
    if (line.size() < 3) return false;
    return line.size() >= 12 || utf8::utf16Length(line, 3) >= 3;
}

LogLineFormat detect(std::string_view text, Repair& repair) {
    std::vector<std::string_view> head;
    LineSplitter splitter(text, LineBreaks::LfCr);
    std::string_view line;
    while (head.size() < kDetectionLines && splitter.next(line)) head.push_back(line);
    if (head.empty()) return determineLogType(head);
    const std::string_view span(text.data(), size_t(head.back().data() + head.back().size() - text.data()));
    if (utf8::isValid(span)) return determineLogType(head);
    const std::string repaired = repair(span);
    std::vector<std::string_view> repairedHead;
    LineSplitter again(repaired, LineBreaks::LfCr);
    while (again.next(line)) repairedHead.push_back(line);
    return determineLogType(repairedHead);
}

// Long layout: the joined entries, one per line.
std::string joinLongText(std::string_view text) {
    std::string joined;
    joined.reserve(text.size());
    LineSplitter splitter(text, LineBreaks::LfCr);
    joinLongEntries([&](std::string_view& line) { return splitter.next(line); },
                           [&](std::string_view header, std::string_view message) {
                               joined.append(header).append(message).append(1, '\n');
                           });
    return joined;
}

// Where the file is cut for parsing: stretches of about `first` bytes, then
// twice as much each up to `most`, each ending after the first line break
// from its nominal end on. Each cut is found only when its stretch is
// claimed: cutting a cold file up front would read a page every few
// megabytes of it before the first rows could show.
class Cutter final {
public:
    Cutter(std::string_view text, size_t first, size_t most)
        : text_(text), want_(std::max<size_t>(first, 1)), most_(most) {}

    // The next stretch, [begin, end); false when the text is all cut.
    bool next(size_t& begin, size_t& end) {
        if (at_ >= text_.size()) return false;
        begin = at_;
        end = text_.size();
        if (at_ + want_ - 1 < text_.size()) {
            const char* stop = text_.data() + text_.size();
            const char* hit = findLfCr(text_.data() + at_ + want_ - 1, stop);
            if (hit != stop) end = size_t(hit - text_.data()) + 1;
        }
        at_ = end;
        want_ = std::min(want_ * 2, std::max(most_, want_));
        return true;
    }

    // How many stretches a text of `size` bytes is cut into, at most (lines
    // longer than a stretch make fewer); without looking at the text.
    size_t mostStretches() const {
        size_t count = 0, want = want_;
        for (size_t at = at_; at < text_.size(); at += want, want = std::min(want * 2, std::max(most_, want))) ++count;
        return count;
    }

private:
    std::string_view text_;
    size_t at_ = 0;
    size_t want_;
    size_t most_;
};

// The rows of some bytes and what they say of processes.
struct Parsed {
    RowList rows;
    FileChunkNotes notes;
    size_t lines = 0;  // as the splitter gives them (its last one may be an empty piece)
    size_t cut = 0;    // lines longer than the limit, cut
};

// One stretch: its bytes and, once parsed, its rows and what they say of
// processes.
struct Stretch {
    size_t begin = 0, end = 0;
    RowList rows;
    FileChunkNotes notes;
    size_t lines = 0;  // as the splitter gives them (its last one may be an empty piece)
    size_t cut = 0;    // lines longer than the limit, cut
    bool parsed = false;  // under Job::mutex
};

// What the joining thread and the pool's helpers share; the helpers keep it
// alive for as long as they run, which may be past the join's end.
struct Job {
    Job(FileBytes text, LogLineFormat format, bool checkUtf8, std::string_view whole, const TextFileReading& how)
        : text(std::move(text)), format(format), checkUtf8(checkUtf8), repair(whole),
          cutter(this->text.bytes, how.firstChunkBytes, how.chunkBytes) {}

    const FileBytes text;
    const LogLineFormat format;
    const bool checkUtf8;  // false: the text is UTF-8 already
    Repair repair;
    const std::shared_ptr<NameList> names = std::make_shared<NameList>();
    std::atomic<bool> stop{false};
    std::atomic<bool> sawInvalid{false};
    std::mutex mutex;
    std::condition_variable parsedOne;
    // Under `mutex`: the stretches cut so far, in file order (a deque, so
    // that a stretch stays where it is while more are cut), and the cutter.
    std::deque<Stretch> stretches;
    Cutter cutter;
    bool allCut = false;

    // Cuts the next stretch for the caller to parse; null when none is left.
    Stretch* claim() {
        std::lock_guard lock(mutex);
        size_t begin = 0, end = 0;
        if (stop || allCut) return nullptr;
        if (!cutter.next(begin, end)) {
            allCut = true;
            return nullptr;
        }
        return &stretches.emplace_back(Stretch{begin, end, {}, {}, 0, 0, false});
    }
    void parse(Stretch& stretch, const std::atomic<bool>* callerStop);
    // Parses `bytes` (kept alive by `owner`); nullopt when `checkUtf8` finds
    // them not UTF-8.
    std::optional<Parsed> parseBytes(std::string_view bytes, std::shared_ptr<const void> owner, bool checkUtf8,
                                     const std::atomic<bool>* callerStop);
    // Parses stretches until none is left to start.
    void work() {
        while (!stop) {
            Stretch* stretch = claim();
            if (stretch == nullptr) return;
            parse(*stretch, nullptr);
        }
    }
};

void Job::parse(Stretch& stretch, const std::atomic<bool>* callerStop) {
    const std::string_view bytes = text.bytes.substr(stretch.begin, stretch.end - stretch.begin);
    std::optional<Parsed> parsed = parseBytes(bytes, text.owner, checkUtf8, callerStop);
    if (!parsed) {
        auto repaired = std::make_shared<std::string>(repair(bytes));
        sawInvalid = true;
        parsed = parseBytes(*repaired, repaired, false, callerStop);
    }
    stretch.rows = std::move(parsed->rows);
    stretch.notes = std::move(parsed->notes);
    stretch.lines = parsed->lines;
    stretch.cut = parsed->cut;
    {
        std::lock_guard lock(mutex);
        stretch.parsed = true;
    }
    parsedOne.notify_all();
}

std::optional<Parsed> Job::parseBytes(std::string_view bytes, std::shared_ptr<const void> owner, bool checkUtf8,
                                      const std::atomic<bool>* callerStop) {
    RowArena arena(names);
    bytes = arena.adopt(bytes, std::move(owner));
    // Indices are given when the stretches are joined, in order.
    static const RowIndexSource placeholder = [] { return RowIdx(); };
    Parsed out;
    out.rows.reserve(qsizetype(bytes.size() / 96 + 16));
    // Threadtime lines of the plain shape are split and parsed in one walk;
    // the others, and every line of other layouts, line by line.
    const bool scan = format == LogLineFormat::ThreadTime || format == LogLineFormat::ThreadTimeApp;
    const char* const end = bytes.data() + bytes.size();
    // The UTF-8 check keeps a block ahead of the parsing, so that the bytes
    // come from memory once for both.
    const char* checked = checkUtf8 ? bytes.data() : end;  // what lies before is UTF-8
    const auto checkTo = [&](const char* to) {
        while (checked < to) {
            const char* block = end - checked > kUtf8CheckBytes ? checked + kUtf8CheckBytes : end;
            const char* valid = checked + utf8::validPrefix(std::string_view(checked, size_t(block - checked)));
            // A sequence cut by the block's end is checked whole with the next block.
            if (valid < block && (block == end || block - valid >= 4)) return false;
            checked = valid;
        }
        return true;
    };
    for (const char* at = bytes.data();; ++at) {
        if (++out.lines % kStopCheckLines == 0 && (stop || (callerStop != nullptr && *callerStop))) {
            --out.lines;
            break;
        }
        if (at >= checked && at < end && !checkTo(at + 1)) return std::nullopt;
        const ScannedLine scanned = scan ? scanThreadTimeLine(at, end, format == LogLineFormat::ThreadTimeApp)
                                         : ScannedLine{findLfCr(at, end), false, {}};
        std::string_view line(at, size_t(scanned.end - at));
        at = scanned.end;
        if (scanned.plain && line.size() <= size_t(kMaxLineBytes)) {
            out.rows.append(arena.makeSliced(RowIdx(), line, scanned.slices));
            out.notes.observe(scanned.slices.fields(line));
        } else if (isLongEnough(line)) {
            if (line.size() > size_t(kMaxLineBytes)) {
                // Held to the live lines' limit: the cut copy becomes arena text.
                std::string cut(line);
                cutLongLinesInPlace(cut);
                line = arena.copyLine(cut);
                ++out.cut;
            }
            if (RowPtr row = parseThreadTimeLine(arena, line, format, placeholder)) {
                out.notes.observe(*row);
                out.rows.append(std::move(row));
            }
        }
        if (at == end) break;
    }
    if (!checkTo(end)) return std::nullopt;
    return out;
}

// Parses `text` in stretches and hands them to `joined` in order; returns
// whether every stretch was parsed (false: stopped).
bool parseInStretches(const std::shared_ptr<Job>& shared, const TextFileReading& how,
                      const std::function<void(Stretch&)>& joined) {
    Job& job = *shared;
    const std::atomic<bool>* callerStop = how.cancelled;
    const auto stopped = [&] { return callerStop != nullptr && callerStop->load(); };
    const size_t most = job.cutter.mostStretches();
    const int helpers = int(std::min<size_t>(size_t(std::max(1, QThread::idealThreadCount()) - 1), most > 0 ? most - 1 : 0));
    for (int i = 0; i < helpers; ++i) startOnPool([shared] { shared->work(); });
    size_t next = 0;
    // The next stretch to join once it is parsed; null when none is cut yet.
    const auto nextParsed = [&]() -> Stretch* {
        std::lock_guard lock(job.mutex);
        return next < job.stretches.size() && job.stretches[next].parsed ? &job.stretches[next] : nullptr;
    };
    const auto finished = [&] {
        std::lock_guard lock(job.mutex);
        return job.allCut && next == job.stretches.size();
    };
    bool whole = false;
    while (!stopped()) {
        while (Stretch* stretch = nextParsed()) {
            if (stopped()) break;
            joined(*stretch);
            ++next;
        }
        if (stopped()) break;
        if (finished()) {
            whole = true;
            break;
        }
        // Parse one more here, or wait for one a helper has started.
        if (Stretch* own = job.claim()) {
            job.parse(*own, callerStop);
            continue;
        }
        std::unique_lock lock(job.mutex);
        job.parsedOne.wait_for(lock, kStopCheckWait, [&] {
            return next == job.stretches.size() ? job.allCut : job.stretches[next].parsed;
        });
    }
    job.stop = true;  // helpers still running give up
    return whole;
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

TextFileRead readTextFile(const QString& path, const RowIndexSource& nextIndex, const TextFileReading& how) {
    FileBytes file;
    if (const auto error = openFile(path, file)) {
        VF_LOG("unable to open: {}, {}", path, *error);
        return {};
    }
    TextFileRead result;
    result.mapping = file.mapping;
    result.stamp = file.stamp;
    // UTF-16 and UTF-32 files (and long-layout files) are read as a whole
    // first; everything else is read where it lies, stretch by stretch.
    bool checkUtf8 = true;
    if (const char* encoding = markedOtherEncoding(file.bytes.substr(0, 4))) {
        VF_LOG("reading file:{} as {} (its byte-order mark), converted to UTF-8", path, encoding);
        auto text = std::make_shared<std::string>(utf8::fileTextAsUtf8(std::string(file.bytes)));
        file = FileBytes{*text, text, nullptr, file.stamp};
        checkUtf8 = false;
    }
    // A UTF-8 byte-order mark is not part of the first line.
    if (file.bytes.starts_with("\xEF\xBB\xBF")) file.bytes.remove_prefix(3);

    Repair repair(file.bytes);
    const LogLineFormat format = detect(file.bytes, repair);
    result.format = format;
    if (format == LogLineFormat::None) return result;
    if (format == LogLineFormat::Long) {
        const std::string_view whole = file.bytes;
        auto text = std::make_shared<std::string>(
            joinLongText(checkUtf8 && !utf8::isValid(whole) ? repair(whole) : std::string(whole)));
        file = FileBytes{*text, text, file.mapping, file.stamp};
        checkUtf8 = false;
    }

    const auto job = std::make_shared<Job>(file, format, checkUtf8, file.bytes, how);
    FileRowNamer namer;
    std::vector<RowList> joined;
    size_t lines = 0, cut = 0;
    const bool whole = parseInStretches(job, how, [&](Stretch& stretch) {
        numberRows(stretch.rows, 0, stretch.rows.size(), nextIndex);
        namer.take(std::move(stretch.notes));
        lines += stretch.lines;
        cut += stretch.cut;
        if (how.rows) how.rows(stretch.rows);
        if (how.progress) how.progress(stretch.end, file.bytes.size());
        joined.push_back(std::move(stretch.rows));
    });
    if (cut != 0) VF_LOG("lines cut at 1 MiB: {}", cut);
    if (job->sawInvalid)
        VF_LOG("reading file:{}: not valid UTF-8, its stray bytes read as U+FFFD (or the file as Latin-1)", path);
    VF_LOG("reading file:{}, lines:{}", path, lines + 1 - std::min(lines, joined.size()));
    namer.nameRows(joined);
    result.read = true;
    result.namedLate = how.rows && namer.namesAny();
    result.cancelled = !whole;
    if (!how.rows) {
        qsizetype total = 0;
        for (const RowList& rows : joined) total += rows.size();
        result.rows.reserve(total);
        for (RowList& rows : joined) result.rows.append(std::move(rows));
    }
    return result;
}

std::optional<RowList> readTextFile(const QString& path, const RowIndexSource& nextIndex) {
    TextFileRead read = readTextFile(path, nextIndex, TextFileReading{});
    if (!read.read || read.format == LogLineFormat::None) return std::nullopt;
    return std::move(read.rows);
}

}  // namespace vf
