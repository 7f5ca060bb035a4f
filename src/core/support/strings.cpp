#include "core/support/strings.h"

#include <limits>
#include <utility>

namespace vf {

int64_t leadingInteger(QStringView s) {
    qsizetype i = 0;
    while (i < s.size() && s[i].isSpace()) ++i;
    bool negative = false;
    if (i < s.size() && (s[i] == u'-' || s[i] == u'+')) negative = s[i++] == u'-';
    int64_t value = 0;
    for (; i < s.size() && s[i] >= u'0' && s[i] <= u'9'; ++i) {
        value = qMin<int64_t>(value * 10 + (s[i].unicode() - u'0'), std::numeric_limits<int32_t>::max());
    }
    return negative ? -value : value;
}

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

bool oneSlipApart(QStringView a, QStringView b) {
    if (a.size() > b.size()) std::swap(a, b);
    if (b.size() - a.size() > 1) return false;
    const auto same = [](QChar x, QChar y) { return x.toCaseFolded() == y.toCaseFolded(); };
    qsizetype i = 0;
    while (i < a.size() && same(a[i], b[i])) ++i;
    if (i == b.size()) return false;  // equal
    const auto restSame = [&](qsizetype from, qsizetype to) {
        for (; from < a.size(); ++from, ++to)
            if (!same(a[from], b[to])) return false;
        return true;
    };
    if (a.size() < b.size()) return restSame(i, i + 1);
    if (restSame(i + 1, i + 1)) return true;
    return i + 1 < a.size() && same(a[i], b[i + 1]) && same(a[i + 1], b[i]) && restSame(i + 2, i + 2);
}

}  // namespace vf
