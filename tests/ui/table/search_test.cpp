// Search through the window: the field, Find Next/Previous and live search
// typed into the table. The walk itself and what a pattern matches are the
// core's (tests/log/logsearch_test.cpp); these check the wiring.
#include <QKeyEvent>
#include <QLineEdit>

#include "ui/table/highlightdelegate.h"
#include "ui/uitestsupport.h"

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class SearchTest : public UiTest {
protected:
    int selected() const {
        const QModelIndexList rows = table()->selectionModel()->selectedRows();
        return rows.size() == 1 ? rows.first().row() : -1;
    }
    bool key(int code, const QString& text = {}, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QKeyEvent event(QEvent::KeyPress, code, modifiers, text);
        return app->tab().messages->onKeyEventForTableView(table(), &event);
    }
    QString searchText() const { return app->parts().window->searchField()->text(); }
};

TEST_F(SearchTest, FindsFromTheSelectionOrBackwardsFromTheEnd) {
    start();
    show({row(1, "I", "abc"), row(2, "I", "nothing"), row(3, "I", "abc again"), row(4, "I", "zzz")});
    app->tab().search->search(u"abc"_s);  // nothing selected: backward from the last row
    EXPECT_EQ(selected(), 2);
    EXPECT_EQ(app->tab().highlight->searchText(), u"abc"_s);
    app->parts().window->searchField()->setText(u"abc"_s);
    app->tab().search->findNext();
    EXPECT_EQ(selected(), 0);  // wrapped
    app->tab().search->findPrevious();
    EXPECT_EQ(selected(), 2);
}

TEST_F(SearchTest, TypingIntoTheTableRunsALiveSearch) {
    start();
    show({row(1, "I", "alpha"), row(2, "I", "beta"), row(3, "I", "alps")});
    EXPECT_TRUE(key(Qt::Key_A, u"a"_s));
    EXPECT_TRUE(app->tab().search->isLiveSearching());
    EXPECT_TRUE(key(Qt::Key_L, u"l"_s));
    EXPECT_TRUE(key(Qt::Key_P, u"p"_s));
    EXPECT_EQ(searchText(), u"alp"_s);
    EXPECT_EQ(selected(), 2);
    EXPECT_TRUE(key(Qt::Key_S, u"S"_s, Qt::ShiftModifier));
    EXPECT_EQ(searchText(), u"alpS"_s);
    EXPECT_TRUE(key(Qt::Key_Backspace));
    EXPECT_TRUE(key(Qt::Key_Delete));
    EXPECT_EQ(searchText(), u"al"_s);
    EXPECT_TRUE(key(Qt::Key_Backspace));
    EXPECT_TRUE(key(Qt::Key_Backspace));  // fewer than two characters: empty
    EXPECT_EQ(searchText(), QString());
    EXPECT_TRUE(key(Qt::Key_B, u"b"_s));
    EXPECT_TRUE(key(Qt::Key_Escape));
    EXPECT_FALSE(app->tab().search->isLiveSearching());
    EXPECT_EQ(searchText(), QString());
    EXPECT_TRUE(key(Qt::Key_E, u"e"_s));  // a new live search starts fresh
    EXPECT_EQ(searchText(), u"e"_s);

    for (const int code : {Qt::Key_Down, Qt::Key_PageUp, Qt::Key_F5}) EXPECT_FALSE(key(code)) << code;
    EXPECT_FALSE(key(Qt::Key_Tab, u"\t"_s));
    EXPECT_FALSE(key(Qt::Key_C, u"c"_s, Qt::ControlModifier));
    table()->selectRowAlone(0);
    app->parts().window->searchField()->setText(u"alp"_s);
    EXPECT_TRUE(key(Qt::Key_Return));  // Find Next
    EXPECT_EQ(selected(), 2);
}

TEST_F(SearchTest, FindNextWithAnEmptyFieldFocusesIt) {
    start();
    app->parts().window->show();
    app->parts().window->activateWindow();
    show({row(1, "I", "x")});
    app->tab().search->findNext();
    ASSERT_TRUE(vf::test::waitUntil([&] { return app->parts().window->searchField()->hasFocus(); }, 2000));
}

}  // namespace
}  // namespace vf::ui::test
