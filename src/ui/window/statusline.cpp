#include "ui/window/statusline.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QStatusBar>
#include <QTimer>
#include <algorithm>

#include "ui/window/elidedlabel.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

StatusLine::StatusLine(MainWindow& window) : window_(window) {
    QStatusBar* bar = window_.statusBar();
    viewing_ = new QLabel(bar);
    filter_ = new ElidedLabel(QString(), bar);
    bar->addWidget(viewing_);
    bar->addWidget(filter_, 1);
    // Not the bar's own message, which would cover the count and the filter.
    note_ = new ElidedLabel(QString(), bar);
    note_->setObjectName(u"statusNote"_s);
    bar->addWidget(note_, 2);
    note_->hide();
    noteTimer_ = new QTimer(note_);
    noteTimer_->setSingleShot(true);
    QObject::connect(noteTimer_, &QTimer::timeout, note_, [this] { clearNote(); });
    totals_ = new QLabel(bar);
    totals_->setObjectName(u"tabTotals"_s);
    bar->addPermanentWidget(totals_);
    totals_->hide();
    showFilter(u"All Messages"_s);
    // Permanent: at the bar's right end.
    task_ = new QWidget(bar);
    auto* layout = new QHBoxLayout(task_);
    layout->setContentsMargins(0, 0, 0, 0);
    taskText_ = new QLabel(task_);
    taskBar_ = new QProgressBar(task_);
    taskBar_->setRange(0, 1000);
    taskBar_->setTextVisible(false);
    taskBar_->setMaximumWidth(160);
    taskBar_->setMaximumHeight(14);
    layout->addWidget(taskText_);
    layout->addWidget(taskBar_);
    bar->addPermanentWidget(task_);
    task_->hide();
}

void StatusLine::showProgress(const QString& text, uint64_t done, uint64_t total) {
    taskText_->setText(text);
    if (total == 0) {
        taskBar_->setRange(0, 0);
    } else {
        taskBar_->setRange(0, 1000);
        taskBar_->setValue(int(std::min<uint64_t>(done, total) * 1000 / total));
    }
    task_->show();
}

void StatusLine::hideProgress() { task_->hide(); }

QString StatusLine::progressText() const { return task_->isHidden() ? QString() : taskText_->text(); }

int StatusLine::progressPermille() const { return task_->isHidden() ? -1 : taskBar_->value(); }

void StatusLine::showCounts(qsizetype shown, TableState state) {
    state.filter = filter_->text();
    viewing_->setText(vf::ui::viewingText(shown, state));
    window_.logTable()->setPlaceholderText(emptyTableHint(shown, state));
}

void StatusLine::showFilter(const QString& description) { filter_->setText(u"Filter: "_s + description); }

void StatusLine::showNote(const QString& text, int timeoutMs) {
    note_->setText(text);
    note_->setVisible(!text.isEmpty());
    if (timeoutMs > 0) noteTimer_->start(timeoutMs);
    else noteTimer_->stop();
}

void StatusLine::showTotals(const QString& text) {
    totals_->setText(text);
    totals_->setVisible(!text.isEmpty());
}

QString StatusLine::totalsText() const { return totals_->text(); }

void StatusLine::clearNote() { showNote(QString()); }

QString StatusLine::viewingText() const { return viewing_->text(); }

QString StatusLine::filterText() const { return filter_->text(); }

QString StatusLine::note() const { return note_->text(); }

}  // namespace vf::ui
