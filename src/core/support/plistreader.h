#pragma once
// Property lists read from files the user hands us (saved logs, filter
// files) may be damaged or hostile. readPlistSafely() checks the bytes
// before the property-list library sees them, so that no input can make it
// recurse without bound, follow a reference cycle or allocate far beyond the
// input's size, and returns either a parsed tree or a reason.
//
// Pure functions; any thread.

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <memory>
#include <string>
#include <type_traits>

#include <plist/plist.h>

namespace vf {

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistDeleter>;

// Limits of what we read: our own files nest three levels deep and hold
// one object per value, so these leave ample room.
inline constexpr int kPlistMaxDepth = 64;
inline constexpr qsizetype kPlistMaxBytes = qsizetype(512) * 1024 * 1024;

struct PlistReadResult {
    PlistPtr root;  // null exactly when `error` is set
    QString error;
    explicit operator bool() const { return root != nullptr; }
};

// Parses an XML or binary property list. Rejects (with a reason) empty or
// oversized input, nesting deeper than kPlistMaxDepth, binary lists with an
// inconsistent trailer, offset table or object reference, and reference
// cycles.
PlistReadResult readPlistSafely(const QByteArray& bytes);

// At most `limit` bytes from the start of `device` (open for reading), and
// whether there was more. Reads a pipe or a device in chunks, without
// allocating `limit` up front. Blocking; the caller's thread.
QByteArray readAtMost(QIODevice& device, qint64 limit, bool* truncated = nullptr);

// The bytes of a string node (empty for any other node). Strings may hold
// NUL characters; the library's own string getter aborts on those.
std::string plistString(plist_t node);

// The checks alone, without parsing: an empty string when the library may
// be given `bytes`, else the reason it may not.
QString plistPrecheck(const QByteArray& bytes);

}  // namespace vf
