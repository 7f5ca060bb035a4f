#include "ui/logtablemodel.h"

#include <QBrush>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace vf::ui {

LogTableModel::LogTableModel(const LevelStyles* styles, QObject* parent)
    : QAbstractTableModel(parent), styles_(styles) {}

void LogTableModel::setRows(RowList rows) {
    if (rows.size() == rows_.size() && rows.constData() == rows_.constData()) return;
    if (applyAsDiff(rows)) return;
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

bool LogTableModel::applyAsDiff(const RowList& rows) {
    if (rows_.isEmpty() || rows.isEmpty()) return false;
    const RowPtr& first = rows.first();
    const auto found = std::find(rows_.cbegin(), rows_.cend(), first);
    if (found == rows_.cend()) return false;
    const qsizetype dropped = found - rows_.cbegin();
    const qsizetype kept = rows_.size() - dropped;
    if (kept > rows.size() || !std::equal(found, rows_.cend(), rows.cbegin())) return false;
    if (dropped > 0) {
        beginRemoveRows({}, 0, int(dropped - 1));
        rows_.remove(0, dropped);
        endRemoveRows();
    }
    if (rows.size() > kept) {
        beginInsertRows({}, int(kept), int(rows.size() - 1));
        rows_ = rows;
        endInsertRows();
    } else {
        rows_ = rows;
    }
    return true;
}

const Row* LogTableModel::rowAt(int row) const {
    return (row >= 0 && row < rows_.size()) ? rows_.at(row).get() : nullptr;
}

int LogTableModel::rowOfIdx(uint64_t idx) const {
    for (qsizetype i = 0; i < rows_.size(); ++i)
        if (rows_.at(i)->idx() == idx) return int(i);
    return -1;
}

void LogTableModel::stylesChanged() {
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
    const Row* row = rowAt(index.row());
    if (row == nullptr) return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: {
        const std::string_view value = row->view(keyForColumn(index.column()));
        return QString::fromUtf8(value.data(), qsizetype(value.size()));
    }
    case Qt::FontRole:
        return styles_->fontFor(row->type());
    case Qt::ForegroundRole:
        if (const auto color = styles_->colorFor(row->type())) return QBrush(*color);
        return {};
    case Qt::TextAlignmentRole:
        return index.column() == kTypeColumn ? int(Qt::AlignCenter) : int(Qt::AlignLeft | Qt::AlignVCenter);
    default:
        return {};
    }
}

QVariant LogTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    static const QStringList kTitles{u"Time"_s, u"APP"_s, u"PID"_s, u"TID"_s, u"Type"_s, u"Tag"_s, u"Text"_s};
    if (orientation != Qt::Horizontal || section < 0 || section >= kTitles.size()) return {};
    if (role == Qt::DisplayRole) return kTitles.at(section);
    if (role == Qt::TextAlignmentRole && section == kTypeColumn) return int(Qt::AlignCenter);
    return {};
}

}  // namespace vf::ui
