#include "core/text/textutils.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace vf {

namespace {
constexpr QStringView kIndent = u"    ";
}  // namespace

void TextUtils::trimEnd(QString& text) {
    qsizetype end = text.size();
    while (end > 0 && (text[end - 1] == u'\n' || text[end - 1] == u' ')) --end;
    text.truncate(end);
}

void TextUtils::addTabs(int count, QString& text) {
    for (int i = 0; i < count; ++i) text += kIndent;
}

QString TextUtils::truncate(const QString& text, qsizetype length) {
    if (text.size() <= length) return text;
    return text.left(length) + u"..."_s;
}

QString TextUtils::lenientJsonPrettyPrinter(QStringView text) {
    QString out;
    out.reserve(text.size() * 2);
    int depth = 0;
    bool inString = false;
    QChar previous;  // none at first
    for (const QChar c : text) {
        // Quotes at depth 0 belong to the prefix and never open a string.
        if (depth > 0 && c == u'"' && previous != u'\\') inString = !inString;
        if (inString || (depth < 1 && c != u'{' && c != u'[')) {
            out += c;
            previous = c;
            continue;
        }
        switch (c.unicode()) {
        case u'\t':
        case u'\n':
        case u'\r':
        case u' ': break;
        case u',':
            trimEnd(out);
            out += u",\n"_s;
            addTabs(depth, out);
            break;
        case u':': out += previous == u'"' ? u" : "_s : u":"_s; break;
        case u'{':
        case u'[':
            out += u'\n';
            addTabs(depth, out);
            out += c;
            out += u'\n';
            ++depth;
            addTabs(depth, out);
            break;
        case u']':
            --depth;
            trimEnd(out);
            out += u'\n';
            addTabs(depth, out);
            out += u"]\n"_s;
            addTabs(depth, out);
            break;
        case u'}':
            trimEnd(out);
            out += u'\n';
            addTabs(depth - 1, out);
            out += u'}';
            if (depth > 1) {
                out += u'\n';
                addTabs(depth - 1, out);
            }
            --depth;
            break;
        default: out += c; break;
        }
        previous = c;
    }
    return out;
}

QString TextUtils::lenientXMLPrettyPrinter(QStringView text) {
    QString result;
    xmlPrettyPrinter(text, 0, 0, result);
    return result;
}

void TextUtils::xmlPrettyPrinter(QStringView text, qsizetype index, int tabCount, QString& result) {
    if (text.size() < 2 || index >= text.size() - 1) return;
    int depth = tabCount;
    bool afterClosingStart = false;
    for (qsizetype i = index; i < text.size(); ++i) {
        const QChar c = text[i];
        const QChar next = i + 1 < text.size() ? text[i + 1] : QChar();
        if ((c == u'<' && next == u'?') || (c == u'?' && next == u'?')) {
            result += u'\n';
            result += c;
            depth = 0;
        } else if (c == u'<' && next == u'!') {
            result += u'\n';
            addTabs(depth, result);
            result += u'<';
        } else if (c == u'<' && next == u'/') {
            if (afterClosingStart) {
                result += u'\n';
                addTabs(depth, result);
            }
            result += u'<';
            afterClosingStart = true;
        } else if (c == u'<') {
            ++depth;
            afterClosingStart = false;
            result += u'\n';
            addTabs(depth, result);
            result += u'<';
        } else {
            result += c;
            if (afterClosingStart && c == u'>') --depth;
        }
    }
}

QString TextUtils::dataDescription(const QByteArray& bytes) {
    QString out = u"<"_s;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (i > 0 && i % 4 == 0) out += u' ';
        out += QString::number(uchar(bytes[i]), 16).rightJustified(2, u'0');
    }
    return out + u">"_s;
}

Base64Decoding TextUtils::decodeBase64(QStringView text) {
    QByteArray alphabet;
    alphabet.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        const bool inAlphabet = (u >= u'A' && u <= u'Z') || (u >= u'a' && u <= u'z') || (u >= u'0' && u <= u'9') ||
                                u == u'+' || u == u'/' || u == u'=';
        if (inAlphabet) alphabet += char(u);
    }
    const QByteArray bytes = QByteArray::fromBase64(alphabet);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder.decode(bytes);
    if (!decoder.hasError() && !decoded.isEmpty()) return {decoded, {}};
    if (!bytes.isEmpty()) return {std::nullopt, u"Result is not a string.\nBIN[%1]"_s.arg(dataDescription(bytes))};
    return {std::nullopt, u"Value is not valid Base64:\n\n'%1'"_s.arg(text)};
}

}  // namespace vf
