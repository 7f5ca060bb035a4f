#pragma once
// NameList: the app names that rows of one arena refer to by number (from
// the pid map while streaming, from the file's own start lines when a file
// is read), so that naming a million rows costs two bytes a row.
//
// Append-only. add() takes the list's lock (the arena's producer, the
// thread that names a file's rows); at() takes none and may be called from
// any thread for a number that reached it through a row (the row's number
// is stored with release after the name is in place). Names stay where they
// are until the list goes.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vf {

class NameList final {
public:
    static constexpr uint32_t kCapacity = 65535;

    NameList() = default;
    ~NameList();
    NameList(const NameList&) = delete;
    NameList& operator=(const NameList&) = delete;

    // The number of `name` (1 up), adding it when it is new; 0 when the list
    // is full.
    uint16_t add(std::string_view name);
    // The name numbered `number` (1 up). Any thread.
    // The name of the source every row of the list's arenas was read from
    // (see RowKey::Source); a new label replaces the old for every row. Any
    // thread.
    void setLabel(std::string_view label) { label_.store(add(label), std::memory_order_release); }
    std::string_view label() const noexcept {
        const uint16_t number = label_.load(std::memory_order_acquire);
        return number == 0 ? std::string_view() : at(number);
    }
    std::string_view at(uint16_t number) const noexcept {
        const Block* block = blocks_[number >> kBlockShift].load(std::memory_order_acquire);
        return block->names[number & (kBlockSize - 1)];
    }

private:
    static constexpr uint32_t kBlockShift = 8;
    static constexpr uint32_t kBlockSize = 1u << kBlockShift;
    struct Block {
        std::array<std::string, kBlockSize> names;
    };
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>{}(s); }
    };

    std::array<std::atomic<Block*>, (kCapacity + 1) / kBlockSize> blocks_{};
    std::mutex mutex_;   // guards the two below
    uint32_t size_ = 0;  // numbers 1..size_ are taken
    std::unordered_map<std::string, uint16_t, Hash, std::equal_to<>> numbers_;
    std::atomic<uint16_t> label_{0};
};

}  // namespace vf
