#include "ui/window/statusline.h"

#include <QLabel>
#include <QStatusBar>

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
    totals_ = new QLabel(bar);
    totals_->setObjectName(u"tabTotals"_s);
    bar->addPermanentWidget(totals_);
    totals_->hide();
    showFilter(u"All Messages"_s);
}

void StatusLine::showCounts(qsizetype shown, TableState state) {
    state.filter = filter_->text();
    viewing_->setText(vf::ui::viewingText(shown, state));
    window_.logTable()->setPlaceholderText(emptyTableHint(shown, state));
}

void StatusLine::showFilter(const QString& description) { filter_->setText(u"Filter: "_s + description); }

void StatusLine::showNote(const QString& text, int timeoutMs) { window_.statusBar()->showMessage(text, timeoutMs); }

void StatusLine::showTotals(const QString& text) {
    totals_->setText(text);
    totals_->setVisible(!text.isEmpty());
}

QString StatusLine::totalsText() const { return totals_->text(); }

void StatusLine::clearNote() { window_.statusBar()->clearMessage(); }

QString StatusLine::viewingText() const { return viewing_->text(); }

QString StatusLine::filterText() const { return filter_->text(); }

QString StatusLine::note() const { return window_.statusBar()->currentMessage(); }

}  // namespace vf::ui
