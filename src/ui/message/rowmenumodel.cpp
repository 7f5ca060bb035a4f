#include "ui/message/rowmenumodel.h"

#include <QRegularExpression>

#include "core/text/textutils.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

constexpr qsizetype kShortValueLength = 15;

RowMenuItem item(RowMenuAction action, const QString& title, const QString& toolTip = {}) {
    return RowMenuItem{action, title, toolTip, {}};
}

RowMenuItem separator() { return RowMenuItem{}; }

// New Filter, Quick Filter and the Update Filter submenu.
void addFilterItems(const RowMenuContext& c, const QString& value, QList<RowMenuItem>& items) {
    items << item(RowMenuAction::NewFilter, u"New Filter..."_s,
                  u"Create new filter: %1 = \"%2\""_s.arg(c.columnTitle, value));
    items << item(RowMenuAction::QuickFilter, u"Quick Filter"_s, u"Perform quick filter: \"%1\""_s.arg(value));
    // Row 1, the first saved filter, is deliberately left out, as in "New
    // Filter From Selected...".
    if (c.filterListRow < 2) return;
    const QString shortValue = TextUtils::truncate(value, kShortValueLength);
    RowMenuItem update = item(RowMenuAction::UpdateFilter, u"Update Filter"_s);
    update.submenu << item(RowMenuAction::Include, u"Include \"%1\""_s.arg(shortValue),
                           u"Update saved filter \"%1\" to INCLUDE %2=\"%3\""_s.arg(c.filterName, c.columnTitle, value));
    update.submenu << item(RowMenuAction::Exclude, u"Exclude \"%1\""_s.arg(shortValue),
                           u"Update saved filter \"%1\" to EXCLUDE %2=\"%3\""_s.arg(c.filterName, c.columnTitle, value));
    items << update;
}

}  // namespace

QList<RowMenuItem> rowMenuItems(const RowMenuContext& c) {
    QList<RowMenuItem> items{
        item(RowMenuAction::Copy, u"Copy"_s),
        item(RowMenuAction::CopyMessage, u"Copy Message"_s, u"Copy Message to clipboard"_s),
        item(RowMenuAction::ViewMessage, u"View Message"_s, u"View Message contents in message viewer"_s),
    };
    if (c.selectedRows != 1) return items;
    const QString value = c.cellValue.trimmed();
    items << separator();
    if (c.column > 0) addFilterItems(c, value, items);
    items << separator();
    if (c.columnKey == u"text"_s && c.cellHasLink) items << item(RowMenuAction::OpenLink, u"Open Link"_s);
    items << item(RowMenuAction::WebSearch, u"Search with Google"_s);
    if (c.columnKey == u"app"_s && value.isEmpty())
        items << separator() << item(RowMenuAction::SetAppName, u"Set App Name"_s);
    if (const QString package = packageOfApp(c.rowApp); !package.isEmpty())
        items << separator()
              << item(RowMenuAction::ShowOnlyApp, u"Show Only This App"_s,
                      u"Perform quick filter: \"package:%1\""_s.arg(package));
    return items;
}

QString packageOfApp(const QString& app) {
    static const QRegularExpression kPackage(u"^[A-Za-z][A-Za-z0-9_]*(\\.[A-Za-z0-9_]+)+$"_s);
    QString user;
    QString name = app.trimmed();
    if (const qsizetype at = name.lastIndexOf(u'@'); at > 0) {
        user = name.mid(at);
        name.truncate(at);
    }
    name = name.section(u',', 0, 0).section(u':', 0, 0);
    return kPackage.match(name).hasMatch() ? name + user : QString();
}

QUrl webSearchUrl(const QString& engine, const QString& value) {
    QString base = engine.trimmed();
    while (base.endsWith(u'/')) base.chop(1);
    return QUrl(base + u"/search?q="_s + QString::fromLatin1(QUrl::toPercentEncoding(value)), QUrl::StrictMode);
}

}  // namespace vf::ui
