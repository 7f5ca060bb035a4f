// A report's text, mapped where it lies or inflated a block at a time: one
// pass on the calling thread sorts the lines outside the log sections (facts,
// section and buffer changes) and skips over runs of log lines, which every
// core then parses, while the next block is inflated.
#include <QThread>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <unistd.h>

#include "core/log/linecut.h"
#include "core/log/mappedfile.h"
#include "core/log/reportrows.h"
#include "core/support/text.h"
#include "core/support/threads.h"

namespace vf {

namespace {

// A stretch being parsed looks at the stop flag this often.
constexpr size_t kStopCheckLines = 4096;
// How long the joining thread waits for a stretch before it looks at the
// caller's stop flag again.
constexpr auto kStopCheckWait = std::chrono::milliseconds(50);

// Log lines of one section and buffer, and once parsed their rows.
struct Piece {
    std::string_view bytes;             // lies in `owner`
    std::shared_ptr<const void> owner;  // the mapping, or an inflated block
    uint64_t end = 0;                   // where it ends in the report's text
    LogBuffer buffer = LogBuffer::None;
    ReportStretch out;
    bool parsed = false;  // under TextJob::mutex
};

// What the cutting thread and the pool's helpers share; the helpers keep it
// alive for as long as they run. Pieces are added in report order as the
// text is cut (all at once for a mapped text, a block at a time for an
// inflated one) and parsed by whoever claims them first.
struct TextJob {
    bool wantRows = true;
    const std::shared_ptr<NameList> names = std::make_shared<NameList>();
    std::mutex mutex;
    std::condition_variable parsedOne, cutOne;
    std::deque<Piece> pieces;  // under `mutex`; a piece stays where it is while more are added
    size_t claimed = 0;        // under `mutex`
    bool allCut = false;       // under `mutex`
    std::atomic<bool> stop{false};  // set under `mutex`, so that a waiting helper hears it

    void add(std::vector<Piece>& cut, bool last) {
        {
            std::lock_guard lock(mutex);
            for (Piece& piece : cut) pieces.push_back(std::move(piece));
            allCut = last;
        }
        cut.clear();
        cutOne.notify_all();
    }
    void halt() {
        {
            std::lock_guard lock(mutex);
            stop = true;
        }
        cutOne.notify_all();
    }
    // The next piece nobody has claimed; null when there is none now
    // (`wait`: none will come).
    Piece* claim(bool wait) {
        std::unique_lock lock(mutex);
        if (wait) cutOne.wait(lock, [&] { return stop || allCut || claimed < pieces.size(); });
        if (stop || claimed >= pieces.size()) return nullptr;
        return &pieces[claimed++];
    }
    void parse(Piece& piece, const std::atomic<bool>* callerStop);
    void work() {
        while (Piece* piece = claim(true)) parse(*piece, nullptr);
    }
};

void TextJob::parse(Piece& piece, const std::atomic<bool>* callerStop) {
    RowArena arena(names);
    const std::string_view bytes = arena.adopt(piece.bytes, piece.owner);
    // Numbers are given when the pieces are joined, in order.
    static const RowIndexSource placeholder = [] { return RowIdx(); };
    ReportStretch& out = piece.out;
    LineSplitter lines(bytes, LineBreaks::LfCr);
    std::string_view line;
    for (size_t n = 1; lines.next(line); ++n) {
        if (n % kStopCheckLines == 0 && (stop || (callerStop != nullptr && *callerStop))) break;
        if (line.empty()) continue;
        ++out.lines;
        if (!wantRows && out.format != LogLineFormat::None) continue;
        RowPtr row = reportLogRow(arena, line, true, placeholder);
        if (!row) continue;
        if (out.format == LogLineFormat::None) out.format = reportRowFormat(*row);
        if (!wantRows) continue;
        row->setUnsharedBuffer(piece.buffer);
        out.notes.observe(*row);
        out.rows.append(std::move(row));
    }
    {
        std::lock_guard lock(mutex);
        piece.parsed = true;
    }
    parsedOne.notify_all();
}

// The start of the first line after the one at `pos` that the scanner must
// see: one starting with '-' (a section's start or end, a marker) or, when
// `facts`, one that may give a fact; the text's size when none follows.
size_t nextNotableLine(std::string_view text, size_t pos, bool facts) {
    const char* p = text.data() + pos;
    const char* end = text.data() + text.size();
    while ((p = static_cast<const char*>(std::memchr(p, '\n', size_t(end - p)))) != nullptr && ++p != end) {
        if (*p == '-' || (facts && (*p == 'B' || *p == '['))) return size_t(p - text.data());
    }
    return text.size();
}

// The one pass over the text, a block at a time: lines outside the log
// sections, and the markers and ends within them, go to `rows`; the runs of
// log lines between become pieces of about `first` bytes, then twice as
// much each up to `most`. A block ends at a line break.
class Cutter final {
public:
    Cutter(ReportRows& rows, size_t first, size_t most) : rows_(rows), want_(std::max<size_t>(first, 1)), most_(most) {}

    // Cuts `text` (kept alive by `owner`, at `offset` in the report's text)
    // into `pieces`.
    void cut(std::string_view text, const std::shared_ptr<const void>& owner, uint64_t offset, std::vector<Piece>& pieces);

private:
    bool factsMissing() const {
        for (const std::string_view fact : BugreportScanner::factPrefixes())
            if (!rows_.scanner().knows(fact)) return true;
        return false;
    }

    ReportRows& rows_;
    size_t want_;
    size_t most_;
};

void Cutter::cut(std::string_view text, const std::shared_ptr<const void>& owner, uint64_t offset,
                 std::vector<Piece>& pieces) {
    const auto addRun = [&](size_t begin, size_t end) {
        while (begin < end) {
            size_t stop = end;
            if (begin + want_ < end) {
                const char* hit = findLfCr(text.data() + begin + want_ - 1, text.data() + end);
                stop = std::min(end, size_t(hit - text.data()) + 1);
            }
            Piece piece;
            piece.bytes = text.substr(begin, stop - begin);
            piece.owner = owner;
            piece.end = offset + stop;
            piece.buffer = rows_.scanner().buffer();
            piece.out.section = rows_.sectionCount() - 1;
            pieces.push_back(std::move(piece));
            begin = stop;
            want_ = std::min(want_ * 2, std::max(most_, want_));
        }
    };
    for (size_t pos = 0; pos < text.size();) {
        if (!rows_.scanner().section().empty() && text[pos] != '-') {
            // In a section every line is a log line up to one that starts
            // with '-': a marker, the section's end, or the next section.
            const size_t stop = nextNotableLine(text, pos, false);
            addRun(pos, stop);
            pos = stop;
            continue;
        }
        const char* end = findLfCr(text.data() + pos, text.data() + text.size());
        if (rows_.takeOther(std::string_view(text.data() + pos, size_t(end - text.data()) - pos)) ==
            BugreportScanner::Line::Log)
            addRun(pos, std::min(size_t(end - text.data()) + 1, text.size()));
        // Outside the sections the lines that neither start one nor give a
        // fact change nothing.
        pos = rows_.scanner().section().empty() ? nextNotableLine(text, pos, factsMissing())
                                                : size_t(end - text.data()) + 1;
    }
}

// Hands the parsed pieces to `rows` in order, parsing on this thread too
// while it waits for them.
class Joiner final {
public:
    // Starts up to `most` helpers on the pool.
    Joiner(const std::shared_ptr<TextJob>& job, ReportRows& rows, uint64_t total, const std::atomic<bool>* callerStop,
           size_t most)
        : job_(job), rows_(rows), total_(total), callerStop_(callerStop) {
        const size_t helpers = std::min(size_t(std::max(1, QThread::idealThreadCount()) - 1), most);
        for (size_t i = 0; i < helpers; ++i) startOnPool([job] { job->work(); });
    }
    Joiner(const Joiner&) = delete;
    Joiner& operator=(const Joiner&) = delete;
    ~Joiner() { job_->halt(); }  // helpers still running give up

    // Joins what is parsed; with `all`, every piece (parsing some here).
    // False when stopped.
    bool join(bool all);
    // Everything cut so far is joined.
    bool caughtUp() {
        std::lock_guard lock(job_->mutex);
        return next_ == job_->pieces.size();
    }

private:
    Piece* nextParsed() {
        std::lock_guard lock(job_->mutex);
        return next_ < job_->pieces.size() && job_->pieces[next_].parsed ? &job_->pieces[next_] : nullptr;
    }
    bool stopped() const { return callerStop_ != nullptr && callerStop_->load(); }

    std::shared_ptr<TextJob> job_;
    ReportRows& rows_;
    const uint64_t total_;
    const std::atomic<bool>* callerStop_;
    size_t next_ = 0;
};

bool Joiner::join(bool all) {
    TextJob& job = *job_;
    for (;;) {
        while (Piece* piece = nextParsed()) {
            rows_.takeStretch(std::move(piece->out));
            ++next_;
            if (!rows_.reached(piece->end, total_)) return false;
            piece->owner.reset();  // the rows hold the bytes they need
        }
        if (stopped()) return false;
        if (!all) return true;
        {
            std::lock_guard lock(job.mutex);
            if (job.allCut && next_ == job.pieces.size()) return true;
        }
        // Parse one more here, or wait for one a helper has started.
        if (Piece* own = job.claim(false)) {
            job.parse(*own, callerStop_);
            continue;
        }
        std::unique_lock lock(job.mutex);
        job.parsedOne.wait_for(lock, kStopCheckWait, [&] {
            return next_ == job.pieces.size() ? job.allCut : job.pieces[next_].parsed;
        });
    }
}

// Inflated text is cut a block at a time: small first, so that rows show
// soon, then up to this.
constexpr size_t kMostBlockBytes = 8 << 20;

}  // namespace

std::optional<BugreportRead> readReportStream(const std::function<int64_t(char*, size_t)>& read, uint64_t total,
                                             ReportRows& rows, const TextFileReading& how) {
    const auto job = std::make_shared<TextJob>();
    job->wantRows = rows.wantsRows();
    Cutter cutter(rows, how.firstChunkBytes, how.chunkBytes);
    Joiner joiner(job, rows, total, how.cancelled, SIZE_MAX);
    std::vector<Piece> pieces;
    std::string carried;  // the unfinished last line of the block before
    uint64_t done = 0;
    size_t want = std::max<size_t>(how.firstChunkBytes, 4096);
    bool going = true;
    for (bool more = true; going && more;) {
        auto block = std::make_shared<std::string>(std::move(carried));
        carried.clear();
        const size_t start = block->size();
        block->resize(start + want);
        size_t filled = start;
        while (filled < block->size()) {
            const int64_t n = read(block->data() + filled, block->size() - filled);
            if (n < 0) return std::nullopt;
            if (n == 0) {
                more = false;
                break;
            }
            filled += size_t(n);
        }
        block->resize(filled);
        done += filled - start;
        // The block ends after its last line break; the rest goes on with the next one.
        const size_t cut = more ? block->find_last_of('\n') : std::string::npos;
        if (more && cut != std::string::npos) {
            carried.assign(*block, cut + 1);
            block->resize(cut + 1);
        }
        if (more && cut == std::string::npos) {  // a line longer than the block: grow it
            carried = std::move(*block);
            want = std::min(want * 2, kMostBlockBytes);
            continue;
        }
        const uint64_t offset = done - carried.size() - block->size();
        cutter.cut(*block, block, offset, pieces);
        job->add(pieces, !more);
        going = joiner.join(false);
        // Between pieces of log the reading still tells how far it got.
        if (going && joiner.caughtUp()) going = rows.reached(done - carried.size(), std::max(total, done));
        want = std::min(want * 2, std::max(kMostBlockBytes, want));
    }
    if (going) {
        job->add(pieces, true);
        going = joiner.join(true);
    }
    return rows.finish(ReportLayout::Kind::Zip, !going);
}

BugreportRead readReportText(int fd, size_t size, ReportRows& rows, const TextFileReading& how) {
    std::shared_ptr<const MappedFile> mapping = MappedFile::map(fd, size);
    std::string_view text;
    std::shared_ptr<const void> owner;
    if (mapping) {
        text = mapping->bytes();
        owner = mapping;
    } else {
        auto copy = std::make_shared<std::string>(size, '\0');
        const ssize_t n = ::pread(fd, copy->data(), size, 0);
        copy->resize(n > 0 ? size_t(n) : 0);
        text = *copy;
        owner = std::move(copy);
    }
    const auto job = std::make_shared<TextJob>();
    job->wantRows = rows.wantsRows();
    std::vector<Piece> pieces;
    Cutter(rows, how.firstChunkBytes, how.chunkBytes).cut(text, owner, 0, pieces);
    bool whole = true;
    if (!pieces.empty()) {
        job->add(pieces, true);
        const size_t count = job->pieces.size();
        whole = Joiner(job, rows, text.size(), how.cancelled, count - 1).join(true);
    }
    if (whole) rows.reached(text.size(), text.size());
    BugreportRead read = rows.finish(ReportLayout::Kind::Text, !whole);
    read.mapping = std::move(mapping);
    return read;
}

}  // namespace vf
