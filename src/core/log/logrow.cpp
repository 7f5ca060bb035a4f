#include "core/log/logrow.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <cstdlib>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

#include "core/log/namelist.h"

namespace vf {

// ---------------------------------------------------------------------------
// Storage

// Text that rows point into: the arena's own buffers, or bytes an owner
// keeps alive (a file mapped read-only, a string moved in).
struct TextChunk {
    std::atomic<uint32_t> refs{1};
    std::string storage;                // the arena's own buffer (copyLine)
    std::shared_ptr<const void> owner;  // or: whoever keeps `begin` alive
    const char* begin = nullptr;
    size_t used = 0;

    bool holds(const char* p, size_t n) const { return p >= begin && p + n <= begin + used; }
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
constexpr uint32_t kMaxSpan = 0xFFFFFF;

// One byte strings for every byte value: a row's level letter as a view.
constexpr std::array<char, 256> kLetters = [] {
    std::array<char, 256> letters{};
    for (size_t i = 0; i < letters.size(); ++i) letters[i] = char(i);
    return letters;
}();
}  // namespace

// A block of rows, aligned to its size so that a row finds its segment from
// its own address. Reference-counted by the RowPtrs into it (and the arena
// while it fills it).
struct RowSegment {
    std::atomic<uint32_t> refs{1};
    uint32_t count = 0;
    uint64_t firstIdx = 0;  // the idx of the row in slot 0; the others' are offsets from it
    std::shared_ptr<NameList> names;
    std::vector<TextChunk*> chunks;  // pushed under `mutex` (readers look for adopted texts)
    std::atomic<bool> adopted{false};  // some chunk is adopted text
    std::mutex mutex;  // guards `extras` and `current`: a row's writer and readers meet here
    std::vector<RowExtra*> extras;  // every record made; old ones stay, readers may hold views
    std::unordered_map<uint32_t, const RowExtra*> current;  // by slot

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
};

static_assert(sizeof(Row) <= 32, "rows are the hot data structure: keep them small");

// ---------------------------------------------------------------------------
// NameList

NameList::~NameList() {
    for (std::atomic<Block*>& block : blocks_) delete block.load(std::memory_order_relaxed);
}

uint16_t NameList::add(std::string_view name) {
    std::lock_guard lock(mutex_);
    if (const auto it = numbers_.find(name); it != numbers_.end()) return it->second;
    if (size_ == kCapacity) return 0;
    const uint32_t number = ++size_;
    std::atomic<Block*>& slot = blocks_[number >> kBlockShift];
    Block* block = slot.load(std::memory_order_relaxed);
    if (block == nullptr) {
        block = new Block();
        slot.store(block, std::memory_order_release);
    }
    block->names[number & (kBlockSize - 1)] = std::string(name);
    numbers_.emplace(std::string(name), uint16_t(number));
    return uint16_t(number);
}

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
        case RowKey::Buffer:
        case RowKey::Source: break;
    }
    return text;
}

const std::string& RowValues::operator[](RowKey key) const {
    return const_cast<RowValues&>(*this)[key];
}

// ---------------------------------------------------------------------------
// Row

RowIdx Row::idx() const noexcept { return RowIdx(RowSegment::of(this)->firstIdx + idxDelta_); }

uint32_t Row::slot() const noexcept { return uint32_t(this - RowSegment::of(this)->rowAt(0)); }

const RowExtra* Row::extra() const noexcept {
    if (!hasSideRecord()) return nullptr;
    RowSegment* segment = RowSegment::of(this);
    std::lock_guard lock(segment->mutex);
    const auto it = segment->current.find(slot());
    return it == segment->current.end() ? nullptr : it->second;
}

std::string_view adoptedText(const Row& row) noexcept {
    RowSegment* segment = RowSegment::of(&row);
    const std::string_view span = row.span();
    if (span.empty() || !segment->adopted.load(std::memory_order_acquire)) return {};
    std::lock_guard lock(segment->mutex);
    for (const TextChunk* chunk : segment->chunks)
        if (chunk->owner && chunk->holds(span.data(), span.size())) return {chunk->begin, chunk->used};
    return {};
}

std::string_view Row::listedApp() const noexcept {
    const uint16_t number = listedApp_.load(std::memory_order_acquire);
    return number == 0 ? std::string_view() : RowSegment::of(this)->names->at(number);
}

std::string_view Row::view(RowKey key) const noexcept {
    if (key == RowKey::Idx) return {};
    if (key == RowKey::Package) return packageOf(view(RowKey::App));
    if (key == RowKey::Buffer) return logBufferName(buffer());
    if (key == RowKey::Source) return RowSegment::of(this)->names->label();
    const uint8_t flags = flags_.load(std::memory_order_acquire);
    if ((flags & kHasExtra) != 0) {
        const int k = int(key) - 1;
        const RowExtra* record = extra();
        if (record != nullptr && (record->mask & (1u << k)) != 0) return record->values[size_t(k)];
    }
    const auto slice = [this](size_t off, size_t len) {
        return len == 0 ? std::string_view() : std::string_view(line_ + off, len);
    };
    switch (key) {
        case RowKey::Time: return slice(size_t(flags >> kTimeOffsetShift) & 3, timeLen_);
        case RowKey::App: {
            const std::string_view listed = listedApp();
            return listed.empty() ? slice(appOff_, appLen_) : listed;
        }
        case RowKey::Pid: return slice(pidOff_, pidLen_);
        case RowKey::Tid: return (flags & kTidDash) != 0 ? std::string_view("-") : slice(tidOff_, tidLen_);
        case RowKey::Type: {
            const auto letter = uint8_t(spanAndType_ >> 24);
            return letter == 0 ? std::string_view() : std::string_view(&kLetters[letter], 1);
        }
        case RowKey::Name: return slice(nameOff_, nameLen_);
        case RowKey::Text: return textOff_ >= spanLength() ? std::string_view() : slice(textOff_, spanLength() - textOff_);
        case RowKey::Uid: return slice(uidOff_, uidLen_);
        case RowKey::Idx:
        case RowKey::Package:
        case RowKey::Buffer:
        case RowKey::Source: break;
    }
    return {};
}

QString Row::string(RowKey key) const {
    if (key == RowKey::Idx) return QString::number(idx().value());
    const std::string_view v = view(key);
    return QString::fromUtf8(v.data(), qsizetype(v.size()));
}

RowValues Row::values() const {
    RowValues values;
    values.idx = idx().value();
    for (int k = 1; k < kRowKeyCount; ++k) values[RowKey(k)] = std::string(view(RowKey(k)));
    values.buffer = buffer();
    return values;
}

void Row::setOverride(RowKey key, std::string_view value) {
    if (key == RowKey::Idx || key == RowKey::Package || key == RowKey::Buffer || key == RowKey::Source) return;
    const int k = int(key) - 1;
    RowSegment* segment = RowSegment::of(this);
    {
        std::lock_guard lock(segment->mutex);
        const RowExtra*& current = segment->current[slot()];
        auto* record = current != nullptr ? new RowExtra(*current) : new RowExtra();
        record->values[size_t(k)] = std::string(value);
        record->mask |= uint8_t(1u << k);
        // The old record stays with the segment: readers may still hold views into it.
        segment->extras.push_back(record);
        current = record;
    }
    flags_.fetch_or(kHasExtra, std::memory_order_release);
}

ListedApp Row::listApp(std::string_view app) const {
    NameList* names = RowSegment::of(this)->names.get();
    return ListedApp{names, names->add(app)};
}

void Row::setListedApp(const ListedApp& app, std::string_view name) {
    if (app.number != 0 && app.list == RowSegment::of(this)->names.get()) {
        listedApp_.store(app.number, std::memory_order_release);
    } else {
        setOverride(RowKey::App, name);
    }
}

void numberRows(const RowList& rows, qsizetype from, qsizetype to, const std::function<RowIdx()>& next) {
    for (qsizetype i = from; i < to; ++i) {
        Row* row = rows.at(i).get();
        RowSegment* segment = RowSegment::of(row);
        const uint64_t idx = next().value();
        // Rows sit in their segments in the order they were made: the first
        // one sets where the segment's numbers start.
        if (row->slot() == 0) segment->firstIdx = idx;
        row->idxDelta_ = uint32_t(idx - segment->firstIdx);
    }
}

std::string_view RowFieldSource::field(RowKey key, FieldScratch& scratch) const {
    if (key != RowKey::Idx) return row_.view(key);
    const auto result = std::to_chars(scratch.data(), scratch.data() + scratch.size(), row_.idx().value());
    return std::string_view(scratch.data(), size_t(result.ptr - scratch.data()));
}

// ---------------------------------------------------------------------------
// RowArena

RowArena::RowArena() : RowArena(std::make_shared<NameList>()) {}

RowArena::RowArena(std::shared_ptr<NameList> names) : names_(std::move(names)) {}

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
        chunk_->begin = chunk_->storage.data();
    }
    char* target = chunk_->storage.data() + chunk_->used;
    if (!bytes.empty()) std::memcpy(target, bytes.data(), bytes.size());
    chunk_->used += bytes.size();
    return std::string_view(target, bytes.size());
}

std::string_view RowArena::adopt(std::string&& text) {
    auto owned = std::make_shared<std::string>(std::move(text));
    const std::string_view bytes(*owned);
    return adopt(bytes, std::move(owned));
}

std::string_view RowArena::adopt(std::string_view bytes, std::shared_ptr<const void> owner) {
    if (adopted_ != nullptr) adopted_->release();
    adopted_ = new TextChunk();
    adopted_->owner = std::move(owner);
    adopted_->begin = bytes.data();
    adopted_->used = bytes.size();
    return bytes;
}

Row* RowArena::allocate(RowIdx idx) {
    const uint64_t value = idx.value();
    // A segment numbers its rows from its first one: a row whose number is
    // not within reach of it starts a new segment.
    const bool reachable = segment_ != nullptr && (segment_->count == 0 || (value >= segment_->firstIdx &&
                                                                            value - segment_->firstIdx <= UINT32_MAX));
    if (segment_ == nullptr || segment_->count == RowSegment::capacity() || !reachable) {
        if (segment_ != nullptr) segment_->release();
        segment_ = RowSegment::create();
        segment_->names = names_;
    }
    if (segment_->count == 0) segment_->firstIdx = value;
    Row* row = new (segment_->rowAt(segment_->count)) Row();
    row->idxDelta_ = uint32_t(value - segment_->firstIdx);
    ++segment_->count;
    segment_->retain();  // the reference the returned RowPtr owns
    return row;
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
    {
        std::lock_guard lock(segment_->mutex);
        chunks.push_back(chunk);
    }
    if (chunk->owner) segment_->adopted.store(true, std::memory_order_release);
}

RowPtr RowArena::make(RowIdx idx, std::string_view line, const RowFields& fields) {
    Row* row = allocate(idx);
    TextChunk* chunk = chunkHolding(line);
    if (chunk != nullptr) {
        useChunk(chunk);
        row->line_ = line.data();
    }
    setFields(row, line, chunk != nullptr, fields);
    return RowPtr(row);
}

// Every field that is a piece of the line and near enough to its start is
// stored as an offset, the text as the rest of the span; the few that are
// not (a value from elsewhere, a field past the offsets' reach) go into the
// row's side record.
void RowArena::setFields(Row* row, std::string_view line, bool inArena, const RowFields& fields) {
    const char* begin = line.data();
    const char* end = begin + line.size();
    const auto offsetOf = [&](std::string_view v) -> std::optional<size_t> {
        if (!inArena || v.data() < begin || v.data() + v.size() > end) return std::nullopt;
        return size_t(v.data() - begin);
    };
    const std::string_view text = fields[size_t(RowKey::Text) - 1];
    const std::optional<size_t> textAt = text.empty() ? std::nullopt : offsetOf(text);
    const size_t textStart = textAt.value_or(0);
    const bool textInSpan = textAt && textStart <= 0xFFFF && textStart + text.size() <= kMaxSpan;
    // The span ends where the text ends; without a text in it, after the furthest field.
    size_t span = textInSpan ? textStart + text.size() : 0;
    if (!textInSpan) {
        for (int k = 0; k < kRowFieldCount; ++k) {
            const std::string_view v = fields[size_t(k)];
            if (const auto at = v.empty() ? std::nullopt : offsetOf(v); at && *at + v.size() <= kMaxSpan)
                span = std::max(span, *at + v.size());
        }
    }
    RowExtra* record = nullptr;
    const auto override = [&](int k, std::string_view value) {
        if (record == nullptr) record = new RowExtra();
        record->values[size_t(k)] = std::string(value);
        record->mask |= uint8_t(1u << k);
    };
    uint8_t flags = 0;
    uint32_t letter = 0;
    for (int k = 0; k < kRowFieldCount; ++k) {
        const std::string_view v = fields[size_t(k)];
        const RowKey key = RowKey(k + 1);
        if (key == RowKey::Text) {
            if (!v.empty() && !textInSpan) override(k, v);
            continue;
        }
        if (v.empty()) continue;
        if (key == RowKey::Type) {
            if (v.size() == 1 && v[0] != '\0') letter = uint8_t(v[0]);
            else override(k, v);
            continue;
        }
        const auto at = offsetOf(v);
        if (key == RowKey::Tid && v == "-" && !at) {
            flags |= Row::kTidDash;
            continue;
        }
        if (key == RowKey::App && !at) {
            const uint16_t number = names_->add(v);
            if (number != 0) row->listedApp_.store(number, std::memory_order_relaxed);
            else override(k, v);
            continue;
        }
        const bool fits = at && *at + v.size() <= span && v.size() <= 0xFF && *at <= (key == RowKey::Time ? 3 : 0xFF);
        if (!fits) {
            override(k, v);
            continue;
        }
        const auto off = uint8_t(*at), len = uint8_t(v.size());
        switch (key) {
            case RowKey::Time:
                flags |= uint8_t(off << Row::kTimeOffsetShift);
                row->timeLen_ = len;
                break;
            case RowKey::App: row->appOff_ = off, row->appLen_ = len; break;
            case RowKey::Pid: row->pidOff_ = off, row->pidLen_ = len; break;
            case RowKey::Tid: row->tidOff_ = off, row->tidLen_ = len; break;
            case RowKey::Name: row->nameOff_ = off, row->nameLen_ = len; break;
            case RowKey::Uid: row->uidOff_ = off, row->uidLen_ = len; break;
            default: break;
        }
    }
    row->spanAndType_ = uint32_t(span) | (letter << 24);
    row->textOff_ = uint16_t(textInSpan ? textStart : std::min<size_t>(span, 0xFFFF));
    if (record != nullptr) {
        std::lock_guard lock(segment_->mutex);
        segment_->extras.push_back(record);
        segment_->current[row->slot()] = record;
        flags |= Row::kHasExtra;
    }
    row->flags_.store(flags, std::memory_order_relaxed);
}

// Plain values become one line of arena text, time first and text last, so
// that every field that fits is an offset like those of a parsed line.
RowPtr RowArena::make(const RowValues& values) {
    static constexpr RowKey kOrder[] = {RowKey::Time, RowKey::Uid,  RowKey::App,  RowKey::Pid,
                                        RowKey::Tid,  RowKey::Type, RowKey::Name, RowKey::Text};
    std::string joined;
    std::array<size_t, std::size(kOrder) + 1> ends{};
    for (size_t i = 0; i < std::size(kOrder); ++i) {
        joined += values[kOrder[i]];
        ends[i + 1] = joined.size();
    }
    const std::string_view line = copyLine(joined);
    RowFields fields;
    for (size_t i = 0; i < std::size(kOrder); ++i)
        fields[size_t(kOrder[i]) - 1] = line.substr(ends[i], ends[i + 1] - ends[i]);
    RowPtr row = make(RowIdx(values.idx), line, fields);
    row->setUnsharedBuffer(values.buffer);
    return row;
}

RowPtr RowArena::copy(const Row& row) { return make(row.values()); }

std::optional<ViewPos> positionOf(const RowList& rows, RowIdx idx) {
    const auto at = std::lower_bound(rows.begin(), rows.end(), idx,
                                     [](const RowPtr& row, RowIdx wanted) { return row->idx() < wanted; });
    if (at == rows.end() || (*at)->idx() != idx) return std::nullopt;
    return ViewPos(at - rows.begin());
}

void RowArena::setSourceLabel(std::string_view label) { names_->setLabel(label); }

void labelSources(const RowList& rows, std::string_view label) {
    const NameList* last = nullptr;
    for (const RowPtr& row : rows) {
        NameList* names = RowSegment::of(row.get())->names.get();
        if (names == last) continue;  // neighbours mostly share their arena
        names->setLabel(label);
        last = names;
    }
}

}  // namespace vf
