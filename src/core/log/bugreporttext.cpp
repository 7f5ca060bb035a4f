// A report's text read where it lies: one pass on the calling thread sorts
// the lines outside the log sections (facts, section and buffer changes) and
// skips over runs of log lines, which every core then parses.
#include <QThread>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
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
    size_t begin = 0, end = 0;
    LogBuffer buffer = LogBuffer::None;
    ReportStretch out;
    bool parsed = false;  // under TextJob::mutex
};

// What the joining thread and the pool's helpers share; the helpers keep it
// alive for as long as they run.
struct TextJob {
    std::string_view text;
    std::shared_ptr<const void> owner;
    bool wantRows = true;
    const std::shared_ptr<NameList> names = std::make_shared<NameList>();
    std::vector<Piece> pieces;  // fixed before any helper starts
    std::atomic<size_t> nextToParse{0};
    std::atomic<bool> stop{false};
    std::mutex mutex;
    std::condition_variable parsedOne;

    void parse(Piece& piece, const std::atomic<bool>* callerStop);
    void work() {
        while (!stop) {
            const size_t i = nextToParse.fetch_add(1);
            if (i >= pieces.size()) return;
            parse(pieces[i], nullptr);
        }
    }
    bool isParsed(size_t i) {
        std::lock_guard lock(mutex);
        return pieces[i].parsed;
    }
};

void TextJob::parse(Piece& piece, const std::atomic<bool>* callerStop) {
    RowArena arena(names);
    const std::string_view bytes = arena.adopt(text.substr(piece.begin, piece.end - piece.begin), owner);
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

// The one pass over the text: lines outside the log sections, and the
// markers and ends within them, go to `rows`; the runs of log lines between
// become pieces of about `first` bytes, then twice as much each up to `most`.
void cutIntoPieces(TextJob& job, ReportRows& rows, size_t first, size_t most) {
    const std::string_view text = job.text;
    size_t want = std::max<size_t>(first, 1);
    const auto addRun = [&](size_t begin, size_t end) {
        while (begin < end) {
            size_t stop = end;
            if (begin + want < end) {
                const char* hit = findLfCr(text.data() + begin + want - 1, text.data() + end);
                stop = std::min(end, size_t(hit - text.data()) + 1);
            }
            Piece piece;
            piece.begin = begin;
            piece.end = stop;
            piece.buffer = rows.scanner().buffer();
            piece.out.section = rows.sectionCount() - 1;
            job.pieces.push_back(std::move(piece));
            begin = stop;
            want = std::min(want * 2, std::max(most, want));
        }
    };
    const auto factsMissing = [&] {
        for (const std::string_view fact : BugreportScanner::factPrefixes())
            if (!rows.scanner().knows(fact)) return true;
        return false;
    };
    for (size_t pos = 0; pos < text.size();) {
        if (!rows.scanner().section().empty() && text[pos] != '-') {
            // In a section every line is a log line up to one that starts
            // with '-': a marker, the section's end, or the next section.
            const size_t stop = nextNotableLine(text, pos, false);
            addRun(pos, stop);
            pos = stop;
            continue;
        }
        const char* end = findLfCr(text.data() + pos, text.data() + text.size());
        if (rows.takeOther(std::string_view(text.data() + pos, size_t(end - text.data()) - pos)) ==
            BugreportScanner::Line::Log)
            addRun(pos, std::min(size_t(end - text.data()) + 1, text.size()));
        // Outside the sections the lines that neither start one nor give a
        // fact change nothing.
        pos = rows.scanner().section().empty() ? nextNotableLine(text, pos, factsMissing())
                                               : size_t(end - text.data()) + 1;
    }
}

// Parses the pieces on the pool and here, and hands them to `rows` in
// order; false when stopped.
bool parsePieces(const std::shared_ptr<TextJob>& shared, ReportRows& rows, const std::atomic<bool>* callerStop) {
    TextJob& job = *shared;
    const auto stopped = [&] { return callerStop != nullptr && callerStop->load(); };
    const size_t count = job.pieces.size();
    const int helpers = int(std::min<size_t>(size_t(std::max(1, QThread::idealThreadCount()) - 1), count - 1));
    for (int i = 0; i < helpers; ++i) startOnPool([shared] { shared->work(); });
    size_t next = 0;
    bool going = true;
    while (going && next < count) {
        while (going && next < count && job.isParsed(next)) {
            rows.takeStretch(std::move(job.pieces[next].out));
            going = rows.reached(job.pieces[next++].end, job.text.size());
        }
        if (!going || next == count) break;
        // Parse one more here, or wait for one a helper has started.
        const size_t own = job.nextToParse.fetch_add(1);
        if (own < count) {
            job.parse(job.pieces[own], callerStop);
        } else {
            std::unique_lock lock(job.mutex);
            job.parsedOne.wait_for(lock, kStopCheckWait, [&] { return job.pieces[next].parsed; });
        }
        going = !stopped();
    }
    job.stop = true;  // helpers still running give up
    return next == count;
}

}  // namespace

BugreportRead readReportText(int fd, size_t size, ReportRows& rows, const TextFileReading& how) {
    const auto job = std::make_shared<TextJob>();
    std::shared_ptr<const MappedFile> mapping = MappedFile::map(fd, size);
    if (mapping) {
        job->text = mapping->bytes();
        job->owner = mapping;
    } else {
        auto copy = std::make_shared<std::string>(size, '\0');
        const ssize_t n = ::pread(fd, copy->data(), size, 0);
        copy->resize(n > 0 ? size_t(n) : 0);
        job->text = *copy;
        job->owner = std::move(copy);
    }
    job->wantRows = rows.wantsRows();
    cutIntoPieces(*job, rows, how.firstChunkBytes, how.chunkBytes);
    const bool whole = job->pieces.empty() || parsePieces(job, rows, how.cancelled);
    if (whole) rows.reached(job->text.size(), job->text.size());
    BugreportRead read = rows.finish(ReportLayout::Kind::Text, !whole);
    read.mapping = std::move(mapping);
    return read;
}

}  // namespace vf
