#pragma once
// The leading-integer rule that the process-table reader and the port
// preference rely on beyond Qt's own, and the slip rule that tells a
// mistyped name. Pure; any thread.

#include <QStringView>
#include <cstdint>

namespace vf {

// The leading decimal integer of `s` (leading white space and one sign
// allowed, reading stops at the first non-digit), 0 when there is none.
// Saturates at the 32-bit limits.
int64_t leadingInteger(QStringView s);

// True when the leading integer value of `s` (leading white space and one
// sign allowed, reading stops at the first non-digit) is non-zero, or when
// `s` is exactly "0". "42", "-7", " 12", "12ab" are; "", "abc", "00", "0x1" are not.
bool isInteger(QStringView s);

// Whether one letter left out, added or changed, or two neighbours swapped,
// turn `a` into `b` (any case); false for equal strings.
bool oneSlipApart(QStringView a, QStringView b);

}  // namespace vf
