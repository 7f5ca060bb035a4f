// The filter list and the quick filter.
#include <QLabel>
#include <QLineEdit>
#include <QStringListModel>

#include "ui/filterfile.h"
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

TEST_F(FiltersTest, FirstRunListsTheLevelPresetsSorted) {
    start();
    EXPECT_EQ(listed(), (QStringList{u"All Messages"_s, u"LogLevel Debug"_s, u"LogLevel Error"_s, u"LogLevel Info"_s,
                                     u"LogLevel Verbose"_s, u"LogLevel Warn"_s}));
    const QVariantMap stored = Preferences::value(QLatin1String(prefs::kPredicates)).toMap();
    EXPECT_EQ(stored.size(), 5);
    EXPECT_TRUE(Predicate::parse(stored.value(u"LogLevel Info"_s).toString()).predicate != nullptr);
    EXPECT_EQ(app->window()->filterListTable()->selectionModel()->selectedRows().size(), 1);
}

TEST_F(FiltersTest, SelectedFiltersNarrowEachOtherAndAllMessagesClearsThem) {
    start();
    show(levelRows(60));
    QItemSelectionModel* selection = app->window()->filterListTable()->selectionModel();
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

TEST_F(FiltersTest, ImportReplacesFiltersOfTheSameName) {
    start();
    const QString path = dir.filePath(u"set.filters"_s);
    ASSERT_TRUE(writeFilterFile(path, {{u"LogLevel Info"_s, u"type == 'I'"_s}, {u"app only"_s, u"app == 'x'"_s}}));
    EXPECT_EQ(readFilterFile(path).size(), 2);
    app->importFilters(path);
    EXPECT_EQ(listed().size(), 7);
    EXPECT_EQ(listed().at(1), u"app only"_s);
    const QVariantMap stored = Preferences::value(QLatin1String(prefs::kPredicates)).toMap();
    EXPECT_EQ(Predicate::parse(stored.value(u"LogLevel Info"_s).toString()).predicate->format(),
              Predicate::parse(u"type == 'I'"_s).predicate->format());
    EXPECT_TRUE(readFilterFile(dir.filePath(u"missing.filters"_s)).isEmpty());
}

}  // namespace
}  // namespace vf::ui::test
