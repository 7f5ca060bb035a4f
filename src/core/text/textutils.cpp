#include "core/text/textutils.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace vf {

namespace {
constexpr QStringView kIndent = u"    ";

// Whether `out` has grown past `maxOutput`; if so it is cut there and ends
// with a line that says so.
bool cutAtLimit(QString& out, qsizetype maxOutput) {
    if (out.size() <= maxOutput) return false;
    out.truncate(maxOutput);
    const QString limit = maxOutput % (qsizetype(1) << 20) == 0 ? u"%1 MiB"_s.arg(maxOutput >> 20)
                                                                : u"%1 characters"_s.arg(maxOutput);
    out += u"\n\u2026 [cut here: the formatted text is longer than %1]"_s.arg(limit);
    return true;
}
}  // namespace

void TextUtils::trimEnd(QString& text) {
    qsizetype end = text.size();
    while (end > 0 && (text[end - 1] == u'\n' || text[end - 1] == u' ')) --end;
    text.truncate(end);
}

void TextUtils::addTabs(qsizetype count, QString& text) {
    for (qsizetype i = 0; i < qMin<qsizetype>(count, kMaxIndentDepth); ++i) text += kIndent;
}

QString TextUtils::truncate(const QString& text, qsizetype length) {
    if (text.size() <= length) return text;
    return text.left(length) + u"..."_s;
}

QString TextUtils::lenientJsonPrettyPrinter(QStringView text, qsizetype maxOutput) {
    QString out;
    out.reserve(qMin(text.size() * 2, maxOutput));
    qsizetype depth = 0;  // counted in full, so brackets still pair beyond the indentation limit
    bool inString = false;
    QChar previous;  // none at first
    for (const QChar c : text) {
        if (cutAtLimit(out, maxOutput)) break;
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
    cutAtLimit(out, maxOutput);
    return out;
}

QString TextUtils::lenientXMLPrettyPrinter(QStringView text, qsizetype maxOutput) {
    QString result;
    xmlPrettyPrinter(text, 0, 0, result, maxOutput);
    return result;
}

void TextUtils::xmlPrettyPrinter(QStringView text, qsizetype index, int tabCount, QString& result,
                                 qsizetype maxOutput) {
    if (text.size() < 2 || index >= text.size() - 1) return;
    qsizetype depth = tabCount;
    bool afterClosingStart = false;
    for (qsizetype i = index; i < text.size(); ++i) {
        if (cutAtLimit(result, maxOutput)) return;
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
    cutAtLimit(result, maxOutput);
}

QString TextUtils::dataDescription(QByteArrayView bytes) {
    QString out = u"<"_s;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (i > 0 && i % 4 == 0) out += u' ';
        out += QString::number(uchar(bytes[i]), 16).rightJustified(2, u'0');
    }
    return out + u">"_s;
}

std::optional<TextSpan> TextUtils::base64RunAt(QStringView text, qsizetype cursor) {
    const auto inAlphabet = [](char16_t u) {
        return (u >= u'A' && u <= u'Z') || (u >= u'a' && u <= u'z') || (u >= u'0' && u <= u'9') || u == u'+' ||
               u == u'/';
    };
    std::optional<TextSpan> touched;
    std::optional<TextSpan> longest;
    qsizetype i = 0;
    while (i < text.size()) {
        if (!inAlphabet(text[i].unicode())) {
            ++i;
            continue;
        }
        const qsizetype start = i;
        while (i < text.size() && inAlphabet(text[i].unicode())) ++i;
        const qsizetype body = i - start;
        for (int pad = 0; pad < 2 && i < text.size() && text[i] == u'='; ++pad) ++i;
        // "key=value": an "=" before more of the alphabet assigns, it does not pad.
        if (i < text.size() && inAlphabet(text[i].unicode())) i = start + body;
        const TextSpan run{start, i - start};
        if (run.length < kMinBase64Run || body % 4 == 1) continue;
        if (!touched && cursor >= run.start && cursor <= run.start + run.length) touched = run;
        if (!longest || run.length > longest->length) longest = run;
    }
    return touched ? touched : longest;
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
    if (bytes.size() > kShownBytes) {
        return {std::nullopt, u"Result is not a string.\nBIN[%1 \u2026 %2 bytes in all]"_s.arg(
                                  dataDescription(QByteArrayView(bytes).first(kShownBytes)))
                                  .arg(bytes.size())};
    }
    if (!bytes.isEmpty()) return {std::nullopt, u"Result is not a string.\nBIN[%1]"_s.arg(dataDescription(bytes))};
    QString shown = text.first(qMin(text.size(), kShownBytes)).toString();
    if (text.size() > kShownBytes) shown += u'\u2026';
    return {std::nullopt, u"Value is not valid Base64:\n\n'%1'"_s.arg(shown)};
}

}  // namespace vf
