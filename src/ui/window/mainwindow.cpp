#include "ui/window/mainwindow.h"

#include <QAction>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenuBar>
#include <QMimeData>
#include <QSplitter>
#include <QTabWidget>
#include <QToolBar>
#include <QUrl>
#include <utility>

#include "ui/window/helpmenu.h"
#include "ui/window/icons.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/windowstate.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

QString firstLocalFile(const QMimeData* mime) {
    if (mime == nullptr || !mime->hasUrls()) return {};
    const QList<QUrl> urls = mime->urls();
    return (!urls.isEmpty() && urls.first().isLocalFile()) ? urls.first().toLocalFile() : QString();
}

}  // namespace

QList<QKeySequence> findNextKeys() { return {QKeySequence(Qt::CTRL | Qt::Key_G), QKeySequence(Qt::Key_F3)}; }

QList<QKeySequence> findPreviousKeys() {
    return {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_G), QKeySequence(Qt::SHIFT | Qt::Key_F3)};
}

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setWindowIcon(bundledIcon(u"vellumfox"_s));
    setAcceptDrops(true);
    createActions();
    createMenus();
    createToolBar();
    createCentralArea();
    resize(1200, 760);
    new WindowStateSaver(this, splitter_);
}

void MainWindow::createActions() {
    auto make = [this](const QString& text, const QIcon& icon, const QKeySequence& key) {
        auto* action = new QAction(icon, text, this);
        if (!key.isEmpty()) action->setShortcut(key);
        return action;
    };
    connectAction = make(u"Run"_s, bundledIcon(u"start"_s), QKeySequence(Qt::CTRL | Qt::Key_R));
    clearAction = make(u"Clear"_s, themedIcon(u"edit-clear-all"_s, u"clear"_s), QKeySequence(Qt::CTRL | Qt::Key_K));
    followAction = make(u"Follow"_s, themedIcon(u"go-bottom"_s, u"follow"_s), QKeySequence(Qt::CTRL | Qt::Key_J));
    followAction->setCheckable(true);
    followAction->setToolTip(u"Keep the newest message in view"_s);
    openAction = make(u"Open…"_s, themedIcon(u"document-open"_s, u"open"_s), QKeySequence::Open);
    saveAction = make(u"Save…"_s, themedIcon(u"document-save"_s, u"save"_s), QKeySequence::Save);
    saveTextAction = make(u"Save as Text…"_s, themedIcon(u"document-save-as"_s, u"save"_s), QKeySequence::SaveAs);
    newWindowAction = make(u"New Window"_s, themedIcon(u"window-new"_s, u"newwindow"_s), QKeySequence::New);
    copyAction = make(u"Copy"_s, themedIcon(u"edit-copy"_s, u"copy"_s), QKeySequence::Copy);
    findAction = make(u"Find"_s, themedIcon(u"edit-find"_s, u"search"_s), QKeySequence::Find);
    findNextAction = make(u"Find Next"_s, QIcon(), QKeySequence());
    findNextAction->setShortcuts(findNextKeys());
    findPreviousAction = make(u"Find Previous"_s, QIcon(), QKeySequence());
    findPreviousAction->setShortcuts(findPreviousKeys());
    biggerFontAction = make(u"Bigger Font"_s, themedIcon(u"zoom-in"_s, u"zoomin"_s), QKeySequence::ZoomIn);
    smallerFontAction = make(u"Smaller Font"_s, themedIcon(u"zoom-out"_s, u"zoomout"_s), QKeySequence::ZoomOut);
    preferencesAction = make(u"Preferences…"_s, themedIcon(u"preferences-system"_s, u"prefs"_s),
                             QKeySequence(Qt::CTRL | Qt::Key_Comma));
    remoteScreenAction = make(u"Remote Screen"_s, themedIcon(u"video-display"_s, u"newwindow"_s),
                              QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R));
    wrapAction = make(u"Wrap Long Messages"_s, QIcon(), QKeySequence());
    wrapAction->setCheckable(true);
    newTabAction = make(u"New Tab…"_s, themedIcon(u"tab-new"_s, u"newwindow"_s), QKeySequence(Qt::CTRL | Qt::Key_T));
    newTabAction->setToolTip(u"Log another device, or open a file, in a tab of its own"_s);
    mergedTabAction = make(u"New Merged Tab"_s, QIcon(), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_T));
    mergedTabAction->setToolTip(u"One timeline of the rows of every other tab"_s);
    closeTabAction = make(u"Close Tab"_s, themedIcon(u"tab-close"_s, u"stop"_s), QKeySequence(Qt::CTRL | Qt::Key_W));
    quitAction = make(u"Quit"_s, themedIcon(u"application-exit"_s, u"stop"_s), QKeySequence::Quit);
    quitAction->setMenuRole(QAction::QuitRole);
    // The message viewer and the remote screen are windows of their own: Quit works there too.
    quitAction->setShortcutContext(Qt::ApplicationShortcut);
    // Some platform themes bind none of these standard keys: the usual Linux
    // key comes first everywhere, the theme's own stays beside it.
    const auto alsoBind = [](QAction* action, const QKeySequence& key) {
        QList<QKeySequence> keys{key};
        for (const QKeySequence& own : action->shortcuts())
            if (!own.isEmpty() && !keys.contains(own)) keys << own;
        action->setShortcuts(keys);
    };
    alsoBind(openAction, QKeySequence(Qt::CTRL | Qt::Key_O));
    alsoBind(saveAction, QKeySequence(Qt::CTRL | Qt::Key_S));
    alsoBind(saveTextAction, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    alsoBind(newWindowAction, QKeySequence(Qt::CTRL | Qt::Key_N));
    alsoBind(copyAction, QKeySequence(Qt::CTRL | Qt::Key_C));
    alsoBind(findAction, QKeySequence(Qt::CTRL | Qt::Key_F));
    alsoBind(biggerFontAction, QKeySequence(Qt::CTRL | Qt::Key_Plus));
    alsoBind(smallerFontAction, QKeySequence(Qt::CTRL | Qt::Key_Minus));
    alsoBind(quitAction, QKeySequence(Qt::CTRL | Qt::Key_Q));
}

void MainWindow::createMenus() {
    QMenu* file = menuBar()->addMenu(u"&File"_s);
    file->addActions({newTabAction, mergedTabAction, openAction, saveAction, saveTextAction});
    file->addSeparator();
    file->addActions({newWindowAction, closeTabAction});
    file->addSeparator();
    file->addAction(quitAction);
    QMenu* edit = menuBar()->addMenu(u"&Edit"_s);
    edit->addAction(copyAction);
    edit->addSeparator();
    edit->addActions({findAction, findNextAction, findPreviousAction});
    edit->addSeparator();
    edit->addAction(clearAction);
    edit->addSeparator();
    edit->addAction(preferencesAction);
    QMenu* view = menuBar()->addMenu(u"&View"_s);
    view->addActions({biggerFontAction, smallerFontAction});
    view->addSeparator();
    view->addAction(followAction);
    view->addAction(wrapAction);
    view->addAction(remoteScreenAction);
    QMenu* device = menuBar()->addMenu(u"&Device"_s);
    device->setObjectName(u"deviceMenu"_s);
    device->addAction(connectAction);
    addHelpMenu(this);
}

void MainWindow::createToolBar() {
    toolBar_ = addToolBar(u"Log"_s);
    toolBar_->setObjectName(u"mainToolBar"_s);
    toolBar_->setMovable(false);
    toolBar_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolBar_->addAction(connectAction);
    toolBar_->addAction(clearAction);
    toolBar_->addAction(followAction);
    toolBar_->addAction(remoteScreenAction);
    auto* spacer = new QWidget(toolBar_);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolBar_->addWidget(spacer);

    levelSelector_ = new QComboBox(toolBar_);
    levelSelector_->setObjectName(u"levelSelector"_s);
    levelSelector_->setToolTip(u"The lowest level shown"_s);
    for (const auto& [name, letter] : {std::pair{u"Verbose"_s, u"V"_s}, {u"Debug"_s, u"D"_s}, {u"Info"_s, u"I"_s},
                                       {u"Warn"_s, u"W"_s}, {u"Error"_s, u"E"_s}, {u"Assert"_s, u"A"_s}})
        levelSelector_->addItem(name, letter);
    toolBar_->addWidget(levelSelector_);
    quickFilter_ = new QLineEdit(toolBar_);
    quickFilter_->setPlaceholderText(u"Quick filter or query: tag:Net level:W"_s);
    quickFilter_->setClearButtonEnabled(true);
    quickFilter_->addAction(themedIcon(u"view-filter"_s, u"filter"_s), QLineEdit::LeadingPosition);
    quickFilter_->setMinimumWidth(240);
    toolBar_->addWidget(quickFilter_);
    toolBar_->addSeparator();
    searchField_ = new QLineEdit(toolBar_);
    searchField_->setPlaceholderText(u"Search"_s);
    searchField_->setClearButtonEnabled(true);
    searchField_->addAction(themedIcon(u"edit-find"_s, u"search"_s), QLineEdit::LeadingPosition);
    searchField_->setMinimumWidth(180);
    toolBar_->addWidget(searchField_);
}

void MainWindow::createCentralArea() {
    filterList_ = new SelectableTableView(this);
    filterList_->setObjectName(u"filterListTable"_s);
    filterList_->setSelectionBehavior(QAbstractItemView::SelectRows);
    filterList_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    filterList_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    filterList_->horizontalHeader()->setStretchLastSection(true);
    filterList_->horizontalHeader()->hide();
    filterList_->verticalHeader()->hide();
    filterList_->setShowGrid(false);

    // One log table per source, each a tab; the first is there from the start.
    sourceTabs_ = new QTabWidget(this);
    sourceTabs_->setObjectName(u"sourceTabs"_s);
    sourceTabs_->setDocumentMode(true);
    sourceTabs_->setTabsClosable(true);
    sourceTabs_->setMovable(true);
    sourceTabs_->setElideMode(Qt::ElideMiddle);
    addLogTable(u"Vellumfox"_s);
    connect(sourceTabs_, &QTabWidget::currentChanged, this, &MainWindow::currentSourceChanged);
    connect(sourceTabs_, &QTabWidget::tabCloseRequested, this, [this](int index) {
        if (auto* table = qobject_cast<SelectableTableView*>(sourceTabs_->widget(index))) Q_EMIT closeRequested(table);
    });
    connect(closeTabAction, &QAction::triggered, this, [this] {
        if (SelectableTableView* table = logTable()) Q_EMIT closeRequested(table);
    });

    splitter_ = new QSplitter(Qt::Horizontal, this);
    splitter_->addWidget(filterList_);
    splitter_->addWidget(sourceTabs_);
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    splitter_->setSizes({190, 1010});
    splitter_->setChildrenCollapsible(false);
    setCentralWidget(splitter_);
}

SelectableTableView* MainWindow::logTable() const {
    return qobject_cast<SelectableTableView*>(sourceTabs_->currentWidget());
}

SelectableTableView* MainWindow::addLogTable(const QString& text) {
    auto* table = new SelectableTableView(sourceTabs_);
    table->setObjectName(u"logDataTable"_s);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setShowGrid(false);
    table->setWordWrap(false);
    table->setAlternatingRowColors(true);
    table->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->horizontalHeader()->setSectionsMovable(true);
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setHighlightSections(false);
    // Quiet while it is added: its tab's parts are bound to the current
    // table, so the caller makes it current once they are built.
    const QSignalBlocker quiet(sourceTabs_);
    sourceTabs_->addTab(table, text);
    return table;
}

void MainWindow::showSource(const SelectableTableView* table) {
    const int index = sourceTabs_->indexOf(table);
    if (index >= 0) sourceTabs_->setCurrentIndex(index);
}

void MainWindow::setSourceText(const SelectableTableView* table, const QString& text, const QString& toolTip) {
    const int index = sourceTabs_->indexOf(table);
    if (index < 0) return;
    sourceTabs_->setTabText(index, text);
    sourceTabs_->setTabToolTip(index, toolTip.isEmpty() ? text : toolTip);
}

QList<SelectableTableView*> MainWindow::logTables() const {
    QList<SelectableTableView*> tables;
    for (int i = 0; i < sourceTabs_->count(); ++i)
        if (auto* table = qobject_cast<SelectableTableView*>(sourceTabs_->widget(i))) tables << table;
    return tables;
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (!firstLocalFile(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    const QString path = firstLocalFile(event->mimeData());
    if (path.isEmpty()) return;
    event->acceptProposedAction();
    Q_EMIT fileDropped(path);
}

}  // namespace vf::ui
