#include "core/log/filestamp.h"

#include <sys/stat.h>

namespace vf {

namespace {
FileStamp stampOf(const struct stat& st) {
    return FileStamp{uint64_t(st.st_dev), uint64_t(st.st_ino), uint64_t(st.st_size),
                     int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
}
}  // namespace

std::optional<FileStamp> FileStamp::ofFd(int fd) {
    struct stat st {};
    if (::fstat(fd, &st) != 0) return std::nullopt;
    return stampOf(st);
}

std::optional<FileStamp> FileStamp::ofPath(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return std::nullopt;
    return stampOf(st);
}

FileChange fileChange(const FileStamp& opened, const std::optional<FileStamp>& now) {
    if (!now) return FileChange::Removed;
    if (now->device != opened.device || now->inode != opened.inode) return FileChange::Replaced;
    if (now->size < opened.size) return FileChange::Shrank;
    if (now->size > opened.size) return FileChange::Grew;
    return now->modifiedNs != opened.modifiedNs ? FileChange::Written : FileChange::None;
}

}  // namespace vf
