#pragma once
// Log rows: the program's hot data structure.
//
// A row has the keys idx, time, app, pid, tid, type, name, text and uid,
// and the log buffer it came from (four bits of its flags).
// Its text is stored once, in UTF-8, in shared text (a whole file mapped
// read-only, a copy of it, or the arena's buffers for live lines); the row
// itself is a 32-byte record of offsets into its line. An app that is not a
// piece of the line (from the pid map, or from the file's own start lines)
// is a number in its arena's list of names. Values that fit neither (a name
// the user gave, a status row's texts, fields too far into a long line)
// live in a side record that only such rows have.
//
// Rows are shared: the same row sits in the store's list of all rows, in the
// filtered view and in any copy a reader took, so a later app/name write
// shows everywhere. Rows are allocated in segments; RowPtr keeps a row's
// segment alive, so a row stays valid for as long as any list holds it.
//
// Thread-safety: reading a row is safe from any thread. setApp()/setName()
// and setListedApp() may run concurrently with readers (readers see the old
// or the new value); writers must be serialised by the caller (the store's
// row lock, or the one thread that loads a file).

#include <QList>
#include <QString>
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/adb/logbuffer.h"
#include "core/filter/fieldsource.h"
#include "core/log/rowindex.h"

namespace vf {

class NameList;
class Row;
struct RowExtra;
struct RowSegment;
struct TextChunk;

// Owning pointer to a shared row (keeps its segment alive).
class RowPtr final {
public:
    RowPtr() noexcept = default;
    RowPtr(const RowPtr& other) noexcept;
    RowPtr(RowPtr&& other) noexcept : row_(other.row_) { other.row_ = nullptr; }
    RowPtr& operator=(const RowPtr& other) noexcept;
    RowPtr& operator=(RowPtr&& other) noexcept;
    ~RowPtr();

    Row* get() const noexcept { return row_; }
    Row* operator->() const noexcept { return row_; }
    Row& operator*() const noexcept { return *row_; }
    explicit operator bool() const noexcept { return row_ != nullptr; }
    friend bool operator==(const RowPtr& a, const RowPtr& b) noexcept { return a.row_ == b.row_; }

private:
    friend class RowArena;
    explicit RowPtr(Row* row) noexcept : row_(row) {}  // takes a reference already counted
    Row* row_ = nullptr;
};

using RowList = QList<RowPtr>;

// The string fields of a row in key order (time, app, pid, tid, type, name,
// text, uid): what RowArena::make takes.
inline constexpr int kRowFieldCount = kRowKeyCount - 1;
using RowFields = std::array<std::string_view, kRowFieldCount>;

// A row with plain string values: what tests, the property-list reader and
// synthetic rows build rows from.
struct RowValues {
    uint64_t idx = 0;
    std::string time, app, pid, tid, type, name, text, uid;
    LogBuffer buffer = LogBuffer::None;

    std::string& operator[](RowKey key);
    const std::string& operator[](RowKey key) const;
};

// An app name entered in the name list of some rows' arena, to be given to
// many of its rows at little cost (Row::listApp, Row::setListedApp).
struct ListedApp {
    const NameList* list = nullptr;
    uint16_t number = 0;  // 0: not listed
};

class Row final {
public:
    RowIdx idx() const noexcept;

    // UTF-8 value of a string key (empty for Idx: use idx()), of the
    // computed Package, or the buffer's name. The view stays valid while
    // the row lives.
    std::string_view view(RowKey key) const noexcept;
    QString string(RowKey key) const;  // Idx in decimal
    RowValues values() const;

    std::string_view time() const noexcept { return view(RowKey::Time); }
    std::string_view app() const noexcept { return view(RowKey::App); }
    std::string_view pid() const noexcept { return view(RowKey::Pid); }
    std::string_view tid() const noexcept { return view(RowKey::Tid); }
    std::string_view type() const noexcept { return view(RowKey::Type); }
    std::string_view name() const noexcept { return view(RowKey::Name); }
    std::string_view text() const noexcept { return view(RowKey::Text); }
    std::string_view uid() const noexcept { return view(RowKey::Uid); }
    LogBuffer buffer() const noexcept { return LogBuffer(flags_.load(std::memory_order_relaxed) >> kBufferShift); }

    // The bytes of the line every piece of the row lies in (empty for rows
    // made from plain values' side records); scanning them finds any text
    // that the row's line fields hold.
    std::string_view span() const noexcept { return {line_, spanLength()}; }
    // What is not a piece of span(): a tid shown as "-", an app from the
    // name list, fields in a side record.
    bool tidIsDash() const noexcept { return (flags_.load(std::memory_order_relaxed) & kTidDash) != 0; }
    std::string_view listedApp() const noexcept;
    bool hasSideRecord() const noexcept { return (flags_.load(std::memory_order_acquire) & kHasExtra) != 0; }

    // Later writes; callers serialise them (the store's row lock).
    void setApp(std::string_view app) { setOverride(RowKey::App, app); }
    void setName(std::string_view name) { setOverride(RowKey::Name, name); }

    // Enters `app` in the name list of this row's arena (one writer at a
    // time per list: the thread that loads a file); then setListedApp()
    // gives it to any row of that arena without a side record.
    ListedApp listApp(std::string_view app) const;
    void setListedApp(const ListedApp& app, std::string_view name);
    // Sets the buffer of a row that no other thread can see yet.
    void setUnsharedBuffer(LogBuffer buffer) noexcept {
        const uint8_t kept = flags_.load(std::memory_order_relaxed) & ((1u << kBufferShift) - 1);
        flags_.store(uint8_t(kept | (uint8_t(buffer) << kBufferShift)), std::memory_order_relaxed);
    }

    Row(const Row&) = delete;
    Row& operator=(const Row&) = delete;

private:
    friend class RowArena;
    friend class RowPtr;
    friend void numberRows(const RowList&, qsizetype, qsizetype, const std::function<RowIdx()>&);
    Row() = default;
    void setOverride(RowKey key, std::string_view value);
    const RowExtra* extra() const noexcept;
    uint32_t spanLength() const noexcept { return spanAndType_ & 0xFFFFFF; }
    uint32_t slot() const noexcept;

    static constexpr uint8_t kTidDash = 1;       // tid is "-" (main-thread line)
    static constexpr uint8_t kHasExtra = 2;      // a side record holds some fields
    static constexpr int kTimeOffsetShift = 2;   // bits 2-3: where time starts in the line
    static constexpr int kBufferShift = 4;       // the high four bits: the LogBuffer
    static_assert(kLogBufferCount <= 16, "a buffer fits in four bits");

    const char* line_ = nullptr;
    uint32_t idxDelta_ = 0;     // idx = the segment's first idx + this
    uint32_t spanAndType_ = 0;  // low 24 bits: span length; high 8: the one-letter level (0: none)
    uint16_t textOff_ = 0;      // text runs from here to the end of the span
    uint8_t timeLen_ = 0;
    uint8_t appOff_ = 0, appLen_ = 0;
    uint8_t pidOff_ = 0, pidLen_ = 0;
    uint8_t tidOff_ = 0, tidLen_ = 0;
    uint8_t nameOff_ = 0, nameLen_ = 0;
    uint8_t uidOff_ = 0, uidLen_ = 0;
    std::atomic<uint8_t> flags_{0};
    std::atomic<uint16_t> listedApp_{0};  // number in the arena's name list; 0: none
};

// Numbers rows[from, to) with indices from `next`, in order. For rows that
// no other thread can see yet, made by an arena with placeholder indices
// (the chunks of a file parsed in parallel are numbered as they are joined).
void numberRows(const RowList& rows, qsizetype from, qsizetype to, const std::function<RowIdx()>& next);

// The whole text `row`'s line lies in when that text was adopted (a file
// mapped read-only, a file's contents moved in): bytes that stay as they
// are while the row lives, so a scan may read around the row's span. Empty
// for lines in an arena's own buffers and rows without a line. Any thread.
std::string_view adoptedText(const Row& row) noexcept;

// Where the row numbered `idx` sits in `rows`, whose numbers ascend as in
// every list of the store; nullopt when it is not there. A binary search.
std::optional<ViewPos> positionOf(const RowList& rows, RowIdx idx);

// Field adapter for the filter language.
class RowFieldSource final : public FieldSource {
public:
    explicit RowFieldSource(const Row& row) : row_(row) {}
    std::string_view field(RowKey key, FieldScratch& scratch) const override;

private:
    const Row& row_;
};

// Makes rows. One arena per producer (the live stream, one chunk of a file
// being read); an arena is not thread-safe, the rows it makes are.
// Names the source of every row of `rows` and of the rows that share their
// arenas (RowKey::Source).
void labelSources(const RowList& rows, std::string_view label);

class RowArena final {
public:
    RowArena();
    // Rows whose apps go into `names` (shared by the arenas of one file).
    explicit RowArena(std::shared_ptr<NameList> names);
    ~RowArena();
    RowArena(const RowArena&) = delete;
    RowArena& operator=(const RowArena&) = delete;

    // Copies bytes into the arena's text; rows made with a line inside the
    // returned view store offsets instead of copies.
    std::string_view copyLine(std::string_view bytes);

    // Takes a whole text (a file's contents) as arena text, without copying
    // it again. Returns the view of it.
    std::string_view adopt(std::string&& text);
    // Takes `bytes` that `owner` keeps alive (a mapped file) as arena text.
    // Several arenas may adopt the same bytes.
    std::string_view adopt(std::string_view bytes, std::shared_ptr<const void> owner);

    // Makes a row. A field that is a piece of `line` (and `line` lies in
    // arena text) is stored as an offset, any other value is copied.
    RowPtr make(RowIdx idx, std::string_view line, const RowFields& fields);

    // Makes a row from plain values (copied into the arena's text).
    RowPtr make(const RowValues& values);
    // A copy of `row` in this arena's text (the row's own text may then go).
    RowPtr copy(const Row& row);
    // Names the source of this arena's rows, past and future (RowKey::Source).
    void setSourceLabel(std::string_view label);

private:
    Row* allocate(RowIdx idx);
    void useChunk(TextChunk* chunk);
    TextChunk* chunkHolding(std::string_view bytes) const;
    void setFields(Row* row, std::string_view line, bool inArena, const RowFields& fields);

    std::shared_ptr<NameList> names_;
    RowSegment* segment_ = nullptr;  // segment being filled (the arena holds one reference)
    TextChunk* chunk_ = nullptr;     // text chunk being filled (one reference)
    TextChunk* adopted_ = nullptr;   // last adopted text (one reference)
};

}  // namespace vf

Q_DECLARE_TYPEINFO(vf::RowPtr, Q_RELOCATABLE_TYPE);
