#include "core/filter/filterlibrary.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "core/support/terminaltext.h"

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

}  // namespace

QString filterNameProblem(QStringView name) {
    for (const QChar c : name) {
        const QChar::Category category = c.category();
        if (category == QChar::Other_Control || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph)
            return u"the name holds a control character"_s;
    }
    return {};
}

std::optional<QVariantMap> PreferencesFilterStore::read() const {
    const QString key = QLatin1String(prefs::kPredicates);
    if (!Preferences::contains(key)) return std::nullopt;
    return Preferences::value(key).toMap();
}

void PreferencesFilterStore::write(const QVariantMap& filters) {
    Preferences::setValue(QLatin1String(prefs::kPredicates), filters);
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
    // Both maps are in key order: each insertion goes at the end, no lookups.
    QVariantMap all;
    for (auto it = allFilters_.cbegin(); it != allFilters_.cend(); ++it)
        all.insert(all.cend(), it.key(), it.value()->format());
    store_.write(all);
}

bool FilterLibrary::setFilter(const QString& name, PredicatePtr predicate) {
    if (!predicate || !filterNameProblem(name).isEmpty()) return false;
    allFilters_.insert(name, std::move(predicate));
    save();
    return true;
}

void FilterLibrary::removeFilters(const QStringList& names) {
    for (const QString& name : names) allFilters_.remove(name);
    save();
}

FilterImport FilterLibrary::importFilters(const QString& path) {
    VF_LOG("Open url: {}", path);
    const QVariantMap file = readFilterFile(path);
    // Visited in the order of their texts; sorted as pairs, so a file of a
    // million entries costs n log n comparisons and no lookups.
    std::vector<std::pair<QString, QString>> entries;
    entries.reserve(size_t(file.size()));
    for (auto it = file.cbegin(); it != file.cend(); ++it) entries.emplace_back(it.key(), it->toString());
    std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return a.second.compare(b.second, Qt::CaseInsensitive) < 0;
    });
    FilterImport result;
    for (const auto& [name, text] : entries) {
        QString reason = filterNameProblem(name);
        if (reason.isEmpty()) {
            const ParseResult parsed = Predicate::parse(text);
            if (parsed.predicate) {
                allFilters_.insert(name, parsed.predicate);
                result.imported << name;
                continue;
            }
            reason = parsed.error ? parsed.error->message : QString();
        }
        VF_LOG("Filter {} is not imported: {}", visibleControls(name), reason);
        result.rejected << visibleControls(name) + u": "_s + reason;
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
