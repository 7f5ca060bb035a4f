// The row menu's items per selection, the web search address and the
// typing terminal's command: pure functions, no window.
#include <gtest/gtest.h>

#include "ui/connection/typingterminal.h"
#include "ui/message/rowmenumodel.h"

using namespace Qt::StringLiterals;

namespace vf::ui {
namespace {

QStringList titles(const QList<RowMenuItem>& items) {
    QStringList out;
    for (const RowMenuItem& item : items) out << (item.action == RowMenuAction::Separator ? u"-"_s : item.title);
    return out;
}

RowMenuContext oneRow(int column, const QString& key, const QString& title, const QString& value) {
    RowMenuContext c;
    c.selectedRows = 1;
    c.column = column;
    c.columnKey = key;
    c.columnTitle = title;
    c.cellValue = value;
    c.filterListRow = 0;
    return c;
}

TEST(RowMenu, ItemsPerSelection) {
    const QStringList copies{u"Copy"_s, u"Copy Message"_s, u"View Message"_s};
    RowMenuContext two = oneRow(6, u"text"_s, u"Text"_s, u"x"_s);
    two.selectedRows = 2;
    EXPECT_EQ(titles(rowMenuItems(two)), copies);

    // The first column: no filter items.
    EXPECT_EQ(titles(rowMenuItems(oneRow(0, u"time"_s, u"Time"_s, u"01-01"_s))),
              (copies + QStringList{u"-"_s, u"-"_s, u"Search with Google"_s}));

    RowMenuContext text = oneRow(6, u"text"_s, u"Text"_s, u"  see www.x.org  "_s);
    text.cellHasLink = true;
    const QList<RowMenuItem> items = rowMenuItems(text);
    EXPECT_EQ(titles(items), (copies + QStringList{u"-"_s, u"New Filter..."_s, u"Quick Filter"_s, u"-"_s,
                                                   u"Open Link"_s, u"Search with Google"_s}));
    EXPECT_EQ(items[4].toolTip, u"Create new filter: Text = \"see www.x.org\""_s);
    EXPECT_EQ(items[5].toolTip, u"Perform quick filter: \"see www.x.org\""_s);

    // An empty app cell; the filter list's row 1 gives no Update Filter.
    RowMenuContext app = oneRow(1, u"app"_s, u"APP"_s, u""_s);
    app.filterListRow = 1;
    EXPECT_EQ(titles(rowMenuItems(app)), (copies + QStringList{u"-"_s, u"New Filter..."_s, u"Quick Filter"_s, u"-"_s,
                                                               u"Search with Google"_s, u"-"_s, u"Set App Name"_s}));

    RowMenuContext tag = oneRow(5, u"name"_s, u"Tag"_s, u"ConnectivityService"_s);
    tag.filterListRow = 2;
    tag.filterName = u"Mine"_s;
    const QList<RowMenuItem> withUpdate = rowMenuItems(tag);
    ASSERT_EQ(withUpdate[6].action, RowMenuAction::UpdateFilter);
    const QList<RowMenuItem>& sub = withUpdate[6].submenu;
    EXPECT_EQ(titles(sub), (QStringList{u"Include \"ConnectivitySer...\""_s, u"Exclude \"ConnectivitySer...\""_s}));
    EXPECT_EQ(sub[0].toolTip, u"Update saved filter \"Mine\" to INCLUDE Tag=\"ConnectivityService\""_s);
    EXPECT_EQ(sub[1].toolTip, u"Update saved filter \"Mine\" to EXCLUDE Tag=\"ConnectivityService\""_s);
}

// "Show Only This App" is offered for a row whose app names a package, as
// that package (without a process suffix, in its user).
TEST(RowMenu, ShowOnlyThisAppTakesTheRowsPackage) {
    RowMenuContext row = oneRow(6, u"text"_s, u"Text"_s, u"x"_s);
    row.rowApp = u"com.example:remote@10"_s;
    const QList<RowMenuItem> items = rowMenuItems(row);
    ASSERT_EQ(items.constLast().action, RowMenuAction::ShowOnlyApp);
    EXPECT_EQ(items.constLast().title, u"Show Only This App"_s);
    EXPECT_EQ(items.constLast().toolTip, u"Perform quick filter: \"package:com.example@10\""_s);
    const struct {
        QString app, package;
    } cases[] = {
        {u"com.example"_s, u"com.example"_s},
        {u"com.a,com.b@11"_s, u"com.a@11"_s},
        {u"/system/bin/surfaceflinger"_s, QString()},
        {u"Vellumfox"_s, QString()},
        {QString(), QString()},
    };
    for (const auto& c : cases) EXPECT_EQ(packageOfApp(c.app), c.package) << c.app.toStdString();
}

TEST(RowMenu, WebSearchEscapesTheValue) {
    EXPECT_EQ(webSearchUrl(u"https://search.example/"_s, u"a b&c=d/é"_s).toString(QUrl::FullyEncoded),
              u"https://search.example/search?q=a%20b%26c%3Dd%2F%C3%A9"_s);
}

TEST(TypingTerminal, ChoosesATerminalAndPassesArgumentsApart) {
    const auto only = [](QStringList installed) {
        return [installed](const QString& name) { return installed.contains(name) ? u"/usr/bin/"_s + name : QString(); };
    };
    TypingTerminalRequest request{u""_s, u"/opt/adb"_s, u"127.0.0.1"_s, u"5037"_s, u"emu; rm -rf ~"_s};
    const auto xterm = typingTerminalCommand(request, only({u"xterm"_s}));
    ASSERT_TRUE(xterm);
    EXPECT_EQ(xterm->program, u"/usr/bin/xterm"_s);
    EXPECT_EQ(xterm->arguments, (QStringList{u"-e"_s, u"/opt/adb"_s, u"-H"_s, u"127.0.0.1"_s, u"-P"_s, u"5037"_s,
                                             u"-s"_s, u"emu; rm -rf ~"_s, u"shell"_s}));
    request.terminalVariable = u"gnome-terminal"_s;
    EXPECT_EQ(typingTerminalCommand(request, only({u"xterm"_s, u"gnome-terminal"_s}))->arguments.first(), u"--"_s);
    EXPECT_FALSE(typingTerminalCommand(request, only({})));
}

}  // namespace
}  // namespace vf::ui
