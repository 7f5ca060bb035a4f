#include "ui/window/windowstate.h"

#include <QEvent>
#include <QMainWindow>
#include <QSplitter>

#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

namespace {

constexpr char kGeometryKey[] = "windowGeometry";
constexpr char kSplitterKey[] = "splitterState";

class PaletteWatcher final : public QObject {
public:
    PaletteWatcher(QWidget* window, std::function<void()> changed) : QObject(window), changed_(std::move(changed)) {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == parent() && event->type() == QEvent::PaletteChange && changed_) changed_();
        return false;
    }

private:
    std::function<void()> changed_;
};

}  // namespace

WindowStateSaver::WindowStateSaver(QMainWindow* window, QSplitter* splitter)
    : QObject(window), window_(window), splitter_(splitter) {
    const QByteArray geometry = Preferences::value(QLatin1String(kGeometryKey)).toByteArray();
    if (!geometry.isEmpty()) window_->restoreGeometry(geometry);
    if (splitter_ != nullptr) {
        const QByteArray state = Preferences::value(QLatin1String(kSplitterKey)).toByteArray();
        if (!state.isEmpty()) splitter_->restoreState(state);
        connect(splitter_, &QSplitter::splitterMoved, this, &WindowStateSaver::save);
    }
    window_->installEventFilter(this);
}

void WindowStateSaver::save() const {
    Preferences::setValue(QLatin1String(kGeometryKey), window_->saveGeometry());
    if (splitter_ != nullptr) Preferences::setValue(QLatin1String(kSplitterKey), splitter_->saveState());
}

bool WindowStateSaver::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_ && event->type() == QEvent::Close) save();
    return false;
}

void onPaletteChange(QWidget* window, std::function<void()> changed) {
    new PaletteWatcher(window, std::move(changed));
}

}  // namespace vf::ui
