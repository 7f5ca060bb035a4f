#include "core/log/logrow.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

namespace vf {

// ---------------------------------------------------------------------------
// Storage

struct TextChunk {
    std::atomic<uint32_t> refs{1};
    std::string storage;
    size_t used = 0;

    bool holds(const char* p, size_t n) const {
        const char* begin = storage.data();
        return p >= begin && p + n <= begin + used;
    }
    void retain() { refs.fetch_add(1, std::memory_order_relaxed); }
    void release() {
        if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
};

// Values of the fields that are not a piece of the row's line.
struct RowExtra {
    std::array<std::string, kRowFieldCount> values;  // time .. uid
    uint8_t mask = 0;                                // bit (key - 1) set: values[key - 1] holds the field
};
static_assert(kRowFieldCount <= 8, "RowExtra::mask has a bit per field");

namespace {
constexpr size_t kSegmentBytes = 256 * 1024;
constexpr size_t kChunkBytes = 64 * 1024;
}  // namespace

// A block of rows, aligned to its size so that a row finds its segment from
// its own address. Reference-counted by the RowPtrs into it (and the arena
// while it fills it).
struct RowSegment {
    std::atomic<uint32_t> refs{1};
    uint32_t count = 0;
    std::mutex mutex;  // guards `extras` (rows are written by one thread at a time,
                       // but several segments' writers may meet here)
    std::vector<TextChunk*> chunks;
    std::vector<RowExtra*> extras;
    std::vector<std::string> apps;  // names given to rows before anyone saw them (setUnsharedApp)

    static constexpr size_t headerBytes() { return (sizeof(RowSegment) + 63) & ~size_t(63); }
    static constexpr uint32_t capacity() { return uint32_t((kSegmentBytes - headerBytes()) / sizeof(Row)); }
    Row* rowAt(uint32_t i) {
        return reinterpret_cast<Row*>(reinterpret_cast<char*>(this) + headerBytes()) + i;
    }

    static RowSegment* create() {
        void* memory = std::aligned_alloc(kSegmentBytes, kSegmentBytes);
        if (memory == nullptr) throw std::bad_alloc();
        return new (memory) RowSegment();
    }
    static RowSegment* of(const Row* row) {
        return reinterpret_cast<RowSegment*>(reinterpret_cast<uintptr_t>(row) & ~uintptr_t(kSegmentBytes - 1));
    }
    void retain() { refs.fetch_add(1, std::memory_order_relaxed); }
    void release() {
        if (refs.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
        for (uint32_t i = 0; i < count; ++i) rowAt(i)->~Row();
        for (TextChunk* chunk : chunks) chunk->release();
        for (RowExtra* extra : extras) delete extra;
        this->~RowSegment();
        std::free(this);
    }
    void adopt(RowExtra* extra) {
        std::lock_guard lock(mutex);
        extras.push_back(extra);
    }
};

static_assert(sizeof(Row) <= 56, "rows are the hot data structure: keep them small");

// ---------------------------------------------------------------------------
// RowPtr

RowPtr::RowPtr(const RowPtr& other) noexcept : row_(other.row_) {
    if (row_ != nullptr) RowSegment::of(row_)->retain();
}

RowPtr& RowPtr::operator=(const RowPtr& other) noexcept {
    if (other.row_ != nullptr) RowSegment::of(other.row_)->retain();
    if (row_ != nullptr) RowSegment::of(row_)->release();
    row_ = other.row_;
    return *this;
}

RowPtr& RowPtr::operator=(RowPtr&& other) noexcept {
    if (this != &other) {
        if (row_ != nullptr) RowSegment::of(row_)->release();
        row_ = other.row_;
        other.row_ = nullptr;
    }
    return *this;
}

RowPtr::~RowPtr() {
    if (row_ != nullptr) RowSegment::of(row_)->release();
}

// ---------------------------------------------------------------------------
// RowValues

std::string& RowValues::operator[](RowKey key) {
    switch (key) {
        case RowKey::Time: return time;
        case RowKey::App: return app;
        case RowKey::Pid: return pid;
        case RowKey::Tid: return tid;
        case RowKey::Type: return type;
        case RowKey::Name: return name;
        case RowKey::Uid: return uid;
        case RowKey::Text:
        case RowKey::Idx:
        case RowKey::Package:
        case RowKey::Buffer: break;
    }
    return text;
}

const std::string& RowValues::operator[](RowKey key) const {
    return const_cast<RowValues&>(*this)[key];
}

// ---------------------------------------------------------------------------
// Row

std::string_view Row::view(RowKey key) const noexcept {
    if (key == RowKey::Idx) return {};
    if (key == RowKey::Package) return packageOf(view(RowKey::App));
    if (key == RowKey::Buffer) return logBufferName(buffer());
    const int k = int(key) - 1;
    const RowExtra* extra = extra_.load(std::memory_order_acquire);
    if (extra != nullptr && (extra->mask & (1u << k)) != 0) return extra->values[size_t(k)];
    if (key == RowKey::Text) return textLen_ == 0 ? std::string_view() : std::string_view(line_ + textOff_, textLen_);
    if (key == RowKey::Name) return nameLen_ == 0 ? std::string_view() : std::string_view(line_ + nameOff_, nameLen_);
    if (key == RowKey::Uid) return uidLen_ == 0 ? std::string_view() : std::string_view(line_ + uidOff_, uidLen_);
    if (key == RowKey::App && segmentApp_ != 0) return RowSegment::of(this)->apps[segmentApp_ - 1u];
    if (key == RowKey::Tid && (flags_ & kTidDash) != 0) return "-";
    if (key == RowKey::Type && (flags_ & kTypeInline) != 0) return std::string_view(&typeChar_, 1);
    const uint8_t len = smallLen_[k];
    return len == 0 ? std::string_view() : std::string_view(line_ + smallOff_[k], len);
}

QString Row::string(RowKey key) const {
    if (key == RowKey::Idx) return QString::number(idx_.value());
    const std::string_view v = view(key);
    return QString::fromUtf8(v.data(), qsizetype(v.size()));
}

RowValues Row::values() const {
    RowValues values;
    values.idx = idx_.value();
    for (int k = 1; k < kRowKeyCount; ++k) values[RowKey(k)] = std::string(view(RowKey(k)));
    values.buffer = buffer();
    return values;
}

void Row::setOverride(RowKey key, std::string_view value) {
    if (key == RowKey::Idx || key == RowKey::Package || key == RowKey::Buffer) return;
    const int k = int(key) - 1;
    const RowExtra* old = extra_.load(std::memory_order_acquire);
    auto* extra = old != nullptr ? new RowExtra(*old) : new RowExtra();
    extra->values[size_t(k)] = std::string(value);
    extra->mask |= uint8_t(1u << k);
    // The old record stays with the segment: readers may still hold views into it.
    RowSegment::of(this)->adopt(extra);
    extra_.store(extra, std::memory_order_release);
}

void Row::setUnsharedApp(std::string_view app) {
    std::vector<std::string>& apps = RowSegment::of(this)->apps;
    // Rows of one process come in runs: the name just used is the likely one.
    size_t index = segmentApp_ != 0 ? segmentApp_ - 1u : apps.size();
    if (index >= apps.size() || apps[index] != app) {
        index = apps.size();
        for (size_t i = apps.size(); i-- > 0;) {
            if (apps[i] == app) {
                index = i;
                break;
            }
        }
        if (index == apps.size()) apps.emplace_back(app);
    }
    segmentApp_ = uint16_t(index + 1);
}

std::string_view RowFieldSource::field(RowKey key, FieldScratch& scratch) const {
    if (key != RowKey::Idx) return row_.view(key);
    const auto result = std::to_chars(scratch.data(), scratch.data() + scratch.size(), row_.idx().value());
    return std::string_view(scratch.data(), size_t(result.ptr - scratch.data()));
}

// ---------------------------------------------------------------------------
// RowArena

RowArena::RowArena() = default;

RowArena::~RowArena() {
    if (segment_ != nullptr) segment_->release();
    if (chunk_ != nullptr) chunk_->release();
    if (adopted_ != nullptr) adopted_->release();
}

std::string_view RowArena::copyLine(std::string_view bytes) {
    if (chunk_ == nullptr || chunk_->storage.size() - chunk_->used < bytes.size()) {
        if (chunk_ != nullptr) chunk_->release();
        chunk_ = new TextChunk();
        chunk_->storage.resize(std::max(kChunkBytes, bytes.size()));
    }
    char* target = chunk_->storage.data() + chunk_->used;
    if (!bytes.empty()) std::memcpy(target, bytes.data(), bytes.size());
    chunk_->used += bytes.size();
    return std::string_view(target, bytes.size());
}

std::string_view RowArena::adopt(std::string&& text) {
    if (adopted_ != nullptr) adopted_->release();
    adopted_ = new TextChunk();
    adopted_->storage = std::move(text);
    adopted_->used = adopted_->storage.size();
    return std::string_view(adopted_->storage.data(), adopted_->used);
}

Row* RowArena::allocate() {
    if (segment_ == nullptr || segment_->count == RowSegment::capacity()) {
        if (segment_ != nullptr) segment_->release();
        segment_ = RowSegment::create();
    }
    Row* row = new (segment_->rowAt(segment_->count)) Row();
    ++segment_->count;
    segment_->retain();  // the reference the returned RowPtr owns
    return row;
}

std::optional<std::string_view> RowArena::appendBehind(TextChunk* chunk, const char* lineEnd,
                                                      std::string_view value) {
    if (chunk != chunk_ || value.size() > 0xFF) return std::nullopt;
    char* end = chunk_->storage.data() + chunk_->used;
    if (lineEnd != end || chunk_->storage.size() - chunk_->used < value.size()) return std::nullopt;
    std::memcpy(end, value.data(), value.size());
    chunk_->used += value.size();
    return std::string_view(end, value.size());
}

TextChunk* RowArena::chunkHolding(std::string_view bytes) const {
    if (bytes.data() == nullptr) return nullptr;
    if (chunk_ != nullptr && chunk_->holds(bytes.data(), bytes.size())) return chunk_;
    if (adopted_ != nullptr && adopted_->holds(bytes.data(), bytes.size())) return adopted_;
    return nullptr;
}

void RowArena::useChunk(TextChunk* chunk) {
    auto& chunks = segment_->chunks;
    if (!chunks.empty() && chunks.back() == chunk) return;
    for (TextChunk* held : chunks)
        if (held == chunk) return;
    chunk->retain();
    chunks.push_back(chunk);
}

RowPtr RowArena::make(RowIdx idx, std::string_view line, const RowFields& fields) {
    TextChunk* chunk = chunkHolding(line);
    Row* row = allocate();
    row->idx_ = idx;
    RowExtra* extra = nullptr;
    auto override = [&](int k, std::string_view value) {
        if (extra == nullptr) extra = new RowExtra();
        extra->values[size_t(k)] = std::string(value);
        extra->mask |= uint8_t(1u << k);
    };
    if (chunk != nullptr) {
        useChunk(chunk);
        row->line_ = line.data();
    }
    const char* lineBegin = line.data();
    const char* lineEnd = lineBegin + line.size();
    for (int k = 0; k < kRowFieldCount; ++k) {
        std::string_view v = fields[size_t(k)];
        if (v.empty()) continue;
        bool inLine = chunk != nullptr && v.data() >= lineBegin && v.data() + v.size() <= lineEnd;
        if (!inLine && chunk != nullptr && !(k == int(RowKey::Tid) - 1 && v == "-")) {
            // A value from elsewhere (an app name from the pid map): when the
            // line is the last thing in the live chunk, append the value right
            // behind it so it is stored as an offset too; no side record.
            if (const auto appended = appendBehind(chunk, lineEnd, v)) {
                v = *appended;
                lineEnd = v.data() + v.size();
                inLine = true;
            }
        }
        const size_t off = inLine ? size_t(v.data() - lineBegin) : 0;
        const RowKey key = RowKey(k + 1);
        if (key == RowKey::Tid && v == "-" && !inLine) {
            row->flags_ |= Row::kTidDash;
        } else if (!inLine || off > 0xFFFF) {
            override(k, v);
        } else if (key == RowKey::Text) {
            if (v.size() > 0xFFFFFFFFu) {
                override(k, v);
            } else {
                row->textOff_ = uint16_t(off);
                row->textLen_ = uint32_t(v.size());
            }
        } else if (key == RowKey::Name) {
            if (v.size() > 0xFFFF) {
                override(k, v);
            } else {
                row->nameOff_ = uint16_t(off);
                row->nameLen_ = uint16_t(v.size());
            }
        } else if (v.size() > 0xFF) {
            override(k, v);
        } else if (key == RowKey::Uid) {
            row->uidOff_ = uint16_t(off);
            row->uidLen_ = uint8_t(v.size());
        } else {
            row->smallOff_[k] = uint16_t(off);
            row->smallLen_[k] = uint8_t(v.size());
            if (key == RowKey::Type && v.size() == 1) {
                row->typeChar_ = v[0];
                row->flags_ |= Row::kTypeInline;
            }
        }
    }
    if (extra != nullptr) {
        segment_->adopt(extra);
        row->extra_.store(extra, std::memory_order_release);
    }
    return RowPtr(row);
}

RowPtr RowArena::make(const RowValues& values) {
    RowFields fields;
    for (int k = 1; k < kRowKeyCount; ++k) fields[size_t(k - 1)] = values[RowKey(k)];
    RowPtr row = make(RowIdx(values.idx), std::string_view(), fields);
    row->setUnsharedBuffer(values.buffer);
    return row;
}

std::optional<ViewPos> positionOf(const RowList& rows, RowIdx idx) {
    const auto at = std::lower_bound(rows.begin(), rows.end(), idx,
                                     [](const RowPtr& row, RowIdx wanted) { return row->idx() < wanted; });
    if (at == rows.end() || (*at)->idx() != idx) return std::nullopt;
    return ViewPos(at - rows.begin());
}

}  // namespace vf
