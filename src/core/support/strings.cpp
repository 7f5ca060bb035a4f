#include "core/support/strings.h"

#include <QMetaType>
#include <QSequentialIterable>
#include <QStringList>
#include <QUrl>
#include <utility>

namespace vf {

namespace {

Qt::CaseSensitivity sensitivity(bool ignoreCase) {
    return ignoreCase ? Qt::CaseInsensitive : Qt::CaseSensitive;
}

// Blanks in the sense of the platform's white-space set: space separators and tab.
bool isBlank(QChar c) {
    return c == u'\t' || c.category() == QChar::Separator_Space;
}

// Whether case can matter when matching `s` (the usual delimiters are
// blanks and punctuation, which are searched for faster case-sensitively).
bool hasCase(QStringView s) {
    for (QChar c : s) {
        if (c.toCaseFolded() != c || c.toUpper() != c) return true;
    }
    return false;
}

bool isAsciiDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

QString lastPathComponent(const QUrl& url) {
    QString path = url.path();
    while (path.size() > 1 && path.endsWith(u'/')) path.chop(1);
    if (path == u"/") return path;
    return path.mid(path.lastIndexOf(u'/') + 1);
}

}  // namespace

bool isInteger(QStringView s) {
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

bool contains(QStringView s, QStringView sub, bool ignoreCase) {
    return indexOfString(s, sub, ignoreCase) != kNotFound;
}

qsizetype indexOfString(QStringView s, QStringView sub, bool ignoreCase) {
    if (sub.isEmpty()) return kNotFound;
    const qsizetype at = s.indexOf(sub, 0, sensitivity(ignoreCase));
    return at < 0 ? kNotFound : at;
}

QString trim(QStringView s) {
    qsizetype begin = 0;
    qsizetype end = s.size();
    while (begin < end && isBlank(s[begin])) ++begin;
    while (end > begin && isBlank(s[end - 1])) --end;
    return s.mid(begin, end - begin).toString();
}

QChar safeCharacterAtIndex(QStringView s, qsizetype index) {
    if (index < 0 || index >= s.size()) return QChar(0);
    return s[index];
}

std::optional<QString> removeSubstringBetween(const QString& s, QStringView start, QStringView end,
                                              QString* removed) {
    if (removed != nullptr) *removed = QString();
    const qsizetype startAt = indexOfString(s, start);
    if (startAt == kNotFound) return s;
    const qsizetype inner = startAt + start.size();
    if (s.size() - inner < 2) return std::nullopt;
    const qsizetype endAt = end.isEmpty() ? -1 : s.indexOf(end, inner);
    if (endAt < 0) return s;
    if (removed != nullptr) *removed = s.mid(inner, endAt - inner);

    QString result;
    if (startAt > 0) result = s.left(startAt);
    const qsizetype after = endAt + end.size();
    if (after < s.size() - 1) result += QStringView(s).mid(after);
    return result;
}

Scanner::Scanner(QString text) : text_(std::move(text)) {}

void Scanner::setLocation(qsizetype location) {
    location_ = qBound<qsizetype>(0, location, text_.size());
}

qsizetype Scanner::skipWhitespace(qsizetype from) const {
    while (from < text_.size() && text_[from].isSpace()) ++from;
    return from;
}

bool Scanner::isAtEnd() const {
    return skipWhitespace(location_) >= text_.size();
}

std::optional<QString> Scanner::scanUpToString(QStringView delimiter) {
    const qsizetype begin = skipWhitespace(location_);
    qsizetype stop = text_.size();
    if (!delimiter.isEmpty()) {
        const bool ignoreCase = !caseSensitive_ && hasCase(delimiter);
        const qsizetype found = QStringView(text_).indexOf(delimiter, begin, sensitivity(ignoreCase));
        if (found >= 0) stop = found;
    }
    QString previous = std::exchange(previousDelimiter_, delimiter.toString());
    if (stop == begin) return std::nullopt;

    location_ = stop;
    QStringView taken = QStringView(text_).mid(begin, stop - begin);
    if (!previous.isEmpty() && taken.startsWith(previous)) taken = taken.mid(previous.size());
    return taken.toString();
}

QString toString(const QVariant& value) {
    if (value.isNull()) return QStringLiteral("nil");
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
        return dictionaryToDelimitedString(value.toMap());
    case QMetaType::QVariantHash: {
        const QVariantHash hash = value.toHash();
        QVariantMap map;
        for (auto it = hash.cbegin(); it != hash.cend(); ++it) map.insert(it.key(), it.value());
        return dictionaryToDelimitedString(map);
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return arrayToDelimitedString(value.toList());
    case QMetaType::QUrl:
        return QStringLiteral("URL:") + lastPathComponent(value.toUrl());
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::QString:
    case QMetaType::QByteArray:
        return value.toString();
    default:
        break;
    }
    if (value.canView<QSequentialIterable>()) {
        QVariantList list;
        QVariant copy = value;
        const QSequentialIterable iterable = copy.view<QSequentialIterable>();
        for (qsizetype i = 0; i < iterable.size(); ++i) list.append(iterable.at(i));
        return arrayToDelimitedString(list);
    }
    if (value.canConvert<QString>()) return value.toString();
    return QString::fromLatin1(value.typeName());
}

QString dictionaryToDelimitedString(const QVariantMap& map) {
    if (map.isEmpty()) return QStringLiteral("");
    QString out = QStringLiteral("{");
    bool first = true;
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (!first) out += u", ";
        first = false;
        out += it.key() + u'=' + toString(it.value());
    }
    return out + u'}';
}

QString arrayToDelimitedString(const QVariantList& list) {
    QString out = QStringLiteral("{");
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (i > 0) out += u", ";
        out += toString(list[i]);
    }
    return out + u'}';
}

}  // namespace vf
