#include "core/filter/filterlibrary.h"

#include <QFile>
#include <QSaveFile>
#include <algorithm>
#include <plist/plist.h>

#include "core/support/logger.h"
#include "core/support/plistreader.h"
#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf {

namespace {

QStringList sortedCaseInsensitive(QStringList names) {
    std::sort(names.begin(), names.end(),
              [](const QString& a, const QString& b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
    return names;
}

QVariantMap defaultFilters() {
    QVariantMap defaults;
    for (const FilterPreset& preset : kLogLevelPresets) {
        const QString text = QString::fromUtf8(preset.text);
        const ParseResult parsed = Predicate::parse(text);
        defaults.insert(QString::fromUtf8(preset.name), parsed.predicate ? parsed.predicate->format() : text);
    }
    return defaults;
}

void readDictionary(plist_t root, QVariantMap& into) {
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
            into.insert(QString::fromUtf8(key), QString::fromUtf8(text.data(), qsizetype(text.size())));
        }
        free(key);
    }
    free(iter);
}

}  // namespace

std::optional<QVariantMap> PreferencesFilterStore::read() const {
    const QString key = QLatin1String(prefs::kPredicates);
    if (!Preferences::contains(key)) return std::nullopt;
    return Preferences::value(key).toMap();
}

void PreferencesFilterStore::write(const QVariantMap& filters) {
    Preferences::setValue(QLatin1String(prefs::kPredicates), filters);
}

QVariantMap readFilterFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QByteArray bytes = readAtMost(file, kPlistMaxBytes + 1);  // the path may name a pipe
    // Damaged or hostile files are refused before the library sees them.
    const PlistReadResult parsed = readPlistSafely(bytes);
    QVariantMap filters;
    plist_t root = parsed.root.get();
    if (root != nullptr && plist_get_node_type(root) == PLIST_DICT) readDictionary(root, filters);
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

void FilterLibrary::load() {
    allFilters_.clear();
    std::optional<QVariantMap> stored = store_.read();
    if (!stored) {
        stored = defaultFilters();
        store_.write(*stored);
        QStringList shown;
        for (auto it = stored->cbegin(); it != stored->cend(); ++it) shown << it.key() + u" = "_s + it->toString();
        VF_LOG("Created default predicates: {}", shown.join(u"; "_s));
    }
    for (auto it = stored->cbegin(); it != stored->cend(); ++it) {
        const ParseResult parsed = Predicate::parse(it->toString());
        if (parsed.predicate) allFilters_.insert(it.key(), parsed.predicate);
        else VF_LOG("Filter {} is corrupt: {}", it.key(), parsed.error ? parsed.error->message : QString());
    }
    sortedFilterKeys_ = sortedCaseInsensitive(allFilters_.keys());
}

QVariantMap FilterLibrary::texts(const QStringList& names) const {
    QVariantMap result;
    for (const QString& name : names)
        if (const PredicatePtr p = allFilters_.value(name)) result.insert(name, p->format());
    return result;
}

void FilterLibrary::save() {
    sortedFilterKeys_ = sortedCaseInsensitive(allFilters_.keys());
    store_.write(texts(sortedFilterKeys_));
}

void FilterLibrary::setFilter(const QString& name, PredicatePtr predicate) {
    if (!predicate) return;
    allFilters_.insert(name, std::move(predicate));
    save();
}

void FilterLibrary::removeFilters(const QStringList& names) {
    for (const QString& name : names) allFilters_.remove(name);
    save();
}

FilterImport FilterLibrary::importFilters(const QString& path) {
    VF_LOG("Open url: {}", path);
    const QVariantMap file = readFilterFile(path);
    QStringList names = file.keys();
    std::stable_sort(names.begin(), names.end(), [&file](const QString& a, const QString& b) {
        return file.value(a).toString().compare(file.value(b).toString(), Qt::CaseInsensitive) < 0;
    });
    FilterImport result;
    for (const QString& name : std::as_const(names)) {
        const ParseResult parsed = Predicate::parse(file.value(name).toString());
        if (parsed.predicate) {
            allFilters_.insert(name, parsed.predicate);
            result.imported << name;
        } else {
            const QString reason = parsed.error ? parsed.error->message : QString();
            VF_LOG("Filter {} is corrupt: {}", name, reason);
            result.rejected << name + u": "_s + reason;
        }
    }
    save();
    return result;
}

bool FilterLibrary::exportFilters(const QString& path, const QStringList& names) const {
    const QVariantMap chosen = texts(names);
    if (chosen.isEmpty()) return false;
    VF_LOG("Save filter to: {}", path);
    return writeFilterFile(path, chosen);
}

QString FilterLibrary::newUnusedPredicateName(const QString& base) const {
    const QString stem = base.isEmpty() ? u"unnamed"_s : base;
    if (!allFilters_.contains(stem)) return stem;
    for (int n = 1;; ++n) {
        const QString name = u"%1-%2"_s.arg(stem).arg(n);
        if (!allFilters_.contains(name)) return name;
    }
}

}  // namespace vf
