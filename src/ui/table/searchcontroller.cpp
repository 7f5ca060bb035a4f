#include "ui/table/searchcontroller.h"

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

#include "core/log/logsearch.h"
#include "ui/table/highlightdelegate.h"
#include "ui/table/logtablemodel.h"
#include "ui/table/tablefollower.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

bool isNavigationKey(int key) {
    switch (key) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
    case Qt::Key_Home:
    case Qt::Key_End:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Help:
        return true;
    default:
        return key >= Qt::Key_F1 && key <= Qt::Key_F35;
    }
}

}  // namespace

SearchController::SearchController(MainWindow& window, LogTableModel& model, HighlightDelegate& highlight,
                                   StatusLine& status, QObject* parent)
    : QObject(parent), window_(window), table_(*window.logTable()), model_(model), highlight_(highlight),
      status_(status) {
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state != Qt::ApplicationActive) isLiveSearching_ = false;
    });
    // Escape in the search field: no search, no marks, back to the rows.
    auto* clear = new QAction(window_.searchField());
    clear->setShortcut(QKeySequence(Qt::Key_Escape));
    clear->setShortcutContext(Qt::WidgetShortcut);
    connect(clear, &QAction::triggered, this, &SearchController::clearSearch);
    window_.searchField()->addAction(clear);
    // One tab's Escape at a time: the field is shared by every tab.
    const auto showIfCurrent = [this, clear] { clear->setEnabled(window_.logTable() == &table_); };
    showIfCurrent();
    connect(&window_, &MainWindow::currentSourceChanged, this, showIfCurrent);
}

void SearchController::clearSearch() {
    isLiveSearching_ = false;
    setSearchText(QString());
    status_.clearNote();
    table_.setFocus(Qt::ShortcutFocusReason);
}

void SearchController::search(const QString& text) { doSearch(text, 0); }

void SearchController::find() {
    window_.searchField()->setFocus(Qt::ShortcutFocusReason);
    window_.searchField()->selectAll();
}

void SearchController::findNext() {
    const QString text = window_.searchField()->text();
    if (text.isEmpty()) find();
    else doSearch(text, 1);
}

void SearchController::findPrevious() { doSearch(window_.searchField()->text(), -1); }

void SearchController::doSearch(const QString& text, int direction) {
    SelectableTableView* table = &table_;
    searchText_ = text;
    highlight_.setSearchText(text);
    const RowList& rows = model_.rows();
    if (rows.isEmpty() || text.isEmpty()) {
        table->viewport()->update();
        return;
    }
    const RowSearch rowSearch(text);
    const int selected = selectedRowOf(*table);
    const SearchOutcome outcome =
        vf::findNext(rows, rowSearch, selected >= 0 ? std::optional(ViewPos(selected)) : std::nullopt, direction);
    for (int i = 0; i < outcome.beeps; ++i) QApplication::beep();
    if (outcome.row) {
        const int row = outcome.row->row();
        table->selectRowAlone(row);
        table->scrollTo(model_.index(row, 0), QAbstractItemView::EnsureVisible);
        status_.clearNote();
    } else {
        // A beep is often silent on Linux: say it where the eye is.
        const Row* current = model_.rowAt(ViewPos(selected));
        const bool onlyHere = current != nullptr && rowSearch.matches(*current);
        status_.showNote((onlyHere ? u"No other match for “%1”"_s : u"No match for “%1”"_s).arg(text), 5000);
    }
    table->viewport()->update();
}

void SearchController::setSearchText(const QString& text) {
    window_.searchField()->setText(text);
    doSearch(text, 0);
}

bool SearchController::onTableKey(QKeyEvent* event) {
    if ((event->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier)) != Qt::NoModifier) return false;
    const int key = event->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        findNext();
        return true;
    }
    if (isNavigationKey(key)) return false;
    const QString current = window_.searchField()->text();
    if (key == Qt::Key_Backspace || key == Qt::Key_Delete) {
        setSearchText(current.size() < 2 ? QString() : current.chopped(1));
        return true;
    }
    if (key == Qt::Key_Escape) {
        isLiveSearching_ = false;
        setSearchText(QString());
        return true;
    }
    const QString typed = event->text();
    if (typed.isEmpty() || !typed.at(0).isPrint()) return false;
    setSearchText(isLiveSearching_ ? current + typed : typed);
    isLiveSearching_ = true;
    return true;
}

}  // namespace vf::ui
