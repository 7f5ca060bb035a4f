#pragma once
// The preferences window: a toolbar of panes (General, Appearance) over one
// content area and a Close button, in one fixed size that fits every pane
// (and shows every pane's name in the title). Switching panes cross-fades
// them (0.25 s, 1.25 s with Shift held). Every control writes its
// preference at once; appearance changes (font, colours, theme) are
// announced through fontChanged() so the log redraws straight away.
// Escape, Ctrl+W and Close close it.
//
// Main thread only. Owned by its parent (the main window).

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QStringList>

class QAbstractAnimation;
class QActionGroup;
class QDialogButtonBox;
class QIcon;
class QToolBar;

namespace vf::ui {

class PreferencesWindow final : public QMainWindow {
    Q_OBJECT
public:
    explicit PreferencesWindow(QWidget* parent);

    // Sets the toolbar up on first use, then shows and raises the window.
    void showWindow();
    // Shows the pane `identifier` (its label); nothing when it is shown already.
    void displayViewForIdentifier(const QString& identifier, bool animate);

    QString currentIdentifier() const { return current_; }
    QWidget* pane(const QString& identifier) const { return views_.value(identifier); }
    // Duration of the last cross-fade in ms (0 when the last switch did not animate).
    int lastAnimationDuration() const { return lastDuration_; }
    // The window frame whose content fits `view` (and every other pane),
    // top edge unchanged.
    QRect frameForView(QWidget* view) const;

    static int crossFadeDuration(Qt::KeyboardModifiers modifiers, bool shiftSlowsAnimation);

    bool crossFade = true;
    bool shiftSlowsAnimation = true;

Q_SIGNALS:
    void fontChanged();

private:
    void setupToolbar();
    void addView(QWidget* view, const QString& label, const QIcon& icon);
    void crossFadeView(QWidget* oldView, QWidget* newView, int duration);
    // The room of the largest pane.
    QSize paneArea() const;

    QStringList identifiers_;
    QHash<QString, QWidget*> views_;
    QActionGroup* toolbarItems_ = nullptr;
    QWidget* content_ = nullptr;
    QToolBar* toolbar_ = nullptr;
    QDialogButtonBox* buttons_ = nullptr;
    QString current_;
    QPointer<QAbstractAnimation> animation_;
    int lastDuration_ = 0;
};

}  // namespace vf::ui
