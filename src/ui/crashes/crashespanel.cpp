#include "ui/crashes/crashespanel.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTabWidget>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>

#include "core/log/logdatasource.h"
#include "core/log/logexport.h"
#include "core/support/logger.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

constexpr int kCrashIdRole = Qt::UserRole + 1;

QString qs(const std::string& s) { return QString::fromUtf8(s.data(), qsizetype(s.size())); }

QString itemText(const CrashRecord& crash) {
    const QString app = crash.app.empty() ? u"pid %1"_s.arg(qs(crash.pid)) : u"%1 (%2)"_s.arg(qs(crash.app), qs(crash.pid));
    return u"%1  %2  %3\n%4"_s.arg(qs(crash.time), QString::fromLatin1(crashKindName(crash.kind)), app, qs(crash.title));
}

QIcon kindIcon(const QStyle* style, CrashKind kind) {
    return style->standardIcon(kind == CrashKind::Anr ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxCritical);
}

}  // namespace

CrashesPanel::CrashesPanel(MainWindow& window, const LogDatasource& store, CrashesHost& host)
    : store_(store), host_(host) {
    setObjectName(u"crashesPanel"_s);

    list_ = new QListWidget(this);
    list_->setObjectName(u"crashList"_s);
    // Titles wrap rather than scroll sideways: the panel is narrow.
    list_->setWordWrap(true);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list_->setResizeMode(QListView::Adjust);
    list_->setAlternatingRowColors(true);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    copyButton_ = new QPushButton(u"Copy Crash"_s, this);
    copyButton_->setEnabled(false);
    hint_ = new QLabel(u"No crashes"_s, this);
    hint_->setEnabled(false);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(hint_, 1);
    buttons->addWidget(copyButton_);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(list_, 1);
    layout->addLayout(buttons);

    // The filter list and the crashes share the left side as two tabs; the
    // first panel makes them, each source's panel is a page of "Crashes".
    QSplitter* splitter = window.splitter();
    tabs_ = splitter->findChild<QTabWidget*>(u"sideTabs"_s, Qt::FindDirectChildrenOnly);
    if (tabs_ == nullptr) {
        const QList<int> sizes = splitter->sizes();
        tabs_ = new QTabWidget(splitter);
        tabs_->setObjectName(u"sideTabs"_s);
        tabs_->setDocumentMode(true);
        splitter->insertWidget(0, tabs_);
        // The filter list may sit in a pane of its own (with its + / - buttons).
        QWidget* filterSide = window.filterListTable();
        if (filterSide->parentWidget() != splitter) filterSide = filterSide->parentWidget();
        tabs_->addTab(filterSide, u"Filters"_s);
        auto* stack = new QStackedWidget(tabs_);
        stack->setObjectName(u"crashStack"_s);
        tabs_->addTab(stack, u"Crashes"_s);
        splitter->setStretchFactor(0, 0);
        splitter->setSizes(sizes);
    }
    stack_ = tabs_->findChild<QStackedWidget*>(u"crashStack"_s);
    stack_->addWidget(this);
    stack_->setCurrentWidget(this);

    countAction_ = new QAction(QString(), &window);
    countAction_->setObjectName(u"crashCountAction"_s);
    countAction_->setToolTip(u"Crashes and ANRs found in the log"_s);
    QToolBar* toolBar = window.toolBar();
    const QList<QAction*> actions = toolBar->actions();
    const qsizetype follow = actions.indexOf(window.followAction);
    toolBar->insertAction(follow >= 0 && follow + 1 < actions.size() ? actions.at(follow + 1) : nullptr, countAction_);
    updateCount();

    connect(countAction_, &QAction::triggered, this, [this] { tabs_->setCurrentWidget(stack_); });
    const auto showIfCurrent = [this, &window, table = window.logTable()] {
        const bool current = window.logTable() == table;
        countAction_->setVisible(current);
        if (!current) return;
        stack_->setCurrentWidget(this);
        updateCount();
        onTabChanged();
    };
    connect(&window, &MainWindow::currentSourceChanged, this, showIfCurrent);
    connect(tabs_, &QTabWidget::currentChanged, this, &CrashesPanel::onTabChanged);
    connect(list_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) { chooseCrash(list_->row(item)); });
    connect(list_, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) { chooseCrash(list_->row(item)); });
    connect(copyButton_, &QPushButton::clicked, this, &CrashesPanel::copyCrash);
}

// The side keeps the width the user gave it (the titles wrap): the log
// table beside it keeps its room.
bool CrashesPanel::isLookedAt() const { return tabs_->currentWidget() == stack_ && stack_->currentWidget() == this; }

void CrashesPanel::onTabChanged() {
    if (isLookedAt()) setMarked(false);
}

void CrashesPanel::onLogUpdated(bool following) {
    feedNewRows(following);
    if (detector_.revision() != shownRevision_) refreshList();
    const bool chosenInForce = chosenFilter_ && host_.filterInForce() == chosenFilter_;
    // The shown crash is still being written (live): show its new rows too.
    const CrashRecord* chosen = chosenInForce ? chosenCrash() : nullptr;
    if (chosen != nullptr && chosen->rows.size() != chosenRows_) showRows(*chosen);
    if (!pendingSelect_) return;
    if (!chosenInForce) {
        pendingSelect_.reset();  // the user chose another filter
        return;
    }
    // A long pass may show its rows in parts: wait for the part with the row.
    if (host_.filterShown() && host_.selectRowAtTop(pendingSelect_->first, pendingSelect_->second))
        pendingSelect_.reset();
}

// The store's rows not fed yet: live updates append the newest rows at the
// end; a replaced list (cleared, a file loaded) is a new log.
void CrashesPanel::feedNewRows(bool following) {
    const MarkedRows all = store_.allRows();
    const StoreChange change = changeBetween(fed_, all.mark);
    fed_ = all.mark;
    if (change.reset) clear();
    const qsizetype count = change.reset ? all.rows.size() : qMin(change.appended, all.rows.size());
    if (count == 0) return;
    const uint64_t before = detector_.detectedCount();
    for (qsizetype i = all.rows.size() - count; i < all.rows.size(); ++i) detector_.feed(*all.rows.at(i));
    if (detector_.detectedCount() != before && following && !isLookedAt()) setMarked(true);
    updateCount();
}

void CrashesPanel::clear() {
    detector_.clear();
    chosenId_ = 0;
    pendingSelect_.reset();
    seenDetected_ = detector_.detectedCount();
    setMarked(false);
    refreshList();
}

void CrashesPanel::refreshList() {
    shownRevision_ = detector_.revision();
    const std::deque<CrashRecord>& crashes = detector_.crashes();
    list_->setUpdatesEnabled(false);
    // Items are reused in place: rebuilding them would lose the scroll position.
    while (list_->count() > qsizetype(crashes.size())) delete list_->takeItem(list_->count() - 1);
    while (list_->count() < qsizetype(crashes.size())) list_->addItem(new QListWidgetItem);
    int chosenRow = -1;
    for (size_t i = 0; i < crashes.size(); ++i) {
        const CrashRecord& crash = crashes[crashes.size() - 1 - i];
        QListWidgetItem* item = list_->item(int(i));
        const QString text = itemText(crash);
        if (item->text() != text) {
            item->setText(text);
            item->setIcon(kindIcon(style(), crash.kind));
            item->setToolTip(text + u"\n%1 rows"_s.arg(crash.rows.size() + crash.droppedRows));
        }
        item->setData(kCrashIdRole, QVariant::fromValue<qulonglong>(crash.id));
        if (crash.id == chosenId_) chosenRow = int(i);
    }
    QSignalBlocker block(list_);
    if (chosenRow >= 0) list_->setCurrentRow(chosenRow);
    else list_->clearSelection();
    list_->setUpdatesEnabled(true);
    copyButton_->setEnabled(chosenRow >= 0);
    updateCount();
}

void CrashesPanel::updateCount() {
    const qsizetype n = qsizetype(detector_.crashes().size());
    countAction_->setText(marked_ ? u"Crashes: %1 new"_s.arg(n) : u"Crashes: %1"_s.arg(n));
    // No crash is no warning.
    countAction_->setIcon(n == 0 ? QIcon() : style()->standardIcon(QStyle::SP_MessageBoxWarning));
    // The detector keeps the newest crashes only; the panel says when it dropped some.
    const uint64_t dropped = detector_.droppedCount();
    const QString shown = dropped > 0 ? u"The newest %1 crashes; %2 older dropped"_s.arg(n).arg(dropped)
                          : n == 0    ? u"No crashes"_s
                          : n == 1    ? u"1 crash"_s
                                      : u"%1 crashes"_s.arg(n);
    hint_->setText(shown);
    countAction_->setToolTip(dropped > 0 ? u"Crashes and ANRs found in the log (the newest %1 kept; %2 older dropped)"_s
                                               .arg(n)
                                               .arg(dropped)
                                         : u"Crashes and ANRs found in the log"_s);
    if (stack_->currentWidget() == this) tabs_->setTabText(tabs_->indexOf(stack_), n == 0 ? u"Crashes"_s : u"Crashes (%1)"_s.arg(n));
}

QString CrashesPanel::summaryText() const { return hint_->text(); }

void CrashesPanel::setMarked(bool marked) {
    if (!marked) seenDetected_ = detector_.detectedCount();
    if (marked_ == marked) return;
    marked_ = marked;
    QFont font = countAction_->font();
    font.setBold(marked);
    countAction_->setFont(font);
    updateCount();
}

const CrashRecord* CrashesPanel::chosenCrash() const {
    for (const CrashRecord& crash : detector_.crashes())
        if (crash.id == chosenId_) return &crash;
    return nullptr;
}

void CrashesPanel::chooseCrash(int row) {
    QListWidgetItem* item = list_->item(row);
    if (item == nullptr) return;
    chosenId_ = item->data(kCrashIdRole).toULongLong();
    const CrashRecord* crash = chosenCrash();
    if (crash == nullptr || crash->rows.empty()) return;
    setMarked(false);
    VF_LOG("Show crash {} ({} rows)", chosenId_, crash->rows.size());
    showRows(*crash);
    pendingSelect_.emplace(crash->firstIdx(), crash->source);
    list_->setCurrentRow(row);
    copyButton_->setEnabled(true);
}

void CrashesPanel::showRows(const CrashRecord& crash) {
    chosenFilter_ = rowsPredicate(crash.rows, host_.mixesSources() ? crash.source : std::string());
    chosenRows_ = crash.rows.size();
    // The filter list's choice no longer applies; choosing "All Messages" brings everything back.
    host_.showOnly(chosenFilter_,
                   u"the %1 rows of the crash \u201C%2\u201D"_s.arg(crash.rows.size()).arg(qs(crash.title)));
}

QString CrashesPanel::crashText() const {
    const CrashRecord* crash = chosenCrash();
    if (crash == nullptr) return {};
    std::string text;
    const RowList all = store_.getDataAll();
    const bool mixed = host_.mixesSources();
    for (const RowPtr& row : all)
        if ((!mixed || row->view(RowKey::Source) == crash->source) &&
            std::binary_search(crash->rows.begin(), crash->rows.end(), row->idx()))
            text += savedTextLine(*row);
    return qs(text);
}

void CrashesPanel::copyCrash() {
    const QString text = crashText();
    if (!text.isEmpty()) QApplication::clipboard()->setText(text);
}

}  // namespace vf::ui
