#include "core/log/mappedfile.h"

#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vf {

namespace {

// The mappings the bus-error handler may repair. A fixed table: the handler
// may not allocate or lock. Files beyond it are read instead of mapped.
struct GuardedRange {
    std::atomic<uintptr_t> begin{0};  // 0: a free entry
    std::atomic<uintptr_t> end{0};
    std::atomic<bool> repaired{false};
};
constexpr int kGuardedRanges = 64;
std::array<GuardedRange, kGuardedRanges> guarded;
std::mutex guardedMutex;  // taken by map() and the destructor, never by the handler
struct sigaction previousAction {};
uintptr_t pageSize = 4096;

void onBusError(int signal, siginfo_t* info, void* context) {
    const auto address = reinterpret_cast<uintptr_t>(info->si_addr);
    for (GuardedRange& range : guarded) {
        const uintptr_t begin = range.begin.load(std::memory_order_acquire);
        const uintptr_t end = range.end.load(std::memory_order_acquire);
        if (begin == 0 || address < begin || address >= end) continue;
        // The file ends before this page now, so every later page is gone
        // too: from here on the mapping reads as zeros.
        const uintptr_t page = address & ~(pageSize - 1);
        void* zeros = ::mmap(reinterpret_cast<void*>(page), end - page, PROT_READ,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
        if (zeros != MAP_FAILED) {
            range.repaired.store(true, std::memory_order_relaxed);
            return;
        }
        break;
    }
    // Not ours: as whoever handled it before, or as if no one had.
    if ((previousAction.sa_flags & SA_SIGINFO) != 0 && previousAction.sa_sigaction != nullptr) {
        previousAction.sa_sigaction(signal, info, context);
    } else if (previousAction.sa_handler != SIG_DFL && previousAction.sa_handler != SIG_IGN) {
        previousAction.sa_handler(signal);
    } else {
        ::signal(signal, SIG_DFL);  // the fault repeats on return and ends the program
    }
}

void installHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        pageSize = uintptr_t(::sysconf(_SC_PAGESIZE));
        struct sigaction action {};
        action.sa_sigaction = onBusError;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGBUS, &action, &previousAction);
    });
}

int64_t modificationTime(const struct stat& st) { return int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec; }

}  // namespace

std::unique_ptr<MappedFile> MappedFile::map(int fd, size_t size) {
    if (size == 0) return nullptr;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return nullptr;
    installHandler();
    const int own = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (own < 0) return nullptr;
    const size_t length = (size + pageSize - 1) & ~size_t(pageSize - 1);
    std::lock_guard lock(guardedMutex);
    int slot = -1;
    for (int i = 0; i < kGuardedRanges && slot < 0; ++i)
        if (guarded[size_t(i)].begin.load(std::memory_order_relaxed) == 0) slot = i;
    void* data = slot < 0 ? MAP_FAILED : ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, own, 0);
    if (data == MAP_FAILED) {
        ::close(own);
        return nullptr;
    }
    // Read ahead: the file is about to be parsed from start to end.
    ::madvise(data, length, MADV_WILLNEED);
    GuardedRange& range = guarded[size_t(slot)];
    range.repaired.store(false, std::memory_order_relaxed);
    range.end.store(reinterpret_cast<uintptr_t>(data) + length, std::memory_order_release);
    range.begin.store(reinterpret_cast<uintptr_t>(data), std::memory_order_release);
    return std::unique_ptr<MappedFile>(
        new MappedFile(static_cast<const char*>(data), size, length, own, slot, modificationTime(st)));
}

MappedFile::MappedFile(const char* data, size_t size, size_t length, int fd, int slot, int64_t modified)
    : data_(data), size_(size), length_(length), fd_(fd), slot_(slot), modified_(modified) {}

MappedFile::~MappedFile() {
    {
        std::lock_guard lock(guardedMutex);
        GuardedRange& range = guarded[size_t(slot_)];
        range.begin.store(0, std::memory_order_release);
        range.end.store(0, std::memory_order_release);
    }
    ::munmap(const_cast<char*>(data_), length_);
    ::close(fd_);
}

bool MappedFile::changedOnDisk() const {
    struct stat st {};
    if (::fstat(fd_, &st) != 0) return true;
    return shrankUnderReaders() || size_t(st.st_size) != size_ || modificationTime(st) != modified_;
}

bool MappedFile::shrankUnderReaders() const { return guarded[size_t(slot_)].repaired.load(std::memory_order_relaxed); }

}  // namespace vf
