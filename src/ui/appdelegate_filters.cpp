// The filter list: loading and saving the library, combining the selected
// filters with the quick filter, and importing filter files.
#include <QItemSelection>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QStringListModel>
#include <algorithm>

#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "ui/filterfile.h"
#include "ui/mainwindow.h"
#include "ui/vellumfoxappdelegate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

QStringList sortedCaseInsensitive(QStringList names) {
    std::sort(names.begin(), names.end(),
              [](const QString& a, const QString& b) { return a.compare(b, Qt::CaseInsensitive) < 0; });
    return names;
}

QVariantMap createDefaultFilters() {
    QVariantMap defaults;
    for (const FilterPreset& preset : kLogLevelPresets) {
        const ParseResult parsed = Predicate::parse(QString::fromUtf8(preset.text));
        defaults.insert(QString::fromUtf8(preset.name),
                        parsed.predicate ? parsed.predicate->format() : QString::fromUtf8(preset.text));
    }
    Preferences::setValue(QLatin1String(prefs::kPredicates), defaults);
    QStringList shown;
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it) shown << it.key() + u" = "_s + it->toString();
    VF_LOG("Created default predicates: {}", shown.join(u"; "_s));
    return defaults;
}

}  // namespace

void VellumfoxAppDelegate::loadFilters() {
    allFilters_.clear();
    QVariantMap stored = Preferences::value(QLatin1String(prefs::kPredicates)).toMap();
    if (!Preferences::contains(QLatin1String(prefs::kPredicates))) stored = createDefaultFilters();
    for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
        const ParseResult parsed = Predicate::parse(it->toString());
        if (parsed.predicate) allFilters_.insert(it.key(), parsed.predicate);
        else VF_LOG("Filter {} is corrupt: {}", it.key(), parsed.error ? parsed.error->message : QString());
    }
    sortedFilterKeys_ = sortedCaseInsensitive(allFilters_.keys());
    reloadFilterList();
}

void VellumfoxAppDelegate::saveFilters() {
    sortedFilterKeys_ = sortedCaseInsensitive(allFilters_.keys());
    QVariantMap stored;
    for (auto it = allFilters_.cbegin(); it != allFilters_.cend(); ++it) stored.insert(it.key(), (*it)->format());
    Preferences::setValue(QLatin1String(prefs::kPredicates), stored);
    reloadFilterList();
}

void VellumfoxAppDelegate::reloadFilterList() {
    updatingFilterSelection_ = true;
    filterListModel_->setStringList(QStringList{u"All Messages"_s} + sortedFilterKeys_);
    updatingFilterSelection_ = false;
}

void VellumfoxAppDelegate::onFilterSelectionChanged(const QItemSelection& selected) {
    if (updatingFilterSelection_) return;
    SelectableTableView* list = window_->filterListTable();
    bool allMessages = false;
    bool filterRow = false;
    for (const QModelIndex& index : selected.indexes()) (index.row() == 0 ? allMessages : filterRow) = true;
    updatingFilterSelection_ = true;
    if (allMessages) {
        setPredicate(nullptr);
        VF_LOG("Clear Filter");
        list->selectRowAlone(0);
    } else if (filterRow) {
        // "All Messages" means no filter: it cannot stay chosen beside one.
        list->selectionModel()->select(list->model()->index(0, 0),
                                       QItemSelectionModel::Deselect | QItemSelectionModel::Rows);
    }
    updatingFilterSelection_ = false;
    if (!selected.isEmpty()) changeScrollToBottom(true);
    applySelectedFilters();
}

void VellumfoxAppDelegate::quickFilter() { applySelectedFilters(); }

void VellumfoxAppDelegate::applySelectedFilters() {
    std::vector<PredicatePtr> parts;
    QList<int> rows;
    for (const QModelIndex& index : window_->filterListTable()->selectionModel()->selectedRows())
        if (index.row() >= 1 && index.row() <= sortedFilterKeys_.size()) rows << index.row();
    std::sort(rows.begin(), rows.end());
    for (int row : std::as_const(rows)) parts.push_back(allFilters_.value(sortedFilterKeys_.at(row - 1)));

    const ParseResult quick = quickFilterPredicate(window_->quickFilterField()->text());
    setPredicate(combineFilters(parts, quick.predicate));
    filterUpdating_ = true;
    if (quick.error) {
        // The store keeps the saved filters; the quick text is shown as not understood.
        window_->statusFilter()->setText(u"Filter: quick filter not understood (%1 at %2)"_s
                                             .arg(quick.error->message)
                                             .arg(quick.error->position));
    }
}

void VellumfoxAppDelegate::setPredicate(PredicatePtr predicate) {
    predicate_ = std::move(predicate);
    logDatasource_->setLogDataFilter(predicate_);
    window_->statusFilter()->setText(predicate_ ? u"Filter: "_s + predicate_->format() : u"Filter: All Messages"_s);
}

void VellumfoxAppDelegate::onFilterCorrupt(const QString& reason) {
    auto* box = new QMessageBox(QMessageBox::Critical, u"Filter is corrupt"_s, u"Filter is corrupt"_s,
                                QMessageBox::Ok, window_.get());
    box->setInformativeText(reason);
    box->setWindowModality(Qt::ApplicationModal);
    box->setAttribute(Qt::WA_DeleteOnClose);
    currentAlert_ = box;
    box->open();
}

void VellumfoxAppDelegate::importFilters(const QString& path) {
    VF_LOG("Open url: {}", path);
    const QVariantMap imported = readFilterFile(path);
    QStringList names = imported.keys();
    // Visited in the order of their texts, as the library always did.
    std::sort(names.begin(), names.end(), [&imported](const QString& a, const QString& b) {
        return imported.value(a).toString().compare(imported.value(b).toString(), Qt::CaseInsensitive) < 0;
    });
    for (const QString& name : std::as_const(names)) {
        const ParseResult parsed = Predicate::parse(imported.value(name).toString());
        if (parsed.predicate) allFilters_.insert(name, parsed.predicate);
        else VF_LOG("Filter {} is corrupt: {}", name, parsed.error ? parsed.error->message : QString());
    }
    saveFilters();
}

}  // namespace vf::ui
