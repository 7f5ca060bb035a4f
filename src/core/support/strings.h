#pragma once
// The one string rule the process-table reader relies on beyond Qt's own.
// Pure; any thread.

#include <QStringView>

namespace vf {

// True when the leading integer value of `s` (leading white space and one
// sign allowed, reading stops at the first non-digit) is non-zero, or when
// `s` is exactly "0". "42", "-7", " 12", "12ab" are; "", "abc", "00", "0x1" are not.
bool isInteger(QStringView s);

}  // namespace vf
