// The filter list and the quick filter.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QAbstractButton>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QStringListModel>

#include "core/filter/filterlibrary.h"
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

TEST_F(FiltersTest, QuickFilterCombinesWithTheListAndSurvivesBadText) {
    start();
    RowList rows = levelRows(12);
    rows << row(50, "E", "socket timeout") << row(51, "I", "Timeout in info");
    show(rows);
    app->parts().window->filterListTable()->selectRowAlone(filterRow(u"LogLevel Error"_s));
    app->parts().window->quickFilterField()->setText(u"timeout"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(model()->index(0, 6).data().toString(), u"socket timeout"_s);

    app->parts().window->quickFilterField()->setText(u"p: type == 'I'"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 0; }));  // I AND Error level

    app->parts().window->quickFilterField()->setText(u"it's"_s);  // breaks the CONTAINS template
    EXPECT_TRUE(app->parts().status->filterText().contains(u"not understood"_s));
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 5; }));  // the list's filter alone

    // The level selector is one more term, named in words with the rest.
    app->parts().window->filterListTable()->selectRowAlone(0);
    app->parts().window->quickFilterField()->setText(u"timeout"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 2; }));
    QComboBox* levels = app->parts().window->levelSelector();
    levels->setCurrentIndex(levels->findText(u"Warn"_s));
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(app->parts().status->filterText(), u"Filter: \u201Ctimeout\u201D \u00B7 Warn and above"_s);
    app->parts().filterList->showAllMessages();
    EXPECT_EQ(levels->currentIndex(), 0);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 14; }));
}

TEST_F(FiltersTest, TheQuickFilterIsAQueryWhenATermHasAKeyOfTheTable) {
    start();
    RowList rows = levelRows(12);
    rows << row(50, "E", "socket timeout") << row(51, "I", "level:E in text");
    for (uint64_t n = 60; n < 64; ++n) {
        static const char* kCrash[] = {"FATAL EXCEPTION: main", "Process: com.x, PID: 100",
                                       "java.lang.IllegalStateException: x", "\tat a.B.c(B.java:1)"};
        rows << arena.make(RowValues{n, "01-01 00:00:01.000", "com.x", "100", "-", "E", "AndroidRuntime", kCrash[n - 60]});
    }
    show(rows);
    const std::pair<QString, qsizetype> cases[] = {
        {u"level:E"_s, 9},          {u"level:e timeout"_s, 1}, {u"-level:W"_s, 7},       {u"E in text"_s, 1},
        {u"foo:bar"_s, 0},          {u"p: type == 'I'"_s, 3},  {u"is:crash"_s, 4},       {u"is:stacktrace"_s, 1},
        {u"(level:e"_s, 18},  // not understood: no quick filter
    };
    for (const auto& [text, shown] : cases) {
        app->parts().window->quickFilterField()->setText(text);
        EXPECT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == shown; }))
            << text.toStdString() << ": " << model()->rowCount();
    }
    EXPECT_TRUE(app->parts().status->filterText().contains(u"not understood"_s));
    EXPECT_TRUE(app->parts().window->quickFilterField()->toolTip().contains(u"never closed"_s));
    app->parts().window->quickFilterField()->setText(u"level:E"_s);
    EXPECT_TRUE(app->parts().window->quickFilterField()->toolTip().isEmpty());
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

// Reloading the list (font size, appearance, import) used to lose its
// selection while the filter stayed in force; the next quick-filter
// keystroke then dropped the saved filter without a word.
TEST_F(FiltersTest, ReloadKeepsTheChosenFiltersForTheNextQuickFilter) {
    start();
    RowList rows = levelRows(12);
    rows << row(50, "E", "socket timeout") << row(51, "I", "Timeout in info");
    show(rows);
    app->parts().window->filterListTable()->selectRowAlone(filterRow(u"LogLevel Error"_s));
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 5; }));
    app->parts().filterList->loadFilters();
    app->parts().filterList->importFilters(dir.filePath(u"missing.filters"_s));
    app->parts().window->quickFilterField()->setText(u"timeout"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(app->parts().filterList->selectedFilterNames(), QStringList{u"LogLevel Error"_s});
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

}  // namespace
}  // namespace vf::ui::test
