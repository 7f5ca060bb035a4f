#pragma once
// The log table's model: a read-only view over the rows the store shows.
// Cell texts are made from the row's UTF-8 only when the view asks for a
// visible cell; fonts and colours come from the level styles it is given.
//
// Main thread only.

#include <QAbstractTableModel>
#include <QStringList>
#include <array>
#include <optional>
#include <string_view>

#include "core/filter/fieldsource.h"
#include "core/log/logrow.h"
#include "core/log/storechange.h"
#include "ui/table/levelstyles.h"

namespace vf::ui {

// Columns in their default order; each is one row key. The last three
// show only where rows have values for them (see ColumnSet): the buffer, the
// source of a merged timeline's rows, the uid of the layout with uids.
inline constexpr std::array<RowKey, 10> kLogColumns{RowKey::Time,   RowKey::App,    RowKey::Pid,  RowKey::Tid,
                                                    RowKey::Type,   RowKey::Name,   RowKey::Text, RowKey::Buffer,
                                                    RowKey::Source, RowKey::Uid};
inline constexpr int kTypeColumn = 4;
inline constexpr int kTextColumn = 6;
inline constexpr int kBufferColumn = 7;
inline constexpr int kSourceColumn = 8;
inline constexpr int kUidColumn = 9;

// Where `row` is shown in `rows`; nullopt when it is not. `ordered`: the
// rows' indexes rise (a single source), so its index finds it (the view may
// hold a copy of a row the store let go). Else several sources share index
// numbers, and only the row itself counts.
std::optional<ViewPos> positionOfRow(const RowList& rows, const Row& row, bool ordered);
// Where the row numbered `idx` from the source named `source` is shown. In
// ordered rows the index alone decides. Among several sources the row of
// that source wins, else the first with that index (its source was renamed
// since); an empty `source` takes the first with that index.
std::optional<ViewPos> positionOfIdx(const RowList& rows, RowIdx idx, std::string_view source, bool ordered);

class LogTableModel final : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit LogTableModel(QObject* parent = nullptr);

    // Shows `rows`, which differ from the rows shown by `change`. A live
    // refresh (rows dropped at the front, rows appended) goes out as row
    // removals and insertions so the view keeps its selection; a reset, or a
    // change that does not fit the rows shown, as a model reset.
    void setRows(RowList rows, const StoreChange& change = {true, 0, 0});
    const RowList& rows() const { return rows_; }
    const Row* rowAt(ViewPos row) const;
    // Where `row` is shown; nullopt when it is not.
    std::optional<ViewPos> rowOf(const Row& row) const { return positionOfRow(rows_, row, !sourceColumn_); }
    // Where the row numbered `idx` of `source` is shown (see positionOfIdx).
    std::optional<ViewPos> rowOfIdx(RowIdx idx, std::string_view source = {}) const {
        return positionOfIdx(rows_, idx, source, !sourceColumn_);
    }
    // New fonts and colours: every cell is restyled.
    void setStyles(LevelStyles styles);
    const LevelStyles& styles() const { return styles_; }
    // Every cell again (a value changed in place, such as an app name).
    void refreshCells();
    // A merged timeline's rows: they come from several sources, so an index
    // no longer names one (and the Source column has values).
    void showSourceColumn() { sourceColumn_ = true; }
    bool hasSourceColumn() const { return sourceColumn_; }

    static RowKey keyForColumn(int column) {
        return column >= 0 && column < int(kLogColumns.size()) ? kLogColumns[size_t(column)] : RowKey::Text;
    }
    // The header title of `column` ("Time", "APP" ...); empty for none.
    static QString columnTitle(int column);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    bool applyChange(RowList& rows, const StoreChange& change);

    LevelStyles styles_;
    bool sourceColumn_ = false;
    RowList rows_;
};

}  // namespace vf::ui
