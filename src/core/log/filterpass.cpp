#include "core/log/filterpass.h"

#include <QThread>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>
#include <algorithm>
#include <optional>
#include <vector>

#include "core/filter/fieldsource.h"
#include "core/filter/textmatch.h"

namespace vf {

namespace {
// A cancelled pass gives up at the next check; checks are this far apart.
constexpr qsizetype kCancelCheckRows = 4096;
// Smaller passes run on one thread.
constexpr qsizetype kMinChunkRows = 32768;

struct Chunk {
    qsizetype begin = 0, end = 0;
    RowList accepted;
    QString error;
    bool cancelled = false;
};

// Whether `row` may hold the text `held` searches for in one of its fields:
// false only when neither the bytes of its line nor its other values can
// (bytes other than ASCII might, once folded).
bool mayHold(const Row& row, const textmatch::Searcher& held) {
    using Result = textmatch::Searcher::Result;
    if (row.hasSideRecord() || held.scan(row.span()) != Result::Absent) return true;
    if (const std::string_view app = row.listedApp(); !app.empty() && held.scan(app) != Result::Absent) return true;
    return row.tidIsDash() && held.scan("-") != Result::Absent;
}

void runChunk(Chunk& chunk, const RowList& rows, const Predicate& filter, const textmatch::Searcher* held,
              const std::atomic<bool>& cancelled) {
    for (qsizetype i = chunk.begin; i < chunk.end; ++i) {
        if ((i - chunk.begin) % kCancelCheckRows == 0 && cancelled.load(std::memory_order_relaxed)) {
            chunk.cancelled = true;
            return;
        }
        const RowPtr& row = rows.at(i);
        if (held != nullptr && !mayHold(*row, *held)) continue;
        if (filter.evaluate(RowFieldSource(*row), &chunk.error)) {
            chunk.accepted.append(row);
        } else if (!chunk.error.isEmpty()) {
            return;
        }
    }
}
}  // namespace

bool acceptsRow(const PredicatePtr& filter, const Row& row, QString* error) {
    QString ignored;
    return filter && filter->evaluate(RowFieldSource(row), error != nullptr ? error : &ignored);
}

FullPassResult runFullPass(const RowList& rows, const Predicate& filter, const std::atomic<bool>& cancelled) {
    const qsizetype count =
        std::clamp<qsizetype>(rows.size() / kMinChunkRows, 1, 4 * qMax(1, QThread::idealThreadCount()));
    std::vector<Chunk> chunks(static_cast<size_t>(count));
    for (qsizetype c = 0; c < count; ++c) {
        chunks[size_t(c)].begin = rows.size() * c / count;
        chunks[size_t(c)].end = rows.size() * (c + 1) / count;
    }
    // A filter that needs a text in some field is first a scan of the rows'
    // bytes for it: most rows lack it and are never evaluated.
    const std::string heldText = filter.heldText();
    const std::optional<textmatch::Searcher> held =
        heldText.empty() ? std::nullopt : std::make_optional<textmatch::Searcher>(heldText, true);
    auto pass = [&](Chunk& chunk) { runChunk(chunk, rows, filter, held ? &*held : nullptr, cancelled); };
    if (count == 1) {
        pass(chunks.front());
    } else {
        QtConcurrent::blockingMap(QThreadPool::globalInstance(), chunks, pass);
    }
    FullPassResult result;
    for (Chunk& chunk : chunks) {
        if (chunk.cancelled) return {{}, {}, true};
        if (!chunk.error.isEmpty()) {
            result.error = chunk.error;
            return result;
        }
        result.accepted.append(std::move(chunk.accepted));
    }
    return result;
}

FilterRunner::FilterRunner() : thread_([this] { run(); }) {}

FilterRunner::~FilterRunner() {
    cancelAndWait();
    {
        std::lock_guard lock(mutex_);
        quit_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void FilterRunner::start(Pass pass) {
    {
        std::lock_guard lock(mutex_);
        if (current_) *current_ = true;
        current_ = std::make_shared<std::atomic<bool>>(false);
        pending_ = std::move(pass);
        pendingFlag_ = current_;
    }
    wake_.notify_all();
}

void FilterRunner::cancelAndWait() {
    std::unique_lock lock(mutex_);
    if (current_) *current_ = true;
    pending_ = nullptr;
    pendingFlag_.reset();
    idle_.wait(lock, [this] { return !busy_; });
}

void FilterRunner::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return quit_ || pending_; });
        if (!pending_) return;
        const Pass pass = std::exchange(pending_, nullptr);
        const std::shared_ptr<std::atomic<bool>> flag = std::exchange(pendingFlag_, nullptr);
        busy_ = true;
        lock.unlock();
        if (!*flag) pass(*flag);
        lock.lock();
        busy_ = false;
        idle_.notify_all();
    }
}

bool AppendFilter::test(const Row& row, const PredicatePtr& filter, uint64_t version) {
    if (version != version_) {
        filter_ = filter;
        version_ = version;
    }
    return acceptsRow(filter_, row);
}

}  // namespace vf
