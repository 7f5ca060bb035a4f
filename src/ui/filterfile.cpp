#include "ui/filterfile.h"

#include <QFile>
#include <QSaveFile>
#include <plist/plist.h>

#include "core/log/plistreader.h"

namespace vf::ui {

QVariantMap readFilterFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QByteArray bytes = readAtMost(file, kPlistMaxBytes + 1);  // the path may name a pipe
    const PlistReadResult parsed = readPlistSafely(bytes);
    plist_t root = parsed.root.get();
    QVariantMap filters;
    if (root != nullptr && plist_get_node_type(root) == PLIST_DICT) {
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(root, &iter);
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(root, iter, &key, &value);
            if (key == nullptr) break;
            if (value != nullptr && plist_get_node_type(value) == PLIST_STRING) {
                const std::string text = plistString(value);
                filters.insert(QString::fromUtf8(key), QString::fromUtf8(text.data(), qsizetype(text.size())));
            }
            free(key);
        }
        free(iter);
    }
    return filters;
}

bool writeFilterFile(const QString& path, const QVariantMap& filters) {
    plist_t root = plist_new_dict();
    for (auto it = filters.cbegin(); it != filters.cend(); ++it)
        plist_dict_set_item(root, it.key().toUtf8().constData(), plist_new_string(it->toString().toUtf8().constData()));
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root, &xml, &length);
    plist_free(root);
    QSaveFile file(path);
    const bool ok = xml != nullptr && file.open(QIODevice::WriteOnly) && file.write(xml, length) == qint64(length) &&
                    file.commit();
    free(xml);
    return ok;
}

}  // namespace vf::ui
