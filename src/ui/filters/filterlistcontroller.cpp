#include "ui/filters/filterlistcontroller.h"

#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QItemSelection>
#include <QLabel>
#include <QPushButton>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QSignalBlocker>
#include <QSplitter>
#include <QStringListModel>
#include <QToolButton>

#include "core/filter/query.h"
#include "core/support/logger.h"
#include "ui/filters/filterinforce.h"
#include "ui/filters/filtersheet.h"
#include "ui/filters/quickfilterassist.h"
#include "ui/window/mainwindow.h"
#include "ui/window/placement.h"
#include "ui/window/statustexts.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {
constexpr char16_t kSamplePredicate[] = u"(app ==[cd] 'YOUR_APP_NAME') AND ((type ==[cd] 'E') OR (type ==[cd] 'W'))";
}  // namespace

FilterListController::FilterListController(MainWindow& window, QObject* parent)
    : QObject(parent), window_(window), library_(store_) {
    model_ = new QStringListModel(this);
    SelectableTableView* list = window_.filterListTable();
    list->setModel(model_);
    list->setMenuDelegate(this);
    connect(list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this](const QItemSelection& selected) { onSelectionChanged(selected); });
    connect(window_.quickFilterField(), &QLineEdit::textChanged, this, &FilterListController::applySelectedFilters);
    connect(window_.levelSelector(), &QComboBox::currentIndexChanged, this, &FilterListController::applySelectedFilters);
    assist_ = new QuickFilterAssist(
        *window_.quickFilterField(), [this] { return rows_ ? rows_() : RowList(); },
        [this] { return quickFilterPredicate(window_.quickFilterField()->text()).predicate != nullptr; }, this);
    connect(assist_, &QuickFilterAssist::saveAsFilterRequested, this, &FilterListController::saveQuickFilter);
    buildButtons();
}

FilterListController::~FilterListController() = default;

FilterSheet* FilterListController::sheet() const { return sheet_; }
QMessageBox* FilterListController::currentPrompt() const { return prompt_; }

// The + / - control sits under the list.
void FilterListController::buildButtons() {
    SelectableTableView* list = window_.filterListTable();
    auto* splitter = qobject_cast<QSplitter*>(list->parentWidget());
    if (splitter == nullptr) return;
    const int index = splitter->indexOf(list);
    auto* pane = new QWidget;
    auto* add = new QToolButton(pane);
    add->setText(u"+"_s);
    add->setToolTip(u"New Filter"_s);
    auto* remove = new QToolButton(pane);
    remove->setText(u"\u2212"_s);
    remove->setToolTip(u"Delete Filter"_s);
    connect(add, &QToolButton::clicked, this, &FilterListController::addFilter);
    connect(remove, &QToolButton::clicked, this, &FilterListController::removeFilter);
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(2, 2, 2, 2);
    buttons->setSpacing(0);
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch(1);
    splitter->replaceWidget(index, pane);
    auto* layout = new QVBoxLayout(pane);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(list, 1);
    layout->addLayout(buttons);
}

void FilterListController::loadFilters() {
    library_.load();
    reloadFilterList();
}

// A reload resets the list's model; the chosen filters are chosen again by
// name, or the next quick-filter keystroke would drop them from the filter
// in force.
void FilterListController::reloadFilterList() {
    const bool allMessages = selectedRow() == 0;
    const QStringList chosen = selectedFilterNames();
    updatingSelection_ = true;
    model_->setStringList(QStringList{u"All Messages"_s} + library_.sortedFilterKeys());
    if (allMessages) window_.filterListTable()->selectRowAlone(0);
    selectNames(chosen);
    updatingSelection_ = false;
}

void FilterListController::selectNames(const QStringList& names) {
    QItemSelectionModel* selection = window_.filterListTable()->selectionModel();
    bool first = true;
    for (const QString& name : names) {
        const qsizetype at = library_.sortedFilterKeys().indexOf(name);
        if (at < 0) continue;
        const QModelIndex index = model_->index(int(at) + 1, 0);
        if (first) selection->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
        selection->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
        first = false;
    }
}

QList<int> FilterListController::selectedFilterRows() const {
    QList<int> rows;
    for (const QModelIndex& index : window_.filterListTable()->selectionModel()->selectedRows())
        if (index.row() >= 1 && index.row() <= library_.sortedFilterKeys().size()) rows << index.row();
    std::sort(rows.begin(), rows.end());
    return rows;
}

int FilterListController::selectedRow() const {
    const QModelIndexList rows = window_.filterListTable()->selectionModel()->selectedRows();
    int first = -1;
    for (const QModelIndex& index : rows)
        if (first < 0 || index.row() < first) first = index.row();
    return first;
}

QStringList FilterListController::selectedFilterNames() const {
    QStringList names;
    for (int row : selectedFilterRows()) names << library_.sortedFilterKeys().at(row - 1);
    return names;
}

void FilterListController::onSelectionChanged(const QItemSelection& selected) {
    if (updatingSelection_) return;
    SelectableTableView* list = window_.filterListTable();
    bool allMessages = false;
    bool filterRow = false;
    for (const QModelIndex& index : selected.indexes()) (index.row() == 0 ? allMessages : filterRow) = true;
    updatingSelection_ = true;
    if (allMessages) {
        if (filter_ != nullptr) filter_->set(nullptr);
        VF_LOG("Clear Filter");
        list->selectRowAlone(0);
    } else if (filterRow) {
        // "All Messages" means no filter: it cannot stay chosen beside one.
        list->selectionModel()->select(model_->index(0, 0), QItemSelectionModel::Deselect | QItemSelectionModel::Rows);
    }
    updatingSelection_ = false;
    if (filterRow) Q_EMIT filterChosen();
    applySelectedFilters();
}

void FilterListController::applySelectedFilters() {
    std::vector<PredicatePtr> parts;
    for (const QString& name : selectedFilterNames()) parts.push_back(library_.predicate(name));
    // The level selector is one more term, as "level:W" in the quick filter would be.
    const QComboBox* levels = window_.levelSelector();
    const bool byLevel = levels->currentIndex() > 0;
    if (byLevel) parts.push_back(compileQuery(QString(u"level:"_s + levels->currentData().toString())).predicate);
    const QString quickText = window_.quickFilterField()->text();
    const ParseResult quick = quickFilterPredicate(quickText);
    // The store keeps the saved filters; the quick text is named as not understood.
    const QString description =
        quick.error ? u"quick filter not understood (%1 at %2)"_s.arg(quick.error->message).arg(quick.error->position)
                    : filterInWords(selectedFilterNames(), quickText, byLevel ? levels->currentText() : QString());
    if (filter_ != nullptr) filter_->set(combineFilters(parts, quick.predicate), description);
    assist_->showError(quick.error);
    Q_EMIT filterChanging();
}

void FilterListController::saveQuickFilter() {
    const ParseResult quick = quickFilterPredicate(window_.quickFilterField()->text());
    if (quick.predicate) openSheet(library_.newUnusedPredicateName(), quick.predicate->format());
}

void FilterListController::showAllMessages() {
    {
        const QSignalBlocker quiet(window_.quickFilterField());
        const QSignalBlocker quietLevels(window_.levelSelector());
        window_.quickFilterField()->clear();
        window_.levelSelector()->setCurrentIndex(0);
    }
    if (filter_ != nullptr) filter_->set(nullptr);
    window_.filterListTable()->selectRowAlone(0);
}

FilterListController::Choice FilterListController::choice() const {
    return {selectedFilterNames(), selectedRow() == 0, window_.quickFilterField()->text(),
            window_.levelSelector()->currentIndex()};
}

void FilterListController::showFor(FilterInForce& filter, const Choice& choice) {
    filter_ = &filter;
    const QSignalBlocker quiet(window_.quickFilterField());
    const QSignalBlocker quietLevels(window_.levelSelector());
    window_.quickFilterField()->setText(choice.quickText);
    window_.levelSelector()->setCurrentIndex(choice.level);
    updatingSelection_ = true;
    window_.filterListTable()->clearSelection();
    if (choice.allMessages) window_.filterListTable()->selectRowAlone(0);
    selectNames(choice.names);
    updatingSelection_ = false;
    assist_->showError(quickFilterPredicate(choice.quickText).error);
}

void FilterListController::clearChoice() { window_.filterListTable()->clearSelection(); }

void FilterListController::addFilter() {
    showPredicateEditor();
    sheet_->filterName()->setText(library_.newUnusedPredicateName());
}

void FilterListController::removeFilter() {
    const QStringList names = selectedFilterNames();
    if (names.isEmpty()) return;
    const QString text = names.size() == 1 ? u"Delete filter: \"%1\"?"_s.arg(names.first())
                                           : u"Delete %1 selected filters?"_s.arg(names.size());
    auto* box = new QMessageBox(QMessageBox::Question, u"Delete Filter?"_s, u"Delete Filter?"_s, QMessageBox::NoButton,
                                &window_);
    box->setInformativeText(text);
    fitTitle(box);
    QPushButton* yes = box->addButton(u"Yes"_s, QMessageBox::YesRole);
    box->addButton(u"No"_s, QMessageBox::NoRole);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    connect(box, &QMessageBox::finished, this, [this, box, yes, names] {
        if (box->clickedButton() != static_cast<QAbstractButton*>(yes)) return;
        library_.removeFilters(names);
        reloadFilterList();
        window_.filterListTable()->selectRowAlone(0);
    });
    prompt_ = box;
    box->open();
}

void FilterListController::editFilter() {
    const int row = selectedRow();
    if (row < 1) {
        VF_LOG("no filter selected! {}", row);
        return;
    }
    const QString name = library_.sortedFilterKeys().at(row - 1);
    openSheet(name, library_.predicate(name)->format());
}

// The first saved filter (row 1) cannot be copied this way; kept as it was.
void FilterListController::newFilterFromSelected() {
    const int row = selectedRow();
    const QString name = row >= 1 ? library_.sortedFilterKeys().value(row - 1) : QString();
    const PredicatePtr predicate = library_.predicate(name);
    VF_LOG("{}, {}, predicate:{}", row, library_.sortedFilterKeys().size(), predicate ? predicate->format() : QString());
    if (row < 2 || !predicate) return;
    openSheet(library_.newUnusedPredicateName(name), predicate->format());
}

void FilterListController::exportSelectedFilters() {
    const QStringList names = selectedFilterNames();
    if (names.isEmpty()) return;
    const QString path = QFileDialog::getSaveFileName(&window_, u"Export Filters"_s, u"filters.filters"_s,
                                                      u"Filters (*.filters)"_s);
    if (path.isEmpty()) return;
    const QString target = path.endsWith(u".filters"_s) ? path : path + u".filters"_s;
    if (!library_.exportFilters(target, names))
        QMessageBox::warning(&window_, u"Alert"_s, u"Could not write %1"_s.arg(target));
}

void FilterListController::importFilters() {
    const QString path =
        QFileDialog::getOpenFileName(&window_, u"Import Filters"_s, QString(), u"Filters (*.filters)"_s);
    if (path.isEmpty()) return;
    Q_EMIT importStarting();
    importFilters(path);
}

void FilterListController::importFilters(const QString& path) {
    const FilterImport result = library_.importFilters(path);
    reloadFilterList();
    if (!result.rejected.isEmpty())
        QMessageBox::warning(&window_, u"Alert"_s,
                             u"Some filters could not be read:\n%1"_s.arg(result.rejected.join(u'\n')));
}

void FilterListController::filterBySelected(const QString& key, const QString& title, const QString& value) {
    VF_LOG("col:{}, value:{}", key, value);
    const ParseResult made = Predicate::fromTemplate(u"%K ==[cd] %@", {key, value});
    if (!made.predicate) return;
    // A cell may hold tabs or line breaks; the suggested name must not.
    QString name = u"%1_%2"_s.arg(title, value);
    for (QChar& c : name)
        if (!filterNameProblem(QStringView(&c, 1)).isEmpty()) c = u' ';
    openSheet(name, made.predicate->format());
    sheet_->selectItemWithTitie(key);
}

void FilterListController::applyQuickFilter(const QString& title, const QString& value) {
    const bool type = title.compare(u"type"_s, Qt::CaseInsensitive) == 0;
    window_.quickFilterField()->setText(type ? u"p: type ==[cd] '%1'"_s.arg(value) : value);
    applySelectedFilters();
}

void FilterListController::updateFilterWithSelected(bool include, const QString& key, const QString& value) {
    const int row = selectedRow();
    if (row < 2) return;
    const QString name = library_.sortedFilterKeys().at(row - 1);
    const ParseResult part = Predicate::fromTemplate(include ? u"%K ==[cd] %@" : u"%K !=[cd] %@", {key, value});
    if (!part.predicate) return;
    const PredicatePtr updated = Predicate::makeAnd({library_.predicate(name), part.predicate});
    VF_LOG("col:{}, value:{}, include:{}, predicate:{}", key, value, int(include), updated->format());
    library_.setFilter(name, updated);
    reloadFilterList();
    if (filter_ != nullptr) filter_->set(updated);
    Q_EMIT filterChanging();
}

void FilterListController::openSheet(const QString& name, const QString& text) {
    showPredicateEditor();
    sheet_->setCriteria(text);
    sheet_->filterName()->setText(name);
}

void FilterListController::showPredicateEditor() {
    if (sheet_ == nullptr) {
        sheet_ = new FilterSheet(&window_);
        connect(sheet_, &FilterSheet::applyRequested, this, &FilterListController::applyPredicate);
        connect(sheet_, &FilterSheet::saveRequested, this, &FilterListController::closePredicateSheet);
        connect(sheet_, &FilterSheet::cancelRequested, this, &FilterListController::cancelPredicateEditing);
    }
    const bool firstUse = !sheetUsed_;
    if (firstUse) sheet_->setCriteria(QString::fromUtf16(kSamplePredicate));
    sheetUsed_ = true;
    if (sheet_->filterName()->text().isEmpty()) sheet_->filterName()->setText(library_.newUnusedPredicateName());
    VF_LOG("isFirstRun:{}, savePredicateName:{}", int(firstUse), sheet_->filterName()->text());
    sheet_->open();
    sheet_->raise();
    sheet_->filterCriteria()->setFocus();
}

void FilterListController::applyPredicate() {
    if (sheet_ == nullptr || !sheet_->predicate()) return;
    VF_LOG("applyPredicate: {}", sheet_->predicate()->format());
    if (filter_ != nullptr) filter_->set(sheet_->predicate());
}

void FilterListController::closePredicateSheet() {
    if (sheet_ == nullptr || !sheet_->predicate()) return;
    VF_LOG("closePredicateSheet");
    applyPredicate();
    const PredicatePtr predicate = sheet_->predicate();
    QString name = sheet_->filterName()->text().trimmed();
    if (name.isEmpty()) name = library_.newUnusedPredicateName();
    if (!filterNameProblem(name).isEmpty()) return;  // the sheet says why
    if (!library_.contains(name)) {
        saveFromSheet(name, predicate);
        return;
    }
    auto* box = new QMessageBox(QMessageBox::Warning, u"Filter already exists"_s, u"Filter already exists"_s,
                                QMessageBox::NoButton, sheet_);
    box->setInformativeText(u"Are you sure you want to overwrite the filter with the name \"%1\""_s.arg(name));
    QPushButton* overwrite = box->addButton(u"Overwrite"_s, QMessageBox::AcceptRole);
    box->addButton(u"Cancel"_s, QMessageBox::RejectRole);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    connect(box, &QMessageBox::finished, this, [this, box, overwrite, name, predicate] {
        if (box->clickedButton() == static_cast<QAbstractButton*>(overwrite)) saveFromSheet(name, predicate);
    });
    prompt_ = box;
    box->open();
}

void FilterListController::saveFromSheet(const QString& name, const PredicatePtr& predicate) {
    library_.setFilter(name, predicate);
    updatingSelection_ = true;
    model_->setStringList(QStringList{u"All Messages"_s} + library_.sortedFilterKeys());
    updatingSelection_ = false;
    window_.filterListTable()->selectRowAlone(int(library_.sortedFilterKeys().indexOf(name)) + 1);
    sheet_->filterName()->clear();
    sheet_->done(1);
}

void FilterListController::cancelPredicateEditing() {
    VF_LOG("cancelPredicateEditing");
    applySelectedFilters();
    if (sheet_ != nullptr) sheet_->done(0);
}

QMenu* FilterListController::menuForTableView(SelectableTableView* view, int, int) {
    auto* menu = new QMenu(view);
    menu->addAction(u"Edit Filter..."_s, this, &FilterListController::editFilter);
    menu->addAction(u"New Filter From Selected..."_s, this, &FilterListController::newFilterFromSelected);
    menu->addAction(u"Export Selected..."_s, this, &FilterListController::exportSelectedFilters);
    return menu;
}

void FilterListController::onDoubleClick(SelectableTableView*, int row) {
    if (row >= 1) editFilter();
}

}  // namespace vf::ui
