#include "core/filter/filterfile.h"

#include <plist/plist.h>

#include <QFile>
#include <QSaveFile>
#include <QXmlStreamReader>

#include "core/support/plistreader.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace {

void readBinaryDictionary(plist_t root, QVariantMap& into) {
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(root, &iter);
    for (;;) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(root, iter, &key, &value);
        if (key == nullptr) break;
        if (value != nullptr && plist_get_node_type(value) == PLIST_STRING) {
            // Read by length: the library's own string getter aborts on a NUL.
            const std::string text = plistString(value);
            into.insert(QString::fromUtf8(key),
                        QString::fromUtf8(text.data(), qsizetype(text.size())));
        }
        free(key);
    }
    free(iter);
}

// XML has no place for most C0 control characters, raw or as character
// references, yet property-list writers put them in names all the same (and
// the property-list library reads them); such a name must still be read, to
// be refused by name. They cross the XML reader as the private-use
// characters U+F700 + c and are turned back afterwards.
constexpr char16_t kCarriedBase = 0xF700;

bool isCarriedControl(uint32_t c) {
    return c >= 1 && c < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

QByteArray carryControls(const QByteArray& bytes, bool* carried) {
    QByteArray out;
    out.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const uchar c = uchar(bytes[i]);
        if (isCarriedControl(c)) {
            out.append("\xEF\x9C").append(char(0x80 + c));  // UTF-8 of U+F700 + c
            *carried = true;
            continue;
        }
        if (c == '&' && i + 2 < bytes.size() && bytes[i + 1] == '#') {
            const bool hex = bytes[i + 2] == 'x';
            const qsizetype digits = i + (hex ? 3 : 2);
            const qsizetype end = bytes.indexOf(';', digits);
            bool ok = false;
            const uint value = end > digits && end - digits <= 8
                                   ? bytes.mid(digits, end - digits).toUInt(&ok, hex ? 16 : 10)
                                   : 0;
            if (ok && isCarriedControl(value)) {
                out.append("&#x").append(QByteArray::number(kCarriedBase + value, 16)).append(';');
                *carried = true;
                i = end;
                continue;
            }
        }
        out.append(char(c));
    }
    return out;
}

QString restoreControls(QString text) {
    for (QChar& c : text)
        if (c.unicode() > kCarriedBase && isCarriedControl(c.unicode() - kCarriedBase))
            c = QChar(c.unicode() - kCarriedBase);
    return text;
}

// The top-level dictionary of an XML property list (inside <plist>, or the
// root itself): each <key> and the <string> after it; values of any other
// type are skipped whole. Anything that is not well-formed gives nothing.
QVariantMap readXmlDictionary(const QByteArray& bytes) {
    bool carried = false;
    QXmlStreamReader xml(carryControls(bytes, &carried));
    if (!xml.readNextStartElement()) return {};
    if (xml.name() == u"plist"_s && !xml.readNextStartElement()) return {};
    if (xml.name() != u"dict"_s) return {};
    QVariantMap entries;
    QString key;
    bool haveKey = false;
    while (xml.readNextStartElement()) {
        if (xml.name() == u"key"_s) {
            key = xml.readElementText();
            haveKey = true;
        } else if (xml.name() == u"string"_s && haveKey) {
            entries.insert(key, xml.readElementText());
            haveKey = false;
        } else {
            xml.skipCurrentElement();
            haveKey = false;
        }
    }
    // The rest of the document must be well-formed too, as for the library.
    while (!xml.atEnd()) xml.readNext();
    if (xml.hasError()) return {};
    if (!carried) return entries;
    QVariantMap restored;
    for (auto it = entries.cbegin(); it != entries.cend(); ++it)
        restored.insert(restoreControls(it.key()), restoreControls(it->toString()));
    return restored;
}

}  // namespace

QVariantMap filterFileEntries(const QByteArray& bytes) {
    // Damaged or hostile files are refused before anything reads them.
    if (!plistPrecheck(bytes).isEmpty()) return {};
    if (!bytes.startsWith("bplist00")) return readXmlDictionary(bytes);
    const PlistReadResult parsed = readPlistSafely(bytes);
    QVariantMap filters;
    plist_t root = parsed.root.get();
    if (root != nullptr && plist_get_node_type(root) == PLIST_DICT)
        readBinaryDictionary(root, filters);
    return filters;
}

QVariantMap readFilterFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return filterFileEntries(readAtMost(file, kPlistMaxBytes + 1));  // the path may name a pipe
}

bool writeFilterFile(const QString& path, const QVariantMap& filters) {
    plist_t root = plist_new_dict();
    for (auto it = filters.cbegin(); it != filters.cend(); ++it)
        plist_dict_set_item(root, it.key().toUtf8().constData(),
                            plist_new_string(it->toString().toUtf8().constData()));
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root, &xml, &length);
    plist_free(root);
    QSaveFile file(path);
    const bool ok = xml != nullptr && file.open(QIODevice::WriteOnly) &&
                    file.write(xml, length) == qint64(length) && file.commit();
    free(xml);
    return ok;
}

}  // namespace vf
