#pragma once
// Remembers the main window's geometry and the position of its splitter
// across runs (preferences "windowGeometry" and "splitterState"), and tells
// a callback when the desktop's colours change while the program runs.
//
// Main thread only.

#include <QObject>
#include <QPointer>
#include <functional>

class QMainWindow;
class QSplitter;
class QWidget;

namespace vf::ui {

class WindowStateSaver final : public QObject {
    Q_OBJECT
public:
    // Restores the saved state now and saves it whenever the window closes
    // or the splitter moves. Owned by `window`.
    WindowStateSaver(QMainWindow* window, QSplitter* splitter);
    WindowStateSaver(const WindowStateSaver&) = delete;
    WindowStateSaver& operator=(const WindowStateSaver&) = delete;

    void save() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QMainWindow* window_;
    QPointer<QSplitter> splitter_;
};

// Calls `changed` after `window`'s palette changed, as it does when the
// desktop switches between a light and a dark theme while the program runs.
// Lives as long as `window`.
void onPaletteChange(QWidget* window, std::function<void()> changed);

}  // namespace vf::ui
