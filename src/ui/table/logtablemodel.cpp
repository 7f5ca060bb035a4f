#include "ui/table/logtablemodel.h"

#include <QBrush>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace vf::ui {

std::optional<ViewPos> positionOfRow(const RowList& rows, const Row& row, bool ordered) {
    if (ordered) return positionOf(rows, row.idx());
    const auto at = std::find_if(rows.begin(), rows.end(), [&row](const RowPtr& each) { return each.get() == &row; });
    return at != rows.end() ? std::optional(ViewPos(at - rows.begin())) : std::nullopt;
}

std::optional<ViewPos> positionOfIdx(const RowList& rows, RowIdx idx, std::string_view source, bool ordered) {
    if (ordered) return positionOf(rows, idx);
    std::optional<ViewPos> first;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const Row& row = *rows.at(i);
        if (row.idx() != idx) continue;
        if (source.empty() || row.view(RowKey::Source) == source) return ViewPos(i);
        if (!first) first = ViewPos(i);
    }
    return first;
}

LogTableModel::LogTableModel(QObject* parent) : QAbstractTableModel(parent) {}

void LogTableModel::setRows(RowList rows, const StoreChange& change) {
    if (applyChange(rows, change)) return;
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

bool LogTableModel::applyChange(RowList& rows, const StoreChange& change) {
    if (change.reset || change.dropped > rows_.size()) return false;
    const qsizetype dropped = change.dropped;
    const qsizetype kept = rows_.size() - dropped;
    if (kept + change.appended != rows.size()) return false;
    if (dropped > 0) {
        beginRemoveRows({}, 0, int(dropped - 1));
        rows_.remove(0, dropped);
        endRemoveRows();
    }
    if (rows.size() > kept) {
        beginInsertRows({}, int(kept), int(rows.size() - 1));
        rows_ = std::move(rows);
        endInsertRows();
    } else {
        rows_ = std::move(rows);
    }
    return true;
}

const Row* LogTableModel::rowAt(ViewPos row) const {
    return (row.value() >= 0 && row.value() < rows_.size()) ? rows_.at(row.value()).get() : nullptr;
}


void LogTableModel::setStyles(LevelStyles styles) {
    styles_ = std::move(styles);
    refreshCells();
}

void LogTableModel::refreshCells() {
    if (rows_.isEmpty()) return;
    Q_EMIT dataChanged(index(0, 0), index(int(rows_.size() - 1), columnCount() - 1),
                       {Qt::FontRole, Qt::ForegroundRole, Qt::SizeHintRole});
}

int LogTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows_.size());
}

int LogTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(kLogColumns.size());
}

QVariant LogTableModel::data(const QModelIndex& index, int role) const {
    const Row* row = rowAt(ViewPos(index.row()));
    if (row == nullptr) return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: {
        const std::string_view value = row->view(keyForColumn(index.column()));
        return QString::fromUtf8(value.data(), qsizetype(value.size()));
    }
    case Qt::FontRole:
        return styles_.fontFor(row->type());
    case Qt::ForegroundRole:
        if (const auto color = styles_.colorFor(row->type())) return QBrush(*color);
        return {};
    case Qt::TextAlignmentRole:
        return index.column() == kTypeColumn ? int(Qt::AlignCenter) : int(Qt::AlignLeft | Qt::AlignVCenter);
    default:
        return {};
    }
}

QString LogTableModel::columnTitle(int column) {
    static const QStringList kTitles{u"Time"_s, u"APP"_s, u"PID"_s, u"TID"_s, u"Type"_s, u"Tag"_s, u"Text"_s, u"Buffer"_s, u"Source"_s, u"UID"_s};
    return kTitles.value(column);
}

QVariant LogTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) return {};
    if (role == Qt::DisplayRole) return columnTitle(section);
    if (role == Qt::TextAlignmentRole && section == kTypeColumn) return int(Qt::AlignCenter);
    return {};
}

}  // namespace vf::ui
