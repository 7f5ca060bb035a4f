#include "core/support/strings.h"

namespace vf {

bool isInteger(QStringView s) {
    const auto isAsciiDigit = [](QChar c) { return c >= u'0' && c <= u'9'; };
    qsizetype i = 0;
    while (i < s.size() && s[i].isSpace()) ++i;
    if (i < s.size() && (s[i] == u'-' || s[i] == u'+')) ++i;
    // The value is non-zero exactly when a non-zero digit comes before the
    // first non-digit (overflow saturates, it never wraps to zero).
    for (; i < s.size() && isAsciiDigit(s[i]); ++i) {
        if (s[i] != u'0') return true;
    }
    return s == u"0";
}

}  // namespace vf
