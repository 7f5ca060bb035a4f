#include "ui/preferences/preferenceswindow.h"

#include <QAction>
#include <QActionGroup>
#include <QDialogButtonBox>
#include <QGraphicsOpacityEffect>
#include <QGuiApplication>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QLayout>
#include <QShortcut>
#include <QToolBar>
#include <QVBoxLayout>

#include "ui/preferences/preferencepanes.h"
#include "ui/window/icons.h"
#include "ui/window/placement.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

PreferencesWindow::PreferencesWindow(QWidget* parent) : QMainWindow(parent, Qt::Window) {
    auto* holder = new QWidget(this);
    content_ = new QWidget(holder);
    buttons_ = new QDialogButtonBox(QDialogButtonBox::Close, holder);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QWidget::close);
    auto* layout = new QVBoxLayout(holder);
    layout->addWidget(content_, 1);
    layout->addWidget(buttons_);
    setCentralWidget(holder);
    setAttribute(Qt::WA_DeleteOnClose, false);
    for (const QKeySequence& key : {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close),
                                    QKeySequence(Qt::CTRL | Qt::Key_W)})
        new QShortcut(key, this, this, &QWidget::close);
}

void PreferencesWindow::showWindow() {
    if (identifiers_.isEmpty()) {
        setupToolbar();
        if (identifiers_.isEmpty()) {
            qCritical("No items were added to the toolbar in -setupToolbar.");
            return;
        }
        displayViewForIdentifier(identifiers_.first(), false);
        placeOnScreenOf(this, parentWidget());
    }
    show();
    raise();
    activateWindow();
}

void PreferencesWindow::setupToolbar() {
    QToolBar* bar = addToolBar(u"Panes"_s);
    toolbar_ = bar;
    bar->setMovable(false);
    bar->setFloatable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    bar->toggleViewAction()->setVisible(false);
    setContextMenuPolicy(Qt::NoContextMenu);
    toolbarItems_ = new QActionGroup(this);
    addView(makeGeneralPane(content_), u"General"_s, themedIcon(u"preferences-system"_s, u"general"_s));
    auto* appearance = makeAppearancePane(content_, [this] { Q_EMIT fontChanged(); });
    addView(appearance, u"Appearance"_s, bundledIcon(u"appearance"_s));
    for (QAction* action : toolbarItems_->actions()) bar->addAction(action);
}

void PreferencesWindow::addView(QWidget* view, const QString& label, const QIcon& icon) {
    if (view == nullptr) {
        qCritical("Attempted to add a nil view when calling -addView:label:image:.");
        return;
    }
    view->hide();
    identifiers_ << label;
    views_.insert(label, view);
    QAction* item = toolbarItems_->addAction(icon, label);
    item->setCheckable(true);
    connect(item, &QAction::triggered, this, [this, label] { displayViewForIdentifier(label, true); });
}

int PreferencesWindow::crossFadeDuration(Qt::KeyboardModifiers modifiers, bool shiftSlowsAnimation) {
    return (shiftSlowsAnimation && (modifiers & Qt::ShiftModifier)) ? 1250 : 250;
}

QSize PreferencesWindow::paneArea() const {
    QSize area;
    for (QWidget* view : views_) {
        if (view->layout() != nullptr) view->layout()->activate();
        area = area.expandedTo(view->sizeHint().expandedTo(view->minimumSizeHint()).expandedTo(view->minimumSize()));
    }
    // The title bar names the pane whole, whichever it is.
    for (const QString& name : identifiers_) area.setWidth(qMax(area.width(), fontMetrics().horizontalAdvance(name) * 4));
    return area;
}

// One size for every pane: the largest pane, the toolbar and the Close row.
// Asked before the window was ever shown, the window's own geometry says
// nothing yet: the panes' layouts and the toolbar tell the size.
QRect PreferencesWindow::frameForView(QWidget* /*view*/) const {
    const QSize area = paneArea();
    const QSize bar = toolbar_ != nullptr ? toolbar_->sizeHint() : QSize();
    const QMargins margins = centralWidget()->layout()->contentsMargins();
    const int below = centralWidget()->layout()->spacing() + buttons_->sizeHint().height();
    const int width = qMax(area.width(), bar.width()) + margins.left() + margins.right();
    const int height = area.height() + bar.height() + below + margins.top() + margins.bottom();
    return QRect(geometry().topLeft(), QSize(width, height));
}

void PreferencesWindow::displayViewForIdentifier(const QString& identifier, bool animate) {
    QWidget* newView = views_.value(identifier);
    if (newView == nullptr || identifier == current_) return;
    QWidget* oldView = views_.value(current_);
    current_ = identifier;
    for (QAction* action : toolbarItems_->actions()) action->setChecked(action->text() == identifier);
    newView->resize(paneArea());
    newView->move(0, 0);
    setWindowTitle(identifier);
    if (animation_ != nullptr) animation_->stop();  // a stopped fade does not tidy up after itself
    for (QWidget* view : std::as_const(views_)) {
        view->setGraphicsEffect(nullptr);
        if (view != oldView && view != newView) view->hide();
    }
    if (crossFade && animate && oldView != nullptr) {
        lastDuration_ = crossFadeDuration(QGuiApplication::queryKeyboardModifiers(), shiftSlowsAnimation);
        crossFadeView(oldView, newView, lastDuration_);
        return;
    }
    lastDuration_ = 0;
    for (QWidget* view : std::as_const(views_)) view->setVisible(view == newView);
    const QRect frame = frameForView(newView);
    setFixedSize(frame.size());
    setGeometry(frame);
    newView->setFocus();
}

void PreferencesWindow::crossFadeView(QWidget* oldView, QWidget* newView, int duration) {
    auto* group = new QParallelAnimationGroup(this);
    const auto fade = [group, duration](QWidget* view, qreal from, qreal to) {
        auto* effect = new QGraphicsOpacityEffect(view);
        effect->setOpacity(from);
        view->setGraphicsEffect(effect);
        auto* animation = new QPropertyAnimation(effect, "opacity", group);
        animation->setDuration(duration);
        animation->setStartValue(from);
        animation->setEndValue(to);
        group->addAnimation(animation);
    };
    fade(oldView, 1.0, 0.0);
    fade(newView, 0.0, 1.0);
    newView->show();
    newView->raise();
    auto* resize = new QPropertyAnimation(this, "geometry", group);
    resize->setDuration(duration);
    resize->setEndValue(frameForView(newView));
    group->addAnimation(resize);
    connect(group, &QAbstractAnimation::finished, this, [this, newView] {
        for (QWidget* view : std::as_const(views_)) {
            view->setGraphicsEffect(nullptr);
            view->setVisible(view == newView);
        }
        newView->setFocus();
    });
    animation_ = group;
    group->start(QAbstractAnimation::DeleteWhenStopped);
}

}  // namespace vf::ui
