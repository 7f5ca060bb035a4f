#pragma once
// The library of saved filters: names -> predicates, kept in a dictionary of
// name -> canonical predicate text (the "predicates" preference), created
// with the five level presets on first run, listed in case-insensitive order,
// and shared through ".filters" files (XML property lists, written
// atomically). The viewer's filter list and the companion's "filters"
// command use it alike.
//
// Threads: a FilterLibrary and its FilterStore belong to the thread that
// made them (the main thread in both front ends); nothing here is locked.
// The file functions may be called from any thread.

#include <QMap>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <QVariantMap>
#include <optional>

#include "core/filter/filterfile.h"
#include "core/filter/predicate.h"

namespace vf {

// Where the library keeps its dictionary.
class FilterStore {
public:
    virtual ~FilterStore() = default;
    // The saved dictionary; nullopt when nothing was ever saved (first run).
    virtual std::optional<QVariantMap> read() const = 0;
    virtual void write(const QVariantMap& filters) = 0;
};

// The user's preferences, key "predicates".
class PreferencesFilterStore final : public FilterStore {
public:
    std::optional<QVariantMap> read() const override;
    void write(const QVariantMap& filters) override;
};

struct FilterImport {
    QStringList imported;  // names stored, in the order they were visited
    // "name: reason" for names with control characters and texts that do
    // not parse; the name with its control characters shown as escapes.
    QStringList rejected;
};

// Why `name` cannot name a filter (it holds a control character: ESC, BEL,
// a line break ... which would drive a terminal or split a list), or an
// empty string when it can.
QString filterNameProblem(QStringView name);

class FilterLibrary final {
public:
    // The store is not owned and must outlive the library.
    explicit FilterLibrary(FilterStore& store) : store_(store) {}
    FilterLibrary(const FilterLibrary&) = delete;
    FilterLibrary& operator=(const FilterLibrary&) = delete;

    // Reads the store, creating and saving the level presets when it holds
    // nothing yet. Texts that no longer parse are logged and left out.
    void load();

    // Names in case-insensitive order.
    const QStringList& sortedFilterKeys() const { return sortedFilterKeys_; }
    bool contains(const QString& name) const { return allFilters_.contains(name); }
    PredicatePtr predicate(const QString& name) const { return allFilters_.value(name); }
    // name -> canonical text for the given names (unknown names skipped).
    QVariantMap texts(const QStringList& names) const;

    // Each of these saves the whole library at once. setFilter refuses (and
    // returns false for) a null predicate or a name filterNameProblem() refuses.
    bool setFilter(const QString& name, PredicatePtr predicate);
    void removeFilters(const QStringList& names);
    // Stores every entry of the file, replacing filters of the same name
    // without asking; visited in the case-insensitive order of their texts.
    // Names with control characters are refused. Linear in the file's size
    // (but for the n log n sort).
    FilterImport importFilters(const QString& path);

    // Writes the named filters to `path`. No names: nothing is written and
    // false returned (exporting only "All Messages").
    bool exportFilters(const QString& path, const QStringList& names) const;

    // `base` (or "unnamed" when empty) if free, else base-1, base-2, ...
    QString newUnusedPredicateName(const QString& base = {}) const;

private:
    void save();

    FilterStore& store_;
    QMap<QString, PredicatePtr> allFilters_;
    QStringList sortedFilterKeys_;
};

}  // namespace vf
