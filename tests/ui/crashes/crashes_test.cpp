// The Crashes panel inside the controller: a file with crashes, choosing
// one, copying it, clearing, and the mark on the count while following.
#include <QAction>
#include <QListWidget>

#include "ui/crashes/crashespanel.h"
#include "ui/uitestsupport.h"

using namespace Qt::StringLiterals;

namespace vf::ui::test {
namespace {

class CrashesPanelTest : public UiTest {
protected:
    CrashesPanel* panel() const { return app->tab().crashes; }
};

TEST_F(CrashesPanelTest, ChoosingACrashShowsExactlyItsRowsAndSelectsTheFirst) {
    start();
    app->tab().files->openFile(QStringLiteral(VF_TEST_DATA_DIR "/crashes/java-threadtime.log"));
    ASSERT_TRUE(vf::test::waitUntil([&] { return panel()->list()->count() == 2; }));
    EXPECT_EQ(panel()->countAction()->text(), u"Crashes: 2"_s);
    // Newest first: the app that died first is the second item.
    ASSERT_TRUE(panel()->list()->item(1)->text().contains(u"com.example.app (4242)"_s));

    panel()->chooseCrash(1);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 8 && !table()->selectionModel()->selectedRows().isEmpty(); }));
    EXPECT_EQ(table()->selectionModel()->selectedRows().value(0).row(), 0);
    EXPECT_EQ(model()->rowAt(ViewPos(0))->text(), "FATAL EXCEPTION: main");
    for (int r = 0; r < model()->rowCount(); ++r) EXPECT_EQ(model()->rowAt(ViewPos(r))->pid(), "4242") << r;

    const QStringList lines = panel()->crashText().split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 8);
    EXPECT_TRUE(lines.first().endsWith(u"FATAL EXCEPTION: main"_s)) << lines.first().toStdString();
    EXPECT_TRUE(lines.last().endsWith(u"... 11 more"_s)) << lines.last().toStdString();

    app->parts().window->clearAction->trigger();
    EXPECT_EQ(panel()->list()->count(), 0);
    EXPECT_EQ(panel()->countAction()->text(), u"Crashes: 0"_s);
}

TEST_F(CrashesPanelTest, ANewCrashWhileFollowingMarksTheCountUntilThePanelIsShown) {
    start();
    ASSERT_TRUE(app->tab().follower->scrollToBottom());
    RowList rows = levelRows(10);
    rows << arena.make(RowValues{10, "01-01 00:00:01.000", "", "77", "78", "F", "libc",
                                 "Fatal signal 11 (SIGSEGV), code 1 (SEGV_MAPERR), fault addr 0x0 in tid 78 (T), pid 77 (x)"});
    show(rows);
    ASSERT_TRUE(vf::test::waitUntil([&] { return panel()->isMarked(); }));
    EXPECT_EQ(panel()->countAction()->text(), u"Crashes: 1 new"_s);
    panel()->countAction()->trigger();
    EXPECT_FALSE(panel()->isMarked());
    EXPECT_EQ(panel()->countAction()->text(), u"Crashes: 1"_s);
}

TEST_F(CrashesPanelTest, SaysHowManyCrashesTheLimitDropped) {
    start();
    RowList rows;
    for (uint64_t i = 0; i < CrashDetector::kMaxCrashes + 2; ++i) {
        const std::string pid = std::to_string(100 + i);
        rows << arena.make(RowValues{i, "01-01 00:00:01.000", "", pid, pid, "F", "libc",
                                     "Fatal signal 6 (SIGABRT), code -1 (SI_QUEUE) in tid 1 (a), pid 1 (a)"});
    }
    show(rows);
    ASSERT_TRUE(vf::test::waitUntil([&] { return panel()->list()->count() == int(CrashDetector::kMaxCrashes); }));
    EXPECT_EQ(panel()->summaryText(), u"The newest 1000 crashes; 2 older dropped"_s);
}

TEST_F(CrashesPanelTest, TheShownCrashKeepsShowingTheRowsItGains) {
    start();
    LogDatasource& store = *app->tab().store;
    store.beginRun();  // live rows, as a device's stream brings them
    const auto line = [&](const std::string& text) {
        store.addLiveLine("01-01 00:00:01.000    55    55 E AndroidRuntime: " + text + "\n");
    };
    line("FATAL EXCEPTION: main");
    line("java.lang.IllegalStateException: boom");
    ASSERT_TRUE(vf::test::waitUntil([&] { return panel()->list()->count() == 1; }));
    panel()->chooseCrash(0);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 2; }));
    line("\tat com.example.Main.run(Main.java:7)");
    EXPECT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 3; }));
    store.endRun();
}

}  // namespace
}  // namespace vf::ui::test
