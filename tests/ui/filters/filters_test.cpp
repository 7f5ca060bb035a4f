// The filter list and the quick filter.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QAbstractButton>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QStringListModel>

#include <QSemaphore>

#include "core/filter/filterlibrary.h"
#include "core/log/logdatasource.h"
#include "ui/filters/filterinforce.h"
#include "ui/filters/filterpassview.h"
#include "ui/filters/filtersheet.h"
#include "ui/filters/quickfilterassist.h"
#include "ui/uitestsupport.h"

#include <QCompleter>
#include <QMenu>
#include <QTest>

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class FiltersTest : public UiTest {
protected:
    int filterRow(const QString& name) const { return int(app->parts().filterList->sortedFilterKeys().indexOf(name)) + 1; }
    QStringList listed() const {
        return qobject_cast<QStringListModel*>(app->parts().window->filterListTable()->model())->stringList();
    }
    QSet<QString> shownTypes() const {
        QSet<QString> types;
        for (int i = 0; i < model()->rowCount(); ++i) types << model()->index(i, kTypeColumn).data().toString();
        return types;
    }
};

// Saving the presets on a first run is FilterLibrary's (filterlibrary_test);
// the list shows them sorted under "All Messages", which starts selected.
TEST_F(FiltersTest, SelectedFiltersNarrowEachOtherAndAllMessagesClearsThem) {
    start();
    EXPECT_EQ(listed(), (QStringList{u"All Messages"_s, u"LogLevel Debug"_s, u"LogLevel Error"_s, u"LogLevel Info"_s,
                                     u"LogLevel Verbose"_s, u"LogLevel Warn"_s}));
    show(levelRows(60));
    QItemSelectionModel* selection = app->parts().window->filterListTable()->selectionModel();
    EXPECT_EQ(selection->selectedRows().size(), 1);
    const QAbstractItemModel* list = app->parts().window->filterListTable()->model();
    selection->select(list->index(filterRow(u"LogLevel Info"_s), 0), QItemSelectionModel::Select);
    selection->select(list->index(filterRow(u"LogLevel Error"_s), 0), QItemSelectionModel::Select);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 20; }));
    EXPECT_FALSE(selection->isRowSelected(0, {}));
    EXPECT_EQ(shownTypes(), (QSet<QString>{u"E"_s, u"F"_s}));
    EXPECT_TRUE(app->parts().status->filterText().startsWith(u"Filter: "_s));
    EXPECT_TRUE(app->tab().follower->scrollToBottom());

    selection->select(list->index(0, 0), QItemSelectionModel::Select);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 60; }));
    EXPECT_EQ(selection->selectedRows().size(), 1);
    EXPECT_EQ(app->tab().filter->predicate(), nullptr);
    EXPECT_EQ(app->parts().status->filterText(), u"Filter: All Messages"_s);
}

// The quick filter ANDs with the list's filters and the level selector, as
// plain text, as a "p: " predicate, or as a query when a term has a key of
// the table; text that is not understood leaves the rest in force.
TEST_F(FiltersTest, QuickFilterCombinesWithTheListAndTheLevel) {
    start();
    RowList rows = levelRows(12);  // two of each level
    rows << row(50, "E", "socket timeout") << row(51, "I", "Timeout in info") << row(52, "I", "level:E in text");
    for (uint64_t n = 60; n < 64; ++n) {
        static const char* kCrash[] = {"FATAL EXCEPTION: main", "Process: com.x, PID: 100",
                                       "java.lang.IllegalStateException: x", "\tat a.B.c(B.java:1)"};
        rows << arena.make(RowValues{n, "01-01 00:00:01.000", "com.x", "100", "-", "E", "AndroidRuntime", kCrash[n - 60]});
    }
    show(rows);
    QComboBox* levels = app->parts().window->levelSelector();
    QLineEdit* field = app->parts().window->quickFilterField();
    const struct {
        const char16_t *filter, *level, *text;
        qsizetype shown;
        const char16_t* status = u"";  // what the status line's filter text is, or holds
    } cases[] = {
        {u"LogLevel Error", u"", u"timeout", 1},
        {u"LogLevel Error", u"", u"p: type == 'I'", 0},
        {u"LogLevel Error", u"", u"it's", 9, u"not understood"},  // breaks the CONTAINS template
        {u"", u"", u"timeout", 2},
        {u"", u"Warn", u"timeout", 1, u"Filter: \u201Ctimeout\u201D \u00B7 Warn and above"},
        {u"", u"", u"level:E", 9},
        {u"", u"", u"level:e timeout", 1},
        {u"", u"", u"-level:W", 8},
        {u"", u"", u"E in text", 1},
        {u"", u"", u"foo:bar", 0},
        {u"", u"", u"p: type == 'I'", 4},
        {u"", u"", u"is:crash", 4},
        {u"", u"", u"is:stacktrace", 1},
        {u"", u"", u"(level:e", 19, u"not understood"},  // no quick filter
    };
    for (const auto& c : cases) {
        const QString filter = QString::fromUtf16(c.filter);
        SCOPED_TRACE(QString::fromUtf16(c.text).toStdString());
        app->parts().window->filterListTable()->selectRowAlone(filter.isEmpty() ? 0 : filterRow(filter));
        levels->setCurrentIndex(std::max(0, levels->findText(QString::fromUtf16(c.level))));
        field->setText(QString::fromUtf16(c.text));
        EXPECT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == c.shown; })) << model()->rowCount();
        const QString said = app->parts().status->filterText(), status = QString::fromUtf16(c.status);
        EXPECT_TRUE(status.startsWith(u"Filter: "_s) ? said == status : said.contains(status)) << said.toStdString();
    }
    EXPECT_TRUE(field->toolTip().contains(u"never closed"_s));
    field->setText(u"level:E"_s);
    EXPECT_TRUE(field->toolTip().isEmpty());
    levels->setCurrentIndex(levels->findText(u"Warn"_s));
    app->parts().filterList->showAllMessages();
    EXPECT_EQ(levels->currentIndex(), 0);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 19; }));  // the quick filter went too

    // Reloading the list (font size, appearance, import) used to lose its
    // selection while the filter stayed in force; the next quick-filter
    // keystroke then dropped the saved filter without a word.
    app->parts().window->filterListTable()->selectRowAlone(filterRow(u"LogLevel Error"_s));
    field->setText(QString());
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 9; }));
    app->parts().filterList->loadFilters();
    app->parts().filterList->importFilters(dir.filePath(u"missing.filters"_s));
    field->setText(u"timeout"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(model()->index(0, 6).data().toString(), u"socket timeout"_s);
    EXPECT_EQ(app->parts().filterList->selectedFilterNames(), QStringList{u"LogLevel Error"_s});
}

TEST_F(FiltersTest, TheQueryFieldCompletesRecallsAndSaves) {
    start();
    RowList rows = levelRows(6);
    rows << arena.make(RowValues{9, "01-01 00:00:01.000", "com.example:bg", "100", "-", "W", "Net Stack", "x"});
    show(rows);
    QLineEdit* field = app->parts().window->quickFilterField();
    QuickFilterAssist* assist = app->parts().filterList->quickFilterAssist();
    const auto offered = [&](const QString& typed) {
        field->setText(typed);
        assist->updateCompletion();
        return qobject_cast<QStringListModel*>(assist->completer()->model())->stringList();
    };
    EXPECT_EQ(offered(u"x lev"_s), QStringList{u"level:"_s});
    EXPECT_EQ(offered(u"-tag:n"_s), QStringList{u"tag:'Net Stack'"_s}) << "values seen so far, quoted when they must be";
    EXPECT_EQ(offered(u"package=:"_s), QStringList{u"package=:com.example"_s});
    EXPECT_TRUE(offered(u"level:w"_s).contains(u"level:warn"_s));
    assist->completer()->activated(u"level:warn"_s);
    EXPECT_EQ(field->text(), u"level:warn"_s);

    // Return keeps a query (not plain words) for Up and Down, newest first.
    for (const QString& text : {u"tag:a"_s, u"plain words"_s, u"tag:b"_s}) {
        field->setText(text);
        Q_EMIT field->returnPressed();
    }
    EXPECT_EQ(assist->history().entries(), (QStringList{u"tag:a"_s, u"tag:b"_s}));
    field->setText(u"editing"_s);
    QTest::keyClick(field, Qt::Key_Up);
    EXPECT_EQ(field->text(), u"tag:b"_s);
    QTest::keyClick(field, Qt::Key_Up);
    QTest::keyClick(field, Qt::Key_Up);
    EXPECT_EQ(field->text(), u"tag:a"_s);
    QTest::keyClick(field, Qt::Key_Down);
    QTest::keyClick(field, Qt::Key_Down);
    EXPECT_EQ(field->text(), u"editing"_s);
    EXPECT_EQ(QueryHistory(assist->history().entries()).entries(), assist->history().entries());

    // Save as Filter: the filter-language text where there is one, else the query.
    for (const auto& [query, stored] : {std::pair{u"level:E"_s, u"type IN[cd] \"E,F,A\""_s},
                                        std::pair{u"msg~:^x"_s, u"QUERY \"msg~:^x\""_s}}) {
        field->setText(query);
        std::unique_ptr<QMenu> menu(assist->contextMenu());
        menu->actions().constLast()->trigger();
        ASSERT_TRUE(app->parts().filterList->sheet() && app->parts().filterList->sheet()->isVisible());
        EXPECT_EQ(app->parts().filterList->sheet()->criteria(), stored);
        ASSERT_TRUE(app->parts().filterList->sheet()->predicate());
        app->parts().filterList->cancelPredicateEditing();
    }
    field->setText(u"(tag:"_s);
    std::unique_ptr<QMenu> menu(assist->contextMenu());
    EXPECT_FALSE(menu->actions().constLast()->isEnabled());
}

TEST(QueryHistoryWalk, KeepsTheLastTwentyOnceEach) {
    QueryHistory history;
    for (int i = 0; i < 25; ++i) history.add(u"tag:%1"_s.arg(i % 22));
    EXPECT_EQ(history.entries().size(), QueryHistory::kSize);
    EXPECT_EQ(history.entries().constLast(), u"tag:2"_s);
    EXPECT_EQ(history.entries().constFirst(), u"tag:5"_s) << "tag:0..2 moved to the end, 3 and 4 fell off";
    EXPECT_FALSE(history.newer());
    EXPECT_FALSE(QueryHistory().older(u"x"_s));
}

// "My apps" come first among the package completions, quoted or not.
TEST(QueryCompletion, MyAppsComeFirst) {
    const QStringList candidates{u"package:com.a"_s, u"package:com.b"_s, u"package:'com.c x'"_s, u"package:com.d"_s};
    EXPECT_EQ(withMyAppsFirst(candidates, {u"com.d"_s, u"com.c x"_s}),
              (QStringList{u"package:'com.c x'"_s, u"package:com.d"_s, u"package:com.a"_s, u"package:com.b"_s}));
}

TEST_F(FiltersTest, SavingUnderAnExistingNameAsksFirst) {
    start();
    FilterListController* filters = app->parts().filterList.get();
    filters->addFilter();
    FilterSheet* sheet = filters->sheet();
    ASSERT_TRUE(sheet && sheet->isVisible());
    EXPECT_EQ(sheet->filterName()->text(), u"unnamed"_s);
    // A key rows lack is marked where it stands and cannot be saved.
    sheet->setCriteria(u"type == 'E' AND level == 'x'"_s);
    ASSERT_TRUE(sheet->error());
    EXPECT_EQ(sheet->error()->position, 16);
    EXPECT_FALSE(sheet->errorLabel()->text().isEmpty());
    EXPECT_EQ(sheet->filterCriteria()->extraSelections().size(), 1);

    sheet->setCriteria(u"type == 'I'"_s);
    // A pasted name with an escape sequence is refused, and says why.
    sheet->filterName()->setText(u"evil\x1b[2J"_s);
    EXPECT_TRUE(sheet->errorLabel()->text().startsWith(u"Name: "_s));
    filters->closePredicateSheet();
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_FALSE(filters->library().contains(u"evil\x1b[2J"_s));

    sheet->filterName()->setText(u"LogLevel Info"_s);
    filters->closePredicateSheet();
    QMessageBox* prompt = filters->currentPrompt();
    ASSERT_TRUE(prompt);
    EXPECT_EQ(prompt->text(), u"Filter already exists"_s);
    EXPECT_EQ(prompt->informativeText(),
              u"Are you sure you want to overwrite the filter with the name \"LogLevel Info\""_s);
    for (QAbstractButton* b : prompt->buttons())
        if (b->text() == u"Cancel"_s) b->click();
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_EQ(filters->library().predicate(u"LogLevel Info"_s)->format(), u"type IN[cd] \"I,W,E,F,A\""_s);

    filters->closePredicateSheet();
    ASSERT_TRUE(filters->currentPrompt());
    for (QAbstractButton* b : filters->currentPrompt()->buttons())
        if (b->text() == u"Overwrite"_s) b->click();
    EXPECT_FALSE(sheet->isVisible());
    EXPECT_EQ(filters->library().predicate(u"LogLevel Info"_s)->format(), u"type == \"I\""_s);
    EXPECT_EQ(filters->selectedFilterNames(), QStringList{u"LogLevel Info"_s});
}

// Error rows; the evaluation of row `gateAt` waits for the test's gate.
struct GatedErrors final : Predicate {
    bool evaluate(const FieldSource& row, QString*) const override {
        FieldScratch scratch;
        if (row.field(RowKey::Idx, scratch) == "69000") gate.acquire();
        return row.field(RowKey::Type, scratch) == "E";
    }
    QString format() const override { return u"gated"_s; }
    mutable QSemaphore gate;
};

// A long refilter shows its bar; Escape stops it, the table keeps the rows
// matched so far and the status line says so.
TEST_F(FiltersTest, EscapeStopsALongRefilterAndSaysWhatIsShown) {
    start();
    show(levelRows(70000));  // two chunks: the first one lands
    app->tab().store->setFilterProgressDelay(std::chrono::milliseconds(0));
    auto gated = std::make_shared<GatedErrors>();
    app->tab().filter->set(gated);
    ASSERT_TRUE(vf::test::waitUntil([&] { return !app->parts().status->progressText().isEmpty(); }));
    EXPECT_EQ(app->parts().status->progressText(), filterRunningText());
    QTest::keyClick(table(), Qt::Key_Escape);
    gated->gate.release();
    EXPECT_EQ(app->parts().status->progressPermille(), -1);
    const QString note = app->parts().status->note();
    EXPECT_TRUE(note.startsWith(u"Filtering stopped: showing the "_s)) << note.toStdString();
    const qsizetype shown = app->tab().store->getDataFiltered().size();
    EXPECT_TRUE(note.contains(QString::number(shown))) << note.toStdString();
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == shown; }));
}

}  // namespace
}  // namespace vf::ui::test
