// The filter list and the quick filter.
#include <QLabel>
#include <QLineEdit>
#include <QAbstractButton>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QStringListModel>

#include "core/filter/filterlibrary.h"
#include "ui/filtersheet.h"
#include "uitestsupport.h"

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class FiltersTest : public UiTest {
protected:
    int filterRow(const QString& name) const { return int(app->sortedFilterKeys().indexOf(name)) + 1; }
    QStringList listed() const {
        return qobject_cast<QStringListModel*>(app->window()->filterListTable()->model())->stringList();
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
    QItemSelectionModel* selection = app->window()->filterListTable()->selectionModel();
    EXPECT_EQ(selection->selectedRows().size(), 1);
    const QAbstractItemModel* list = app->window()->filterListTable()->model();
    selection->select(list->index(filterRow(u"LogLevel Info"_s), 0), QItemSelectionModel::Select);
    selection->select(list->index(filterRow(u"LogLevel Error"_s), 0), QItemSelectionModel::Select);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 20; }));
    EXPECT_FALSE(selection->isRowSelected(0, {}));
    EXPECT_EQ(shownTypes(), (QSet<QString>{u"E"_s, u"F"_s}));
    EXPECT_TRUE(app->window()->statusFilter()->text().startsWith(u"Filter: "_s));
    EXPECT_TRUE(app->scrollToBottom());

    selection->select(list->index(0, 0), QItemSelectionModel::Select);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 60; }));
    EXPECT_EQ(selection->selectedRows().size(), 1);
    EXPECT_EQ(app->predicate(), nullptr);
    EXPECT_EQ(app->window()->statusFilter()->text(), u"Filter: All Messages"_s);
}

TEST_F(FiltersTest, QuickFilterCombinesWithTheListAndSurvivesBadText) {
    start();
    RowList rows = levelRows(12);
    rows << row(50, "E", "socket timeout") << row(51, "I", "Timeout in info");
    show(rows);
    app->window()->filterListTable()->selectRowAlone(filterRow(u"LogLevel Error"_s));
    app->window()->quickFilterField()->setText(u"timeout"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(model()->index(0, 6).data().toString(), u"socket timeout"_s);

    app->window()->quickFilterField()->setText(u"p: type == 'I'"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 0; }));  // I AND Error level

    app->window()->quickFilterField()->setText(u"it's"_s);  // breaks the CONTAINS template
    EXPECT_TRUE(app->window()->statusFilter()->text().contains(u"not understood"_s));
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 5; }));  // the list's filter alone
}

// Reloading the list (font size, appearance, import) used to lose its
// selection while the filter stayed in force; the next quick-filter
// keystroke then dropped the saved filter without a word.
TEST_F(FiltersTest, ReloadKeepsTheChosenFiltersForTheNextQuickFilter) {
    start();
    RowList rows = levelRows(12);
    rows << row(50, "E", "socket timeout") << row(51, "I", "Timeout in info");
    show(rows);
    app->window()->filterListTable()->selectRowAlone(filterRow(u"LogLevel Error"_s));
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 5; }));
    app->fontsChanged();
    app->importFilters(dir.filePath(u"missing.filters"_s));
    app->window()->quickFilterField()->setText(u"timeout"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(app->filterList()->selectedFilterNames(), QStringList{u"LogLevel Error"_s});
}

TEST_F(FiltersTest, SavingUnderAnExistingNameAsksFirst) {
    start();
    FilterListController* filters = app->filterList();
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
