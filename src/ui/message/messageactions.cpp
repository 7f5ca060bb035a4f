#include "ui/message/messageactions.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QHeaderView>
#include <QInputDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QStandardPaths>

#include "core/log/logdatasource.h"
#include "core/log/logexport.h"
#include "core/session/sessionpreferences.h"
#include "core/support/logger.h"
#include "core/support/preferences.h"
#include "core/support/utils.h"
#include "core/text/links.h"
#include "ui/connection/typingterminal.h"
#include "ui/filters/filterlistcontroller.h"
#include "ui/message/textviewerwindow.h"
#include "ui/table/levelstyles.h"
#include "ui/table/logtablemodel.h"
#include "ui/table/searchcontroller.h"
#include "ui/window/mainwindow.h"
#include "ui/window/placement.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

// The menu of the menu bar that holds `action`.
QMenu* menuHolding(QAction* action) {
    for (QObject* object : action->associatedObjects())
        if (auto* menu = qobject_cast<QMenu*>(object)) return menu;
    return nullptr;
}

// Where `column` is among the columns shown, the user's order: 0 is the
// leftmost; -1 for none.
int placeOnScreen(const QHeaderView& header, int column) {
    if (column < 0 || column >= header.count() || header.isSectionHidden(column)) return -1;
    int place = 0;
    for (int visual = 0; visual < header.visualIndex(column); ++visual)
        if (!header.isSectionHidden(header.logicalIndex(visual))) ++place;
    return place;
}

QString columnTitle(const LogTableModel& model, int column) {
    return model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
}

}  // namespace

QString messageDetails(const RowList& rows) {
    if (rows.isEmpty()) return {};
    const auto str = [](std::string_view v) { return QString::fromUtf8(v.data(), qsizetype(v.size())); };
    if (rows.size() > 1)
        return u"%1 messages, %2 to %3"_s.arg(rows.size()).arg(str(rows.first()->time()), str(rows.last()->time()));
    const Row& row = *rows.first();
    QStringList parts{str(row.time())};
    if (!row.app().empty()) parts << str(row.app());
    parts << u"pid %1"_s.arg(str(row.pid())) << u"tid %1"_s.arg(str(row.tid())) << levelName(row.type())
          << str(row.name()).trimmed();
    return parts.join(u"  \u00B7  "_s);
}

MessageActions::MessageActions(MainWindow& window, LogTableModel& model, LogDatasource& store,
                               FilterListController& filters, SearchController& search, QObject* parent)
    : QObject(parent), window_(window), table_(*window.logTable()), model_(model), store_(store), filters_(filters),
      search_(search) {
    addMenuBarItems();
    table_.setMenuDelegate(this);
}

MessageActions::~MessageActions() { delete textViewer_; }

void MessageActions::addMenuBarItems() {
    auto* copyMessage = new QAction(u"Copy Message"_s, &window_);
    copyMessage->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
    copyMessage->setToolTip(u"Copy Message to clipboard"_s);
    connect(copyMessage, &QAction::triggered, this, &MessageActions::copyMessageOnly);
    auto* viewMessage = new QAction(u"View Message"_s, &window_);
    viewMessage->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V));
    viewMessage->setToolTip(u"View Message contents in message viewer"_s);
    connect(viewMessage, &QAction::triggered, this, &MessageActions::onViewText);
    auto* import = new QAction(u"Import Filters…"_s, &window_);
    connect(import, &QAction::triggered, &filters_, qOverload<>(&FilterListController::importFilters));
    auto* terminal = new QAction(u"Open Typing Terminal"_s, &window_);
    connect(terminal, &QAction::triggered, this, &MessageActions::openTypingTerminal);

    if (QMenu* edit = menuHolding(window_.copyAction)) {
        const QList<QAction*> actions = edit->actions();
        const qsizetype at = actions.indexOf(window_.copyAction);
        edit->insertActions(at + 1 < actions.size() ? actions.at(at + 1) : nullptr, {copyMessage, viewMessage});
    } else {
        window_.addActions({copyMessage, viewMessage});
    }
    if (QMenu* file = menuHolding(window_.openAction)) {
        const QList<QAction*> actions = file->actions();
        const qsizetype at = actions.indexOf(window_.openAction);
        file->insertAction(at + 1 < actions.size() ? actions.at(at + 1) : nullptr, import);
    }
    if (QMenu* deviceMenu = menuHolding(window_.connectAction)) deviceMenu->addAction(terminal);
    // Every tab adds its own; only the current tab's are there to choose.
    const auto showIfCurrent = [this, items = QList<QAction*>{copyMessage, viewMessage, import, terminal}] {
        for (QAction* item : items) item->setVisible(window_.logTable() == &table_);
    };
    showIfCurrent();
    connect(&window_, &MainWindow::currentSourceChanged, this, showIfCurrent);
}

RowList MessageActions::selectedRows() const {
    QModelIndexList indexes = table_.selectionModel()->selectedRows();
    std::sort(indexes.begin(), indexes.end());
    RowList rows;
    for (const QModelIndex& index : std::as_const(indexes))
        if (index.row() < model_.rows().size()) rows.append(model_.rows().at(index.row()));
    return rows;
}

QString MessageActions::cellValue(int column, int row) const {
    const Row* shown = model_.rowAt(ViewPos(row));
    if (shown == nullptr || column < 0 || column >= model_.columnCount()) return {};
    return shown->string(LogTableModel::keyForColumn(column));
}

RowMenuContext MessageActions::menuContext(int column, int row) const {
    RowMenuContext c;
    c.selectedRows = int(table_.selectionModel()->selectedRows().size());
    c.column = placeOnScreen(*table_.horizontalHeader(), column);
    if (column >= 0 && column < model_.columnCount()) {
        c.columnKey = QString::fromLatin1(rowKeyName(LogTableModel::keyForColumn(column)));
        c.columnTitle = columnTitle(model_, column);
    }
    c.cellValue = cellValue(column, row);
    c.filterListRow = filters_.selectedRow();
    if (c.filterListRow >= 1) c.filterName = filters_.sortedFilterKeys().value(c.filterListRow - 1);
    c.cellHasLink = !findLinks(c.cellValue).isEmpty();
    if (const Row* shown = model_.rowAt(ViewPos(row)); shown != nullptr) c.rowApp = shown->string(RowKey::App);
    return c;
}

QMenu* MessageActions::menuForTableView(SelectableTableView*, int column, int row) { return menuForRow(column, row); }

bool MessageActions::onKeyEventForTableView(SelectableTableView*, QKeyEvent* event) {
    if (event->modifiers() & Qt::ControlModifier) {
        if (event->key() != Qt::Key_Backspace && event->key() != Qt::Key_Delete) return false;
        window_.clearAction->trigger();
        return true;
    }
    return search_.onTableKey(event);
}

void MessageActions::onDoubleClick(SelectableTableView*, int) { onViewText(); }

QMenu* MessageActions::menuForRow(int column, int row) {
    column_ = column;
    row_ = row;
    auto* menu = new QMenu(&table_);
    menu->setToolTipsVisible(true);
    addItems(menu, rowMenuItems(menuContext(column, row)));
    return menu;
}

void MessageActions::addItems(QMenu* menu, const QList<RowMenuItem>& items) {
    for (const RowMenuItem& item : items) {
        if (item.action == RowMenuAction::Separator) {
            menu->addSeparator();
            continue;
        }
        if (item.action == RowMenuAction::UpdateFilter) {
            QMenu* submenu = menu->addMenu(item.title);
            submenu->setToolTipsVisible(true);
            addItems(submenu, item.submenu);
            continue;
        }
        QAction* action = menu->addAction(item.title);
        action->setToolTip(item.toolTip);
        if (item.action == RowMenuAction::Copy) action->setShortcut(QKeySequence::Copy);
        if (item.action == RowMenuAction::CopyMessage) action->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
        if (item.action == RowMenuAction::ViewMessage) action->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V));
        const RowMenuAction what = item.action;
        connect(action, &QAction::triggered, this, [this, what] { trigger(what); });
    }
}

void MessageActions::trigger(RowMenuAction action) {
    const QString key = column_ >= 0 && column_ < model_.columnCount()
                            ? QString::fromLatin1(rowKeyName(LogTableModel::keyForColumn(column_)))
                            : QString();
    const QString value = cellValue(column_, row_).trimmed();
    switch (action) {
    case RowMenuAction::Copy: window_.copyAction->trigger(); break;
    case RowMenuAction::CopyMessage: copyMessageOnly(); break;
    case RowMenuAction::ViewMessage: onViewText(); break;
    case RowMenuAction::NewFilter: filters_.filterBySelected(key, columnTitle(model_, column_), value); break;
    case RowMenuAction::QuickFilter: filters_.applyQuickFilter(columnTitle(model_, column_), value); break;
    case RowMenuAction::Include: filters_.updateFilterWithSelected(true, key, value); break;
    case RowMenuAction::Exclude: filters_.updateFilterWithSelected(false, key, value); break;
    case RowMenuAction::OpenLink: openRigtClickedLink(); break;
    case RowMenuAction::WebSearch: onSearchGoogle(); break;
    case RowMenuAction::SetAppName: userDefinedAppName(); break;
    case RowMenuAction::ShowOnlyApp: showOnlyApp(); break;
    case RowMenuAction::Separator:
    case RowMenuAction::UpdateFilter: break;
    }
}

void MessageActions::copyMessageOnly() {
    const RowList rows = selectedRows();
    if (!rows.isEmpty()) QApplication::clipboard()->setText(copyText(rows, RowKey::Text));
}

void MessageActions::onViewText() {
    RowList rows = selectedRows();
    QString text = copyText(rows, RowKey::Text);
    if (text.isEmpty()) {
        text = cellValue(column_, row_);
        rows.clear();
        if (model_.rowAt(ViewPos(row_)) != nullptr) rows << model_.rows().at(row_);
    }
    if (textViewer_ == nullptr) textViewer_ = new TextViewerWindow;
    textViewer_->setString(text);
    textViewer_->setDetails(messageDetails(rows));
    if (!textViewer_->isVisible()) placeOnScreenOf(textViewer_, &window_);
    textViewer_->show();
    textViewer_->raise();
    textViewer_->activateWindow();
}

void MessageActions::openRigtClickedLink() {
    const QList<TextLink> links = findLinks(cellValue(column_, row_));
    if (!links.isEmpty()) QDesktopServices::openUrl(links.first().url);
}

void MessageActions::onSearchGoogle() {
    const QString engine =
        Preferences::value(QLatin1String(kWebSearchEngineKey), QLatin1String(kDefaultWebSearchEngine)).toString();
    QDesktopServices::openUrl(webSearchUrl(engine, cellValue(column_, row_).trimmed()));
}

void MessageActions::showOnlyApp() {
    const Row* shown = model_.rowAt(ViewPos(row_));
    const QString package = shown != nullptr ? packageOfApp(shown->string(RowKey::App)) : QString();
    if (!package.isEmpty()) filters_.applyQuickFilter(QString(), u"package:"_s + package);
}

void MessageActions::userDefinedAppName() {
    const Row* row = model_.rowAt(ViewPos(row_));
    if (row == nullptr) return;
    const QString pid = row->string(RowKey::Pid);
    auto* sheet = new QInputDialog(&window_);
    sheet->setWindowTitle(u"Set App Name"_s);
    sheet->setLabelText(u"Application name for process %1:"_s.arg(pid));
    sheet->setTextValue(row->string(RowKey::App));
    sheet->setOkButtonText(u"Save"_s);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(sheet, &QInputDialog::textValueSelected, this, [this, pid](const QString& name) {
        store_.setAppName(name, pid);
        model_.refreshCells();  // the cells show the new name
    });
    sheet->open();
}

void MessageActions::openTypingTerminal() {
    TypingTerminalRequest request;
    request.terminalVariable = qEnvironmentVariable("TERMINAL");
    const AdbEndpoint endpoint = endpointFromPreferences();
    request.adbProgram = Utils::getAdbPath(endpoint.adbProgram).value_or(QString());
    request.host = endpoint.host;
    request.port = QString::number(endpoint.port);
    if (serialSource_) request.serial = serialSource_();
    const auto command =
        typingTerminalCommand(request, [](const QString& name) { return QStandardPaths::findExecutable(name); });
    if (!command || !QProcess::startDetached(command->program, command->arguments)) {
        QMessageBox::warning(&window_, u"Alert"_s,
                             u"No terminal program was found. Set the TERMINAL environment variable to your "
                             u"terminal, or install one such as xterm."_s);
        return;
    }
    VF_LOG("openTypingTerminal: {} {}", command->program, command->arguments.join(u' '));
}

}  // namespace vf::ui
