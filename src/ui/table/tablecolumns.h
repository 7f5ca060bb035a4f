#pragma once
// The log table's columns and rows beyond the model: the column layout,
// saved across runs (order, widths and hidden columns, under the preference
// "logDataTable"), default widths made from the font (so a bigger font does
// not clip the time), widths and row height that follow later font size
// changes, and the header's menu to hide and show columns.
//
// Main thread only.

#include <QFontMetrics>
#include <QObject>
#include <QPointer>

#include "core/log/logrow.h"

class QHeaderView;
class QTableView;
class QTimer;

namespace vf::ui {

struct LevelStyles;

// The width that shows a typical value of `column` (a LogTableModel column)
// and its title in `metrics`' font.
int defaultColumnWidth(int column, const QFontMetrics& metrics);

// Resizes every column of `header` by how much `pointSize` differs from the
// size it was last called with (the first call only records the size).
void followFontSize(QHeaderView* header, double pointSize);

// The row height and header font of `table` for `styles`, and the column
// widths scaled to their point size.
void followStyles(QTableView* table, const LevelStyles& styles);

inline constexpr char kWrapLongMessagesKey[] = "wrapLongMessages";

// Rows as tall as their wrapped text (`wrap`), or one line each. Wrapping
// measures every shown row at each layout: it costs time on large logs.
void setWrapLongMessages(QTableView* table, bool wrap);

// A context menu on `header` with one check item per column it may show
// (see ColumnLayoutSaver::setShowable); the last visible column cannot be
// hidden.
void installColumnMenu(QHeaderView* header);

// Which of the columns that only some sources have values for a table may
// show: the buffer, the rows' source (a merged timeline), the uid.
struct ColumnSet {
    bool buffer = false;
    bool source = false;
    bool uid = false;
    bool operator==(const ColumnSet&) const = default;
};
// Whether a table with `set` may show `column`.
bool columnShowable(int column, const ColumnSet& set);
// The columns `rows` have values for, read from its first and last rows (a
// source's rows all have a uid or none; buffer markers come first).
ColumnSet columnsWithValues(const RowList& rows);

// The kinds of tab that keep a column layout of their own.
inline constexpr char kMergedLayout[] = "merged";
inline constexpr char kFileLayout[] = "file";
inline constexpr char kReportLayout[] = "report";
// The layout kind of a device's tab: one per device.
QString deviceLayoutKind(const QString& serial);

// Keeps the column layout of a table: gives the columns their default
// widths (wide enough for bold rows) and the column menu, restores the saved
// layout, and saves it half a second after the user resizes or moves a
// column, and once more when it goes. With no saved layout (the first run)
// the APP column widens to the widest app name shown until the user sizes
// it. Destroy it before the table.
//
// Each kind of tab (a device, plain files, bugreports, the merged timeline)
// keeps its layout under its kind; the last layout saved by any tab but the
// merged one is also the shared layout, which a tab of a kind with no layout
// yet starts from, with its kind's own columns shown: a report's buffers
// before the text, a merged timeline's sources first. The merged tab never
// takes the shared one.
class ColumnLayoutSaver final : public QObject {
    Q_OBJECT
public:
    // `header` already has its model's columns. `kind`: empty while the
    // tab's kind is not known yet (the shared layout only).
    explicit ColumnLayoutSaver(QHeaderView* header, const QString& kind = {});
    ~ColumnLayoutSaver() override;
    ColumnLayoutSaver(const ColumnLayoutSaver&) = delete;
    ColumnLayoutSaver& operator=(const ColumnLayoutSaver&) = delete;

    // The tab is now of `kind`: the layout so far stays with the old kind,
    // and the new kind's saved layout, if any, is restored.
    void setKind(const QString& kind);
    const QString& kind() const { return kind_; }
    // The columns the table may show: the others are hidden (and left out of
    // the column menu) until they may be shown again, as the user left them.
    void setShowable(const ColumnSet& set);
    void save() const;

private:
    void fitAppColumn();
    void showKindColumns();
    void applyShowable();

    QPointer<QHeaderView> header_;
    QString kind_;
    QTimer* timer_ = nullptr;
    QTimer* fitTimer_ = nullptr;  // gathers row changes for fitAppColumn; null once the user sized the column
    bool fitting_ = false;        // the resize is fitAppColumn's own
    ColumnSet showable_;
    QList<int> heldBack_;  // columns shown in the layout, hidden while not showable
};

}  // namespace vf::ui
