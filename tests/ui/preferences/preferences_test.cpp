// The preferences window: pane switching and settings that apply at once.
#include <QCheckBox>
#include <QDoubleSpinBox>

#include "ui/preferences/preferenceswindow.h"
#include "ui/uitestsupport.h"

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class PreferencesTest : public UiTest {};

TEST_F(PreferencesTest, PanesSwitchWithAFadeAndTheShownOneIsLeftAlone) {
    start();
    app->parts().window->preferencesAction->trigger();
    PreferencesWindow* prefs = app->parts().preferences;
    ASSERT_NE(prefs, nullptr);
    EXPECT_EQ(prefs->currentIdentifier(), u"General"_s);
    EXPECT_EQ(prefs->windowTitle(), u"General"_s);
    const int top = prefs->geometry().top();
    const QSize size = prefs->size();  // one size for every pane

    prefs->displayViewForIdentifier(u"Appearance"_s, true);
    EXPECT_EQ(prefs->windowTitle(), u"Appearance"_s);
    EXPECT_EQ(prefs->lastAnimationDuration(), 250);
    ASSERT_TRUE(vf::test::waitUntil([&] { return !prefs->pane(u"General"_s)->isVisible(); }));
    EXPECT_EQ(prefs->geometry().top(), top);
    EXPECT_EQ(prefs->size(), size);

    prefs->displayViewForIdentifier(u"General"_s, false);
    EXPECT_EQ(prefs->lastAnimationDuration(), 0);
    prefs->displayViewForIdentifier(u"General"_s, true);  // already shown
    EXPECT_EQ(prefs->lastAnimationDuration(), 0);
    EXPECT_TRUE(prefs->pane(u"General"_s)->isVisible());

    EXPECT_EQ(PreferencesWindow::crossFadeDuration(Qt::ShiftModifier, true), 1250);
    EXPECT_EQ(PreferencesWindow::crossFadeDuration(Qt::ShiftModifier, false), 250);
    EXPECT_EQ(PreferencesWindow::crossFadeDuration(Qt::NoModifier, true), 250);
}

TEST_F(PreferencesTest, AppearanceChangesRedrawTheLogAtOnce) {
    start();
    show({row(1, "E", "an error")});
    app->parts().window->preferencesAction->trigger();
    QWidget* pane = app->parts().preferences->pane(u"Appearance"_s);
    auto* bold = pane->findChild<QCheckBox*>(u"logErrorBold"_s);
    ASSERT_NE(bold, nullptr);
    EXPECT_FALSE(model()->index(0, 6).data(Qt::FontRole).value<QFont>().bold());
    bold->setChecked(true);
    EXPECT_TRUE(Preferences::boolean(u"logErrorBold"_s));
    EXPECT_TRUE(model()->index(0, 6).data(Qt::FontRole).value<QFont>().bold());

    auto* size = pane->findChild<QDoubleSpinBox*>(u"defaultFontSize"_s);
    ASSERT_NE(size, nullptr);
    size->setValue(16);
    EXPECT_EQ(model()->index(0, 6).data(Qt::FontRole).value<QFont>().pointSizeF(), 16.0);
}

}  // namespace
}  // namespace vf::ui::test
