#pragma once
// MappedFile: a regular file mapped read-only, so that the rows of an opened
// log point into the page cache instead of a copy of the file.
//
// A mapped file can change under the program: when another program
// truncates it, reading a page past its new end raises SIGBUS, which would
// end the program. A handler installed with the first mapping turns that
// into reading zeros: it replaces the vanished pages of the mapping with
// empty anonymous pages (still read-only, costing no memory) and notes it.
// Faults outside any mapping go to the handler installed before. So the rows
// of a file that shrank show empty text where their bytes went, and
// changedOnDisk() tells the viewer to say so.
//
// Thread-safety: a MappedFile is immutable after map() and may be read and
// asked from any thread; the handler is async-signal-safe.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <sys/types.h>

namespace vf {

class MappedFile final {
public:
    // Maps the first `size` bytes of the open regular file `fd` (the file
    // keeps its own descriptor, `fd` stays the caller's). Null when the file
    // cannot be mapped (the caller then reads it), or when `size` is 0.
    static std::unique_ptr<MappedFile> map(int fd, size_t size);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::string_view bytes() const { return {data_, size_}; }

    // The file is no longer what was mapped: shorter (some of its pages
    // now read as zeros), longer, or written since. Any thread.
    bool changedOnDisk() const;
    // Pages past the file's new end were read (and read as zeros).
    bool shrankUnderReaders() const;

private:
    MappedFile(const char* data, size_t size, size_t length, int fd, int slot, int64_t modified);

    const char* data_;
    size_t size_;
    size_t length_;  // mapped bytes (whole pages)
    int fd_;
    int slot_;  // in the handler's table of mappings
    int64_t modified_;  // the file's modification time when mapped (ns)
};

}  // namespace vf
