#include "core/log/filterpass.h"

#include <QThread>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>
#include <algorithm>
#include <optional>
#include <vector>

#include "core/filter/fieldsource.h"
#include "core/filter/textmatch.h"
#include "core/log/heldtextscan.h"

namespace vf {

namespace {
// A cancelled pass gives up at the next check; checks are this far apart.
constexpr qsizetype kCancelCheckRows = 4096;
// Smaller passes run on one thread.
constexpr qsizetype kMinChunkRows = 32768;
// Chunks per thread of the pool: enough that progress moves in small steps.
constexpr int kChunksPerThread = 8;

struct Chunk {
    qsizetype begin = 0, end = 0;
    RowList accepted;
    QString error;
    bool cancelled = false;
    bool done = false;
};

void runChunk(Chunk& chunk, const RowList& rows, const Predicate& filter, const HeldTextSearch* held,
              const FullPassOptions& options, const std::atomic<bool>& cancelled) {
    // A filter that needs one of a few texts in some field is first a scan
    // for them: most rows lack them and are never evaluated.
    std::optional<HeldTextScan> scan;
    if (held != nullptr) scan.emplace(*held, options.wholeText);
    for (qsizetype i = chunk.begin; i < chunk.end; ++i) {
        if ((i - chunk.begin) % kCancelCheckRows == 0 && cancelled.load(std::memory_order_relaxed)) {
            chunk.cancelled = true;
            return;
        }
        const RowPtr& row = rows.at(i);
        if (scan && !scan->mayHold(*row)) continue;
        if (filter.evaluate(RowFieldSource(*row), &chunk.error)) {
            chunk.accepted.append(row);
        } else if (!chunk.error.isEmpty()) {
            return;
        }
    }
}

// Tells the listener of the chunks finished in order since it last heard;
// a chunk that gave up ends the telling.
class InOrderReport final {
public:
    InOrderReport(std::vector<Chunk>& chunks, const PassProgress& progress) : chunks_(chunks), progress_(progress) {}

    void finished(Chunk& chunk) {
        if (!progress_) return;
        std::lock_guard lock(mutex_);
        chunk.done = true;
        for (; next_ < chunks_.size() && chunks_[next_].done; ++next_) {
            const Chunk& first = chunks_[next_];
            if (first.cancelled || !first.error.isEmpty()) {
                next_ = chunks_.size();
                return;
            }
            progress_(first.end, first.accepted);
        }
    }

private:
    std::vector<Chunk>& chunks_;
    const PassProgress& progress_;
    std::mutex mutex_;
    size_t next_ = 0;
};
}  // namespace

bool acceptsRow(const PredicatePtr& filter, const Row& row, QString* error) {
    QString ignored;
    return filter && filter->evaluate(RowFieldSource(row), error != nullptr ? error : &ignored);
}

FullPassResult runFullPass(const RowList& rows, const Predicate& filter, const std::atomic<bool>& cancelled,
                           const FullPassOptions& options) {
    const qsizetype count = std::clamp<qsizetype>(rows.size() / kMinChunkRows, 1,
                                                  kChunksPerThread * qMax(1, QThread::idealThreadCount()));
    std::vector<Chunk> chunks(static_cast<size_t>(count));
    for (qsizetype c = 0; c < count; ++c) {
        chunks[size_t(c)].begin = rows.size() * c / count;
        chunks[size_t(c)].end = rows.size() * (c + 1) / count;
    }
    const HeldText heldText = filter.heldText();
    const std::optional<HeldTextSearch> held =
        heldText.empty() ? std::nullopt : std::make_optional<HeldTextSearch>(heldText);
    InOrderReport report(chunks, options.progress);
    auto pass = [&](Chunk& chunk) {
        runChunk(chunk, rows, filter, held ? &*held : nullptr, options, cancelled);
        report.finished(chunk);
    };
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

void FilterRunner::cancel() {
    std::lock_guard lock(mutex_);
    if (current_) *current_ = true;
    pending_ = nullptr;
    pendingFlag_.reset();
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
