#include "ui/filters/filterpassview.h"

#include <QApplication>
#include <QKeyEvent>

#include "core/log/logdatasource.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

QString filterRunningText() { return u"Filtering (Escape stops)"_s; }

QString filterStoppedText(std::optional<qsizetype> shown) {
    if (!shown) return u"Filtering stopped: showing the rows as they were before"_s;
    return u"Filtering stopped: showing the %1 rows matched so far, and new rows that match"_s.arg(*shown);
}

FilterPassView::FilterPassView(MainWindow& window, StatusLine& status, LogDatasource& store,
                               const QAbstractItemModel& model, QObject* parent)
    : QObject(parent), window_(window), status_(status), store_(store), model_(model) {}

FilterPassView::~FilterPassView() { setRunning(false); }

void FilterPassView::onProgress(const FilterProgress& progress) {
    const bool current = isCurrent();
    switch (progress.state) {
        case FilterProgress::State::Running:
            setRunning(true);
            if (current) status_.showProgress(filterRunningText(), uint64_t(progress.covered), uint64_t(progress.total));
            break;
        case FilterProgress::State::Done:
            if (running_ && current) status_.hideProgress();
            setRunning(false);
            break;
        case FilterProgress::State::Stopped:
            if (running_ && current) status_.hideProgress();
            setRunning(false);
            if (current) status_.showNote(filterStoppedText(progress.shown));
            break;
    }
}

bool FilterPassView::isCurrent() const { return window_.logTable()->model() == &model_; }

void FilterPassView::setRunning(bool running) {
    if (running == running_) return;
    running_ = running;
    if (running) qApp->installEventFilter(this);
    else qApp->removeEventFilter(this);
}

// While a pass goes on, Escape in the window stops it, before any shortcut,
// and only in the tab it filters.
bool FilterPassView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::ShortcutOverride && event->type() != QEvent::KeyPress) return false;
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() != Qt::Key_Escape || key->modifiers() != Qt::NoModifier) return false;
    const auto* widget = qobject_cast<QWidget*>(watched);
    if (widget == nullptr || widget->window() != &window_ || !isCurrent()) return false;
    event->accept();  // an accepted override keeps shortcuts out
    if (event->type() == QEvent::KeyPress) store_.cancelFilter();
    return true;
}

}  // namespace vf::ui
