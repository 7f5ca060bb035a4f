#pragma once
// Log rows: the program's hot data structure.
//
// A row has the keys idx, time, app, pid, tid, type, name, text and uid,
// and the log buffer it came from (four bits of its flags).
// Its text is stored once, in UTF-8, in a shared text buffer (a whole file,
// or the arena's buffers for live lines); the row itself is a small record of
// offsets into its line, 56 bytes. Fields that are not a piece of the line
// (an app name from the process table, a name the user gave) live in a side
// record that only such rows have.
//
// Rows are shared: the same row sits in the store's list of all rows, in the
// filtered view and in any copy a reader took, so a later app/name write
// shows everywhere. Rows are allocated in segments; RowPtr keeps a row's
// segment alive, so a row stays valid for as long as any list holds it.
//
// Thread-safety: reading a row is safe from any thread. setApp()/setName()
// may run concurrently with readers (readers see the old or the new value);
// writers must be serialised by the caller (the store's row lock).

#include <QList>
#include <QString>
#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/adb/logbuffer.h"
#include "core/filter/fieldsource.h"
#include "core/log/rowindex.h"

namespace vf {

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

class Row final {
public:
    RowIdx idx() const noexcept { return idx_; }

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
    LogBuffer buffer() const noexcept { return LogBuffer(flags_ >> kBufferShift); }

    // Later writes; callers serialise them (the store's row lock).
    void setApp(std::string_view app) { setOverride(RowKey::App, app); }
    void setName(std::string_view name) { setOverride(RowKey::Name, name); }

    // Names a row that no other thread can see yet, nor any other row of its
    // segment (the rows of a file being read): the name is kept once per
    // segment, so naming every row of a large file costs no side record.
    void setUnsharedApp(std::string_view app);
    // Sets the buffer of a row that no other thread can see yet.
    void setUnsharedBuffer(LogBuffer buffer) noexcept {
        flags_ = uint8_t((flags_ & ((1u << kBufferShift) - 1)) | (uint8_t(buffer) << kBufferShift));
    }

    Row(const Row&) = delete;
    Row& operator=(const Row&) = delete;

private:
    friend class RowArena;
    friend class RowPtr;
    Row() = default;
    void setOverride(RowKey key, std::string_view value);

    // Small fields: time, app, pid, tid, type (index = key - 1).
    static constexpr int kSmallFields = 5;
    static constexpr uint8_t kTidDash = 1;     // tid is "-" (main-thread line)
    static constexpr uint8_t kTypeInline = 2;  // the one-letter level is kept in typeChar_
    static constexpr int kBufferShift = 4;     // the high four bits: the LogBuffer
    static_assert(kLogBufferCount <= 16, "a buffer fits in four bits");

    RowIdx idx_;
    const char* line_ = nullptr;
    std::atomic<const RowExtra*> extra_{nullptr};
    uint32_t textLen_ = 0;
    uint16_t textOff_ = 0;
    uint16_t smallOff_[kSmallFields] = {};
    uint8_t smallLen_[kSmallFields] = {};
    uint8_t uidLen_ = 0;
    uint16_t nameOff_ = 0;
    uint16_t nameLen_ = 0;
    uint16_t uidOff_ = 0;
    uint16_t segmentApp_ = 0;  // 1 + index of the app among its segment's names; 0: none
    uint8_t flags_ = 0;
    // The level letter, copied into the row so that level filters over a
    // million rows read the rows only, not their text.
    char typeChar_ = 0;
};

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

// Makes rows. One arena per producer (the live stream, one file load); an
// arena is not thread-safe, the rows it makes are.
class RowArena final {
public:
    RowArena();
    ~RowArena();
    RowArena(const RowArena&) = delete;
    RowArena& operator=(const RowArena&) = delete;

    // Copies bytes into the arena's text; rows made with a line inside the
    // returned view store offsets instead of copies.
    std::string_view copyLine(std::string_view bytes);

    // Takes a whole text (a file's contents) as arena text, without copying
    // it again. Returns the view of it.
    std::string_view adopt(std::string&& text);

    // Makes a row. A field that is a piece of `line` (and `line` lies in
    // arena text) is stored as an offset, any other value is copied.
    RowPtr make(RowIdx idx, std::string_view line, const RowFields& fields);

    // Makes a row from plain values (everything copied).
    RowPtr make(const RowValues& values);

private:
    Row* allocate();
    void useChunk(TextChunk* chunk);
    TextChunk* chunkHolding(std::string_view bytes) const;
    std::optional<std::string_view> appendBehind(TextChunk* chunk, const char* lineEnd, std::string_view value);

    RowSegment* segment_ = nullptr;  // segment being filled (the arena holds one reference)
    TextChunk* chunk_ = nullptr;     // text chunk being filled (one reference)
    TextChunk* adopted_ = nullptr;   // last adopted text (one reference)
};

}  // namespace vf

Q_DECLARE_TYPEINFO(vf::RowPtr, Q_RELOCATABLE_TYPE);
