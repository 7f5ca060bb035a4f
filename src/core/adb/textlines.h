#pragma once
// Splitting reply texts into lines, the way the device-list and
// build-properties readers need it.

#include <QString>
#include <QStringList>

namespace vf {

// Whether `c` ends a line: LF, VT, FF, CR, NEL and the Unicode line and
// paragraph separators.
inline bool isNewlineChar(QChar c) {
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

// Splits at every newline character; a CR LF pair gives an empty line
// between them, and empty pieces are kept.
inline QStringList splitAtNewlines(const QString& text) {
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!isNewlineChar(text.at(i))) continue;
        lines.append(text.mid(start, i - start));
        start = i + 1;
    }
    lines.append(text.mid(start));
    return lines;
}

}  // namespace vf
