#pragma once
// FileStamp: which file a path named when a log was opened, how long it was
// and when it was last written; fileChange() tells what became of it since,
// so that the viewer can say that the rows it shows are no longer the
// file's (a shrunk mapping reads as zeros, a replaced file is another one).
//
// Pure values and a stat() call; any thread.

#include <cstdint>
#include <optional>
#include <string>

namespace vf {

struct FileStamp {
    uint64_t device = 0;
    uint64_t inode = 0;
    uint64_t size = 0;
    int64_t modifiedNs = 0;

    // Of the open file `fd`, or of what `path` names now; nothing when it
    // cannot be told (no such file).
    static std::optional<FileStamp> ofFd(int fd);
    static std::optional<FileStamp> ofPath(const std::string& path);
};

enum class FileChange {
    None,      // still the file that was read
    Removed,   // the path names nothing now
    Replaced,  // the path names another file (saved anew, rotated)
    Shrank,    // the same file, shorter: rows past its new end read as empty
    Grew,      // the same file, longer: lines were added after it was read
    Written,   // the same file and length, written since
};

// What became of the file read as `opened`, given what its path names `now`.
FileChange fileChange(const FileStamp& opened, const std::optional<FileStamp>& now);

}  // namespace vf
