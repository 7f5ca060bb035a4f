#include "ui/table/tablecolumns.h"

#include <QAction>
#include <QApplication>
#include <QHeaderView>
#include <QMenu>
#include <QSignalBlocker>
#include <QTableView>
#include <QTimer>
#include <array>
#include <cmath>

#include "core/support/preferences.h"
#include "ui/table/levelstyles.h"
#include "ui/table/logtablemodel.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

constexpr char kPointSizeProperty[] = "vfPointSize";
constexpr char kUnshowableProperty[] = "vfUnshowable";  // columns left out of the column menu
constexpr std::array<int, 3> kSomeSourcesColumns{kBufferColumn, kSourceColumn, kUidColumn};
constexpr int kSampleRows = 64;  // rows read at each end by columnsWithValues
constexpr char kLayoutKey[] = "logDataTable";  // the shared layout
constexpr char kLayoutsKey[] = "logDataTableLayouts";  // kind -> layout
constexpr int kAppColumn = 1;
constexpr int kFitRows = 5000;     // the rows an APP fit reads
constexpr int kMaxAppChars = 48;   // the widest the fit makes the APP column

QByteArray savedLayout(const QString& kind) {
    return Preferences::value(QLatin1String(kLayoutsKey)).toMap().value(kind).toByteArray();
}

}  // namespace

QString deviceLayoutKind(const QString& serial) { return u"device "_s + serial; }

int defaultColumnWidth(int column, const QFontMetrics& metrics) {
    // Typical values, in the order of kLogColumns.
    static const std::array<QString, kLogColumns.size()> kSamples{
        u"00-00 00:00:00.000"_s, u"com.example.app:x"_s, u"000000"_s, u"000000"_s, u"W"_s,
        u"ActivityManager"_s, u"A message of average length, as logs go"_s, u"system"_s, u"Pixel 6 (ABC123)"_s,
        u"10123"_s};
    if (column < 0 || column >= int(kSamples.size())) return 0;
    const int padding = metrics.averageCharWidth() * 2;
    // Header sections have wider margins than cells (Fusion's most of all).
    const QString title = LogTableModel::columnTitle(column);
    const int titleWidth = metrics.horizontalAdvance(title) + metrics.averageCharWidth() * 2;
    return qMax(metrics.horizontalAdvance(kSamples[size_t(column)]), titleWidth) + padding;
}

void followFontSize(QHeaderView* header, double pointSize) {
    const QVariant last = header->property(kPointSizeProperty);
    header->setProperty(kPointSizeProperty, pointSize);
    if (!last.isValid() || last.toDouble() <= 0 || last.toDouble() == pointSize) return;
    const double factor = pointSize / last.toDouble();
    // A stretched last column fills what is left: scaling it would only add a scroll bar.
    int stretched = -1;
    for (int visual = header->count() - 1; header->stretchLastSection() && visual >= 0 && stretched < 0; --visual)
        if (!header->isSectionHidden(header->logicalIndex(visual))) stretched = header->logicalIndex(visual);
    for (int column = 0; column < header->count(); ++column) {
        if (header->isSectionHidden(column) || column == stretched) continue;
        header->resizeSection(column, int(std::lround(header->sectionSize(column) * factor)));
    }
}

void followStyles(QTableView* table, const LevelStyles& styles) {
    table->verticalHeader()->setMinimumSectionSize(1);
    table->verticalHeader()->setDefaultSectionSize(styles.rowHeight);
    table->horizontalHeader()->setFont(QApplication::font());
    followFontSize(table->horizontalHeader(), styles.pointSize);
}

void setWrapLongMessages(QTableView* table, bool wrap) {
    table->setWordWrap(wrap);
    table->setTextElideMode(wrap ? Qt::ElideNone : Qt::ElideRight);
    table->verticalHeader()->setSectionResizeMode(wrap ? QHeaderView::ResizeToContents : QHeaderView::Fixed);
}

void installColumnMenu(QHeaderView* header) {
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    QObject::connect(header, &QWidget::customContextMenuRequested, header, [header](const QPoint& at) {
        QAbstractItemModel* model = header->model();
        if (model == nullptr) return;
        auto* menu = new QMenu(header);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        int visible = 0;
        for (int column = 0; column < header->count(); ++column) visible += header->isSectionHidden(column) ? 0 : 1;
        const QList<int> unshowable = header->property(kUnshowableProperty).value<QList<int>>();
        for (int column = 0; column < header->count(); ++column) {
            if (unshowable.contains(column)) continue;
            QAction* item = menu->addAction(model->headerData(column, Qt::Horizontal).toString());
            item->setCheckable(true);
            item->setChecked(!header->isSectionHidden(column));
            item->setEnabled(header->isSectionHidden(column) || visible > 1);
            QObject::connect(item, &QAction::toggled, header, [header, column](bool on) {
                header->setSectionHidden(column, !on);
                if (on && header->sectionSize(column) < header->minimumSectionSize())
                    header->resizeSection(column, defaultColumnWidth(column, header->fontMetrics()));
            });
        }
        menu->popup(header->mapToGlobal(at));
    });
}

bool columnShowable(int column, const ColumnSet& set) {
    switch (column) {
    case kBufferColumn: return set.buffer;
    case kSourceColumn: return set.source;
    case kUidColumn: return set.uid;
    default: return true;
    }
}

ColumnSet columnsWithValues(const RowList& rows) {
    ColumnSet set;
    const auto look = [&set](const RowPtr& row) {
        set.buffer = set.buffer || !row->view(RowKey::Buffer).empty();
        set.uid = set.uid || !row->uid().empty();
    };
    const qsizetype head = qMin(rows.size(), qsizetype(kSampleRows));
    for (qsizetype i = 0; i < head; ++i) look(rows.at(i));
    for (qsizetype i = qMax(head, rows.size() - kSampleRows); i < rows.size(); ++i) look(rows.at(i));
    return set;
}

ColumnLayoutSaver::ColumnLayoutSaver(QHeaderView* header, const QString& kind) : header_(header), kind_(kind) {
    // Some levels are drawn bold: the widths are those of bold text.
    QFont font = QApplication::font();
    font.setPointSizeF(readFontSize());
    font.setBold(true);
    for (int column = 0; column < header->count(); ++column)
        header->resizeSection(column, defaultColumnWidth(column, QFontMetrics(font)));
    installColumnMenu(header);
    for (int column : kSomeSourcesColumns) header->setSectionHidden(column, true);
    QByteArray state = kind.isEmpty() ? QByteArray() : savedLayout(kind);
    const bool own = !state.isEmpty();
    if (state.isEmpty() && kind != QLatin1String(kMergedLayout))
        state = Preferences::value(QLatin1String(kLayoutKey)).toByteArray();
    if (!state.isEmpty()) header->restoreState(state);
    if (!own) showKindColumns();
    applyShowable();
    if (state.isEmpty() && header->model() != nullptr) {
        fitTimer_ = new QTimer(this);
        fitTimer_->setSingleShot(true);
        fitTimer_->setInterval(300);
        connect(fitTimer_, &QTimer::timeout, this, &ColumnLayoutSaver::fitAppColumn);
        // At most one fit per interval, also while rows stream in.
        const auto soon = [this] {
            if (fitTimer_ != nullptr && !fitTimer_->isActive()) fitTimer_->start();
        };
        const QAbstractItemModel* model = header->model();
        connect(model, &QAbstractItemModel::rowsInserted, this, soon);
        connect(model, &QAbstractItemModel::modelReset, this, soon);
        connect(model, &QAbstractItemModel::dataChanged, this, soon);
        connect(header, &QHeaderView::sectionResized, this, [this](int column) {
            if (column != kAppColumn || fitting_ || fitTimer_ == nullptr) return;
            fitTimer_->deleteLater();  // the user chose a width: it stays
            fitTimer_ = nullptr;
        });
    }

    timer_ = new QTimer(this);
    timer_->setSingleShot(true);
    timer_->setInterval(500);
    connect(timer_, &QTimer::timeout, this, &ColumnLayoutSaver::save);
    connect(header, &QHeaderView::sectionResized, timer_, qOverload<>(&QTimer::start));
    connect(header, &QHeaderView::sectionMoved, timer_, qOverload<>(&QTimer::start));
}

ColumnLayoutSaver::~ColumnLayoutSaver() { save(); }

// The widest app name of the first rows shown (bold, like fatal rows),
// within a bound; the column only grows.
void ColumnLayoutSaver::fitAppColumn() {
    const QAbstractItemModel* model = header_ != nullptr ? header_->model() : nullptr;
    if (model == nullptr || fitTimer_ == nullptr) return;
    QFont font = QApplication::font();
    font.setPointSizeF(readFontSize());
    font.setBold(true);
    const QFontMetrics metrics(font);
    int widest = 0;
    for (int row = 0, rows = qMin(model->rowCount(), kFitRows); row < rows; ++row)
        widest = qMax(widest, metrics.horizontalAdvance(model->index(row, kAppColumn).data().toString()));
    const int width = qMin(widest + metrics.averageCharWidth() * 2, metrics.averageCharWidth() * kMaxAppChars);
    if (width <= header_->sectionSize(kAppColumn)) return;
    fitting_ = true;
    header_->resizeSection(kAppColumn, width);
    fitting_ = false;
}

void ColumnLayoutSaver::setKind(const QString& kind) {
    if (kind == kind_) return;
    if (!kind_.isEmpty()) save();
    kind_ = kind;
    if (header_ == nullptr) return;
    const QByteArray state = savedLayout(kind);
    if (!state.isEmpty() && header_->restoreState(state)) {
        heldBack_.clear();
    } else {
        showKindColumns();
    }
    applyShowable();
}

void ColumnLayoutSaver::setShowable(const ColumnSet& set) {
    if (set == showable_) return;
    showable_ = set;
    applyShowable();
}

void ColumnLayoutSaver::applyShowable() {
    if (header_ == nullptr) return;
    QList<int> unshowable;
    for (int column : kSomeSourcesColumns) {
        if (columnShowable(column, showable_)) {
            if (heldBack_.removeOne(column)) header_->setSectionHidden(column, false);
            continue;
        }
        unshowable << column;
        if (header_->isSectionHidden(column)) continue;
        heldBack_ << column;
        header_->setSectionHidden(column, true);
    }
    header_->setProperty(kUnshowableProperty, QVariant::fromValue(unshowable));
}

// A kind's own columns, for a kind with no layout saved yet.
void ColumnLayoutSaver::showKindColumns() {
    if (header_ == nullptr) return;
    const auto show = [this](int column, int visual) {
        heldBack_.removeOne(column);
        header_->setSectionHidden(column, false);
        if (header_->visualIndex(column) > visual) header_->moveSection(header_->visualIndex(column), visual);
    };
    // A report mixes buffers: say which each row came from, before the
    // text, which runs off the window's edge.
    if (kind_ == QLatin1String(kReportLayout)) show(kBufferColumn, header_->visualIndex(kTextColumn));
    // A merged timeline is read by where each row came from first.
    if (kind_ == QLatin1String(kMergedLayout)) show(kSourceColumn, 0);
}

void ColumnLayoutSaver::save() const {
    if (header_ == nullptr) return;
    QByteArray state;
    if (heldBack_.isEmpty()) {
        state = header_->saveState();
    } else {
        // Saved as the user left them; hidden here only for this tab's rows.
        const QSignalBlocker quiet(header_.data());
        for (int column : heldBack_) header_->setSectionHidden(column, false);
        state = header_->saveState();
        for (int column : heldBack_) header_->setSectionHidden(column, true);
    }
    if (kind_ != QLatin1String(kMergedLayout)) Preferences::setValue(QLatin1String(kLayoutKey), state);
    if (kind_.isEmpty()) return;
    QVariantMap layouts = Preferences::value(QLatin1String(kLayoutsKey)).toMap();
    layouts.insert(kind_, state);
    Preferences::setValue(QLatin1String(kLayoutsKey), layouts);
}

}  // namespace vf::ui
