// The log table: styles, fonts, follow mode, selection and live refreshes.
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStatusBar>
#include <QStringListModel>

#include "ui/table/highlightdelegate.h"
#include "ui/table/tablecolumns.h"
#include "ui/uitestsupport.h"

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class TableTest : public UiTest {};

TEST_F(TableTest, FontSizeOutsideItsRangeFallsBackToEleven) {
    start();
    Preferences::setValue(QLatin1String(prefs::kDefaultFontSize), 30.0);
    app->parts().window->biggerFontAction->trigger();
    EXPECT_EQ(Preferences::number(QLatin1String(prefs::kDefaultFontSize)), 11.0);
    Preferences::setValue(QLatin1String(prefs::kDefaultFontSize), 1.0);
    app->parts().window->smallerFontAction->trigger();
    EXPECT_EQ(Preferences::number(QLatin1String(prefs::kDefaultFontSize)), 11.0);
    app->parts().window->biggerFontAction->trigger();
    EXPECT_EQ(app->tab().model->styles().fonts[0].pointSizeF(), 12.0);
    EXPECT_EQ(table()->verticalHeader()->defaultSectionSize(), app->tab().model->styles().rowHeight);
}

TEST_F(TableTest, EmptyTypeUsesTheDebugFontAndNoColour) {
    Preferences::setValue(u"logDebugBold"_s, 1);
    start();
    show({row(1, "", "no level"), row(2, "E", "error"), row(3, "X", "odd level")});
    const QFont empty = model()->index(0, 6).data(Qt::FontRole).value<QFont>();
    EXPECT_TRUE(empty.bold());
    EXPECT_EQ(empty, app->tab().model->styles().fonts[1]);
    EXPECT_FALSE(model()->index(0, 6).data(Qt::ForegroundRole).isValid());
    EXPECT_EQ(model()->index(1, 6).data(Qt::ForegroundRole).value<QBrush>().color(), QColor(Qt::red));
    EXPECT_FALSE(model()->index(2, 6).data(Qt::FontRole).value<QFont>().bold());
}

TEST_F(TableTest, ScrollingSixRowsUpStopsFollowing) {
    start();
    app->parts().window->show();
    show(levelRows(300));
    ASSERT_TRUE(app->tab().follower->scrollToBottom());
    const int count = model()->rowCount();
    QScrollBar* bar = table()->verticalScrollBar();
    const auto scrollUntilLastVisible = [&](int row) {
        for (int value = bar->maximum(); value >= 0; --value) {
            bar->setValue(value);
            if (table()->rowAt(table()->viewport()->height() - 1) == row) return true;
        }
        return false;
    };
    ASSERT_TRUE(scrollUntilLastVisible(count - 5));
    EXPECT_TRUE(app->tab().follower->scrollToBottom());
    ASSERT_TRUE(scrollUntilLastVisible(count - 6));
    EXPECT_FALSE(app->tab().follower->scrollToBottom());
    EXPECT_FALSE(app->parts().window->followAction->isChecked());
    ASSERT_TRUE(scrollUntilLastVisible(count - 5));
    EXPECT_TRUE(app->tab().follower->scrollToBottom());
    EXPECT_TRUE(app->parts().window->followAction->isChecked());
}

TEST_F(TableTest, SelectionComesBackCentredAfterAFilterChange) {
    start();
    app->parts().window->show();
    show(levelRows(600));
    table()->selectRowAlone(100);  // an "E" row (100 % 6 == 4)
    ASSERT_EQ(app->tab().follower->selectedLogMessage(), RowIdx(100));
    const QStringList names = app->parts().filterList->sortedFilterKeys();
    const int error = int(names.indexOf(u"LogLevel Error"_s)) + 1;
    app->parts().window->filterListTable()->selectRowAlone(error);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 200; }));
    const QModelIndexList selected = table()->selectionModel()->selectedRows();
    ASSERT_EQ(selected.size(), 1);
    EXPECT_EQ(model()->rowAt(ViewPos(selected.first().row()))->idx(), RowIdx(100));
    EXPECT_FALSE(app->tab().follower->scrollToBottom());
    const auto centred = [&] {
        const QRect rect = table()->visualRect(selected.first());
        // The table scrolls by whole rows, so "centred" is within a row and a half.
        return std::abs(rect.center().y() - table()->viewport()->height() / 2) <= rect.height() * 3 / 2;
    };
    EXPECT_TRUE(vf::test::waitUntil(centred, 2000));

    // A row the new filter hides is not selected afterwards.
    app->parts().window->filterListTable()->selectRowAlone(int(names.indexOf(u"LogLevel Warn"_s)) + 1);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 300; }));
    table()->selectRowAlone(0);  // idx 3, a warning
    ASSERT_EQ(app->tab().follower->selectedLogMessage(), RowIdx(3));
    app->parts().window->filterListTable()->selectRowAlone(error);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 200; }));
    EXPECT_TRUE(table()->selectionModel()->selectedRows().isEmpty());
}

TEST_F(TableTest, LiveRefreshIsSentAsRemovalsAndInsertsKeepingTheSelection) {
    LogTableModel liveModel;
    RowList rows = levelRows(30);
    liveModel.setRows(rows);
    QSignalSpy reset(&liveModel, &QAbstractItemModel::modelReset);
    QSignalSpy removed(&liveModel, &QAbstractItemModel::rowsRemoved);
    QSignalSpy inserted(&liveModel, &QAbstractItemModel::rowsInserted);
    RowList next = rows.mid(10);
    for (int i = 30; i < 35; ++i) next << row(uint64_t(i), "I", "new");
    liveModel.setRows(next, {false, 10, 5});
    EXPECT_EQ(reset.size(), 0);
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed.first().at(2).toInt(), 9);  // rows 0..9 went
    ASSERT_EQ(inserted.size(), 1);
    EXPECT_EQ(inserted.first().at(1).toInt(), 20);
    EXPECT_EQ(liveModel.rowCount(), 25);
    EXPECT_EQ(liveModel.rowOfIdx(RowIdx(34)), ViewPos(24));

    RowList unrelated{row(99, "I", "other")};  // a change that does not fit: reset
    liveModel.setRows(unrelated, {false, 0, 2});
    EXPECT_EQ(reset.size(), 1);
}

TEST_F(TableTest, ClearAndStatusLine) {
    start();
    adb->list({device(u"A1"_s)});  // streaming
    ASSERT_TRUE(vf::test::waitUntil([&] { return app->tab().session->isLogging() && title() == u"A1"_s; }));
    show(levelRows(12));
    EXPECT_EQ(app->parts().status->viewingText(), u"Viewing: 12"_s);
    app->parts().window->filterListTable()->selectRowAlone(int(app->parts().filterList->sortedFilterKeys().indexOf(u"LogLevel Error"_s)) + 1);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 4; }));
    EXPECT_EQ(app->parts().status->viewingText(), u"Viewing 4 of 12 so far"_s);
    // A note shows beside the count and the filter, never over them.
    app->parts().window->show();
    app->parts().status->showNote(u"A passing note"_s, 50);
    QStringList shown;
    for (const QLabel* label : app->parts().window->statusBar()->findChildren<QLabel*>())
        if (label->isVisible()) shown << label->text();
    EXPECT_TRUE(shown.contains(u"Viewing 4 of 12 so far"_s) && shown.contains(u"A passing note"_s))
        << shown.join(u'|').toStdString();
    ASSERT_TRUE(vf::test::waitUntil([&] { return app->parts().status->note().isEmpty(); }));
    QKeyEvent clear(QEvent::KeyPress, Qt::Key_Backspace, Qt::ControlModifier);
    EXPECT_TRUE(app->tab().messages->onKeyEventForTableView(table(), &clear));
    EXPECT_EQ(model()->rowCount(), 0);
    EXPECT_EQ(app->tab().store->logEventCount(), 0);
    EXPECT_TRUE(table()->placeholderText().startsWith(u"Connected."_s));
}

// Each kind of tab keeps its own layout; a new kind starts from the last
// layout saved; the merged tab keeps to its own. A column the rows have no
// values for is hidden (not stored that way) and left out of the menu.
TEST_F(TableTest, ColumnLayoutsAreKeptPerKindOfTab) {
    LogTableModel model;
    const QString a = deviceLayoutKind(u"A"_s), b = deviceLayoutKind(u"B"_s), file = QLatin1String(kFileLayout);
    const QString report = QLatin1String(kReportLayout), merged = QLatin1String(kMergedLayout);
    // A table of `kind` showing `set`: whether `column` came hidden; then hides or shows it.
    const auto open = [&](const QString& kind, int column, std::optional<bool> hide = {}, ColumnSet set = {}) {
        QTableView table;
        table.setModel(&model);
        ColumnLayoutSaver saver(table.horizontalHeader(), kind);
        saver.setShowable(set);
        const bool hidden = table.horizontalHeader()->isSectionHidden(column);
        if (hide) table.horizontalHeader()->setSectionHidden(column, *hide);
        return hidden;
    };
    open(a, 2, true);
    EXPECT_TRUE(open(file, 2, false));  // no file layout yet: the shared one
    EXPECT_TRUE(open(a, 2));
    EXPECT_FALSE(open(file, 2));
    EXPECT_FALSE(open(b, 2, true));  // the last saved, the file's
    EXPECT_FALSE(open(merged, kSourceColumn, {}, {.source = true}));  // its sources, first
    open(merged, 5, true, {.source = true});
    EXPECT_TRUE(open(merged, 5, {}, {.source = true}));

    // A report shows its buffers; a plain log after it does not.
    EXPECT_FALSE(open(report, kBufferColumn, {}, {.buffer = true}));
    EXPECT_TRUE(open(file, kBufferColumn, {}, {.buffer = false}));
    EXPECT_TRUE(open(file, kSourceColumn));
    // A uid shown on a device stays its choice while its rows have none yet.
    open(a, kUidColumn, false, {.uid = true});
    EXPECT_TRUE(open(a, kUidColumn));
    EXPECT_FALSE(open(a, kUidColumn, {}, {.uid = true}));
}

TEST(LevelColor, DefaultsLightenOnADarkBaseAndChosenColoursStay) {
    EXPECT_EQ(levelColor(0, u"#0000ff"_s, false), QColor(u"#0000ff"));
    for (int level = 0; level < kLevelCount; ++level)
        EXPECT_GT(levelColor(level, QString(), true).lightness(), 110) << level;
    EXPECT_EQ(levelColor(0, u"#123456"_s, true), QColor(u"#123456"));
    EXPECT_EQ(levelColor(4, u"no colour"_s, false), QColor(u"#ff0000"));
}

// In a merged timeline two sources share index numbers: a row is found by
// itself, or by its index and source.
TEST(RowPosition, MergedSourcesSharingIndexesAreToldApart) {
    RowArena first, second;
    first.setSourceLabel("a");
    second.setSourceLabel("b");
    const auto make = [](RowArena& arena, uint64_t n) {
        return arena.make(RowValues{n, "", "", "1", "1", "I", "T", "x"});
    };
    const RowPtr a1 = make(first, 1), a2 = make(first, 2), b1 = make(second, 1), b2 = make(second, 2);
    const RowList merged{a1, b1, b2, a2};
    EXPECT_EQ(positionOfRow(merged, *a2, false), ViewPos(3));
    EXPECT_EQ(positionOfRow(merged, *make(second, 2), false), std::nullopt);  // same index, another row
    EXPECT_EQ(positionOfRow(RowList{a1, a2}, *make(first, 2), true), ViewPos(1));  // a compacted copy
    using Case = std::pair<std::string_view, qsizetype>;
    for (const auto& [source, at] : {Case{"b", 2}, Case{"a", 3}, Case{"", 2}, Case{"renamed", 2}})
        EXPECT_EQ(positionOfIdx(merged, RowIdx(2), source, false), ViewPos(at)) << source;
    EXPECT_EQ(positionOfIdx(merged, RowIdx(9), "a", false), std::nullopt);
}

}  // namespace
}  // namespace vf::ui::test
