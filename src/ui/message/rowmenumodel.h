#pragma once
// Which items the log table's row menu offers, decided from plain values so
// that it can be checked without a window: the number of selected rows, the
// clicked column, the filter list's choice and the cell's value. Also the
// web-search address for a cell. No widgets; pure functions, any thread.

#include <QList>
#include <QString>
#include <QUrl>

namespace vf::ui {

enum class RowMenuAction {
    Separator,
    Copy,
    CopyMessage,
    ViewMessage,
    NewFilter,
    QuickFilter,
    UpdateFilter,  // a submenu holding Include and Exclude
    Include,
    Exclude,
    OpenLink,
    WebSearch,
    SetAppName,
};

struct RowMenuItem {
    RowMenuAction action = RowMenuAction::Separator;
    QString title;
    QString toolTip;
    QList<RowMenuItem> submenu;  // UpdateFilter only
};

struct RowMenuContext {
    int selectedRows = 0;
    int column = -1;           // where the clicked column is on screen; 0 is the leftmost shown
    QString columnKey;         // the column's row key ("text", "app", ...)
    QString columnTitle;       // its header title ("Text", "APP", ...)
    QString cellValue;         // the clicked cell's value, as shown
    int filterListRow = -1;    // the filter list's selected row (0: "All Messages")
    QString filterName;        // the saved filter on that row, when >= 1
    bool cellHasLink = false;  // the cell holds a web or mail address
};

// The items in their fixed order.
QList<RowMenuItem> rowMenuItems(const RowMenuContext& context);

// `engine` (for example https://www.example.org) + "/search?q=" + the value
// percent-escaped.
QUrl webSearchUrl(const QString& engine, const QString& value);

}  // namespace vf::ui
