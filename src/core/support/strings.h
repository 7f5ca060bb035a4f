#pragma once
// Small string, scanner and description helpers shared by the parsers, the
// process-table reader and the diagnostics output. Their edge behaviour is
// relied on by the parsers, so each one states it exactly.
//
// All functions are pure and may be called from any thread. A Scanner
// belongs to one thread at a time.

#include <QString>
#include <QStringView>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>
#include <limits>
#include <optional>

namespace vf {

// "Not found" position: the largest signed size, never a valid index.
inline constexpr qsizetype kNotFound = std::numeric_limits<qsizetype>::max();

// True when the leading integer value of `s` (leading white space and one
// sign allowed, reading stops at the first non-digit) is non-zero, or when
// `s` is exactly "0". "42", "-7", " 12", "12ab" are; "", "abc", "00", "0x1" are not.
bool isInteger(QStringView s);

// Whether `sub` occurs in `s`. An empty `sub` never occurs.
bool contains(QStringView s, QStringView sub, bool ignoreCase = false);

// Position (UTF-16 units) of the first `sub` in `s`, or kNotFound. An empty
// `sub` is never found.
qsizetype indexOfString(QStringView s, QStringView sub, bool ignoreCase = false);

// `s` without blanks and tabs (Unicode space separators and U+0009) at
// either end; line breaks are kept.
QString trim(QStringView s);

// The UTF-16 unit at `index`, or 0 when `index` is outside the string.
QChar safeCharacterAtIndex(QStringView s, qsizetype index);

// Removes the first section "start ... end" from `s`. `removed` (may be
// null) receives the inner text, or a null string when nothing was removed.
//  - no `start` in `s`: returns `s` unchanged;
//  - fewer than 2 characters after `start`: returns nullopt;
//  - no `end` after `start`: returns `s` unchanged;
//  - otherwise the text before `start` followed by the text after `end`,
//    where a single character after `end` is dropped as well (kept as is:
//    the log parsers depend on it).
std::optional<QString> removeSubstringBetween(const QString& s, QStringView start, QStringView end,
                                              QString* removed = nullptr);

// A cursor over one string that walks it delimiter by delimiter.
class Scanner final {
public:
    explicit Scanner(QString text);

    // Skips white space and line breaks at the cursor, then takes every
    // character up to (not including) the next `delimiter`, or to the end.
    // Yields nullopt when nothing was taken; the cursor then stays where it
    // was. A result that begins with the previous call's delimiter loses
    // that prefix, so successive calls need not skip delimiters. The
    // delimiter is remembered in every case. Matching the delimiter ignores
    // case unless setCaseSensitive(true).
    std::optional<QString> scanUpToString(QStringView delimiter);

    qsizetype location() const { return location_; }
    void setLocation(qsizetype location);
    // True when only white space and line breaks are left.
    bool isAtEnd() const;
    const QString& string() const { return text_; }

    bool caseSensitive() const { return caseSensitive_; }
    void setCaseSensitive(bool caseSensitive) { caseSensitive_ = caseSensitive; }

private:
    qsizetype skipWhitespace(qsizetype from) const;

    QString text_;
    qsizetype location_ = 0;
    QString previousDelimiter_;
    bool caseSensitive_ = false;
};

// Description of a value for diagnostics: a null variant gives "nil", maps
// give dictionaryToDelimitedString, lists arrayToDelimitedString, a URL
// "URL:" and its last path component, a bool "1"/"0", anything else its text.
QString toString(const QVariant& value);

// "" for an empty map; otherwise "{k=v, k2=v2}" in key order, values through toString.
QString dictionaryToDelimitedString(const QVariantMap& map);
// "{a, b}" with the elements through toString; "{}" when empty.
QString arrayToDelimitedString(const QVariantList& list);

}  // namespace vf
