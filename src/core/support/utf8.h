#pragma once
// The one UTF-8 validator, and the repairs that keep text readable when a
// device or a file mixes in bytes that are not UTF-8. Pure functions, any
// thread.

#include <string>
#include <string_view>

namespace vf::utf8 {

// Well-formed UTF-8: no overlongs, no surrogates, nothing above U+10FFFF.
// Runs of ASCII are checked sixteen or eight bytes at a time.
bool isValid(std::string_view bytes) noexcept;
// How many of the first bytes are well-formed: the offset of the first byte
// that starts no well-formed sequence (a sequence cut by the end counts as
// not), or the size when all are.
size_t validPrefix(std::string_view bytes) noexcept;

// True when the bytes hold at least one well-formed multi-byte sequence: text
// that is mostly UTF-8 with a stray byte, as opposed to a single-byte
// encoding (where such sequences practically never occur by chance).
bool hasMultiByteSequence(std::string_view bytes) noexcept;

// The bytes with every byte that is not part of a well-formed sequence
// replaced by U+FFFD; valid sequences are kept as they are.
std::string replaceInvalid(std::string_view bytes);

// ISO Latin-1 bytes as UTF-8.
std::string fromLatin1(std::string_view bytes);

}  // namespace vf::utf8
