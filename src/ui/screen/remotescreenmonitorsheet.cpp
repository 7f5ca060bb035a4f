#include "ui/screen/remotescreenmonitorsheet.h"

#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QComboBox>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>

#include "core/screen/screencapreader.h"
#include "core/screen/touchwriter.h"
#include "core/screen/typewriter.h"
#include "core/support/logger.h"
#include "core/support/threads.h"
#include "ui/screen/screenimageview.h"
#include "ui/window/icons.h"
#include "ui/window/placement.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

QVariant decodeScreenImage(const QByteArray& png, QSize shownSize) {
    ScreenFrame frame;
    frame.image = QImage::fromData(png, "PNG");
    if (frame.image.isNull()) return {};
    // Only a PNG that compressed to almost nothing gets its pixels looked at.
    frame.black = ScreencapReader::mayBeUniform(png) && isAllBlack(frame.image);
    // Scaling here leaves the GUI thread a plain copy to paint.
    if (!shownSize.isEmpty()) {
        frame.shown = frame.image.scaled(shownSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                          .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    }
    return QVariant::fromValue(frame);
}

RemoteScreenMonitorSheet::RemoteScreenMonitorSheet(const AdbEndpoint& endpoint, QWidget* parent)
    : QMainWindow(parent),
      screenSource_(std::make_unique<DeviceScreenDatasource>(endpoint)) {
    setWindowTitle(u"Remote Screen Monitor (BETA)"_s);
    setAttribute(Qt::WA_DeleteOnClose, false);
    screenSource_->setDelegate(this);
    screenSource_->setImageDecoder([shown = shownSize_](const QByteArray& png) {
        const quint64 packed = shown->load();
        return decodeScreenImage(png, QSize(int(packed >> 32), int(packed & 0xFFFFFFFFu)));
    });

    imageView_ = new ScreenImageView(this);
    setCentralWidget(imageView_);
    connect(imageView_, &ScreenImageView::pointerEntered, this, &RemoteScreenMonitorSheet::pointerEntered);
    connect(imageView_, &ScreenImageView::pointerLeft, this, &RemoteScreenMonitorSheet::pointerLeft);
    connect(imageView_, &ScreenImageView::pointerMoved, this, &RemoteScreenMonitorSheet::pointerMoved);
    connect(imageView_, &ScreenImageView::buttonPressed, this, &RemoteScreenMonitorSheet::buttonPressed);
    connect(imageView_, &ScreenImageView::pointerDragged, this, &RemoteScreenMonitorSheet::pointerDragged);
    connect(imageView_, &ScreenImageView::buttonReleased, this, &RemoteScreenMonitorSheet::buttonReleased);
    connect(imageView_, &ScreenImageView::keyPressed, this, &RemoteScreenMonitorSheet::keyPressed);

    statusBarTextField_ = new QLabel(this);
    statusBar()->addWidget(statusBarTextField_, 1);
    createToolBar();
    configureToolbarButtons();
    setStatusText({});
    resize(420, 860);
}

RemoteScreenMonitorSheet::~RemoteScreenMonitorSheet() = default;

void RemoteScreenMonitorSheet::createToolBar() {
    QToolBar* bar = addToolBar(u"Remote Screen"_s);
    bar->setObjectName(u"remoteScreenToolBar"_s);
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    autoRefreshItem_ = bar->addAction(QString(), this, &RemoteScreenMonitorSheet::onToggleAutoRefresh);
    snapshotItem_ = bar->addAction(themedIcon(u"camera-photo"_s, u"search"_s), u"Snapshot"_s, this,
                                   &RemoteScreenMonitorSheet::takeSnapshot);
    bar->addSeparator();
    bar->addAction(u"Menu"_s, this, &RemoteScreenMonitorSheet::menuKey);
    bar->addAction(u"Home"_s, this, &RemoteScreenMonitorSheet::homeKey);
    bar->addAction(u"Back"_s, this, &RemoteScreenMonitorSheet::backKey);
    // The copies live in the Edit menu: the toolbar stays as narrow as a phone.
    QMenu* edit = menuBar()->addMenu(u"&Edit"_s);
    QAction* copy = edit->addAction(themedIcon(u"edit-copy"_s, u"copy"_s), u"Copy"_s, this,
                                    &RemoteScreenMonitorSheet::copyScaledImage);
    copy->setShortcut(QKeySequence::Copy);
    copy->setToolTip(u"Copy the screen as shown"_s);
    QAction* copyFull = edit->addAction(u"Copy Full Image"_s, this, &RemoteScreenMonitorSheet::copyFullImage);
    copyFull->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
    for (QAction* action : bar->actions()) {
        if (QWidget* button = bar->widgetForAction(action)) button->setFocusPolicy(Qt::NoFocus);
    }

    // A row of its own: a display's name and id do not fit beside the buttons.
    addToolBarBreak();
    displayBar_ = addToolBar(u"Display"_s);
    displayBar_->setObjectName(u"remoteScreenDisplayBar"_s);
    displayBar_->setMovable(false);
    displayChooser_ = new QComboBox(displayBar_);
    displayChooser_->setFocusPolicy(Qt::NoFocus);
    displayChooser_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    displayChooser_->setToolTip(u"The display to show"_s);
    displayBar_->addWidget(displayChooser_);
    displayBar_->setVisible(false);
    connect(displayChooser_, &QComboBox::activated, this, &RemoteScreenMonitorSheet::chooseDisplay);
}

void RemoteScreenMonitorSheet::onDisplaysListed(const QString& deviceId, const QList<DisplayInfo>& displays) {
    if (deviceId != deviceId_) return;
    displayChooser_->clear();
    // One display (or none listed): captures name none, as before.
    if (displays.size() < 2) {
        displayBar_->setVisible(false);
        if (!screenSource_->displayId().isEmpty()) chooseDisplay(-1);
        return;
    }
    for (const DisplayInfo& display : displays) {
        displayChooser_->addItem(displayLabel(display) + u"  ·  "_s + display.id, display.id);
    }
    int current = displayChooser_->findData(screenSource_->displayId());
    displayBar_->setVisible(true);
    chooseDisplay(current < 0 ? 0 : current);
}

void RemoteScreenMonitorSheet::chooseDisplay(int index) {
    const QString id = displayChooser_->itemData(index).toString();
    displayChooser_->setCurrentIndex(index);
    if (id == screenSource_->displayId()) return;
    VF_LOG("display {}", id);
    screenSource_->setDisplayId(id);
    // The chain in flight captures the display it was started with.
    if (screenSource_->isRunning()) {
        const bool refreshing = screenSource_->autoRefresh();
        screenSource_->stopMonitoring();
        screenSource_->startMonitoring(refreshing);
    }
}

void RemoteScreenMonitorSheet::configureToolbarButtons() {
    autoRefreshItem_->setIcon(autoRefresh_ ? themedIcon(u"media-playback-stop"_s, u"stop"_s)
                                           : themedIcon(u"media-playback-start"_s, u"start"_s));
    autoRefreshItem_->setText(autoRefresh_ ? u"Stop"_s : u"Start"_s);
    snapshotItem_->setEnabled(!autoRefresh_);
}

void RemoteScreenMonitorSheet::setDeviceId(const QString& deviceId) {
    // Display ids belong to their device; the next showWindow() lists anew.
    if (deviceId != deviceId_) {
        screenSource_->setDisplayId({});
        displayChooser_->clear();
        displayBar_->setVisible(false);
    }
    deviceId_ = deviceId;
    // Taps and keys go to the device shown, also when several are attached.
    screenSource_->setDeviceId(deviceId);
}

void RemoteScreenMonitorSheet::showWindow() {
    screenSource_->setDeviceId(deviceId_);
    screenSource_->startMonitoring(true);
    screenSource_->listDisplays();
    show();
    raise();
    activateWindow();
    imageView_->setFocus();
}

void RemoteScreenMonitorSheet::closeEvent(QCloseEvent* event) {
    screenSource_->stopMonitoring();
    VF_LOG("Remote Screen Sheet Did End: {}", 0);
    QMainWindow::closeEvent(event);
}

void RemoteScreenMonitorSheet::onToggleAutoRefresh() {
    autoRefresh_ = !autoRefresh_;
    VF_LOG("autoRefresh:{}", int(autoRefresh_));
    configureToolbarButtons();
    if (autoRefresh_) screenSource_->startMonitoring(true);
    else screenSource_->stopMonitoring();
}

void RemoteScreenMonitorSheet::takeSnapshot() { screenSource_->startMonitoring(false); }

void RemoteScreenMonitorSheet::onScreenUpdate(const QString& /*deviceId*/, const QVariant& screen) {
    const ScreenFrame frame = screen.value<ScreenFrame>();
    if (frame.black) return takeBlackFrame(frame);
    showFrame(frame);
}

void RemoteScreenMonitorSheet::takeBlackFrame(const ScreenFrame& frame) {
    // "dumpsys power" is asked only now, and its answer trusted for 5 s:
    // a stream of black frames costs one small command every 5 s.
    constexpr qint64 kAwakeFreshMs = 5000;
    if (!awake_ || !awakeAt_.isValid() || awakeAt_.msecsTo(QDateTime::currentDateTime()) > kAwakeFreshMs) {
        blackFrame_ = frame;
        screenSource_->checkAwake();
        return;
    }
    if (*awake_) {
        captureForbidden_ = true;
        imageView_->setPlaceholderText(QString::fromUtf16(kSecureWindowText));
        lastImageReceivedDate_ = QDateTime::currentDateTime();
        updateStatusText();
        return;
    }
    showFrame(frame);
}

void RemoteScreenMonitorSheet::onDeviceAwake(const QString& /*deviceId*/, std::optional<bool> awake) {
    // Not told: a black frame is shown as it is.
    awake_ = awake.value_or(false);
    awakeAt_ = QDateTime::currentDateTime();
    if (const auto frame = std::exchange(blackFrame_, std::nullopt)) takeBlackFrame(*frame);
}

void RemoteScreenMonitorSheet::showFrame(const ScreenFrame& frame) {
    captureForbidden_ = false;
    imageView_->setPlaceholderText({});
    const bool newSize = frame.image.size() != imageView_->image().size();
    imageView_->setFrame(frame);
    if (newSize && !frame.image.isNull()) keepAspectRatio();
    updateShownSize();
    lastImageReceivedDate_ = QDateTime::currentDateTime();
    updateStatusText();
}

void RemoteScreenMonitorSheet::onScreenUpdateFailedWithError(const OptionalError& error, const QString& deviceId) {
    VF_LOG("screen of {} failed: {}", deviceId, error ? error->toString() : QString());
    autoRefresh_ = false;
    configureToolbarButtons();
}

void RemoteScreenMonitorSheet::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    if (!fixingAspect_ && !imageView_->image().isNull()) {
        fixingAspect_ = true;
        QTimer::singleShot(0, this, [this] {
            keepAspectRatio();
            updateShownSize();
            fixingAspect_ = false;
        });
    }
}

void RemoteScreenMonitorSheet::updateShownSize() {
    const QSize view = imageView_->size();
    shownSize_->store(quint64(quint32(view.width())) << 32 | quint32(view.height()));
}

void RemoteScreenMonitorSheet::keepAspectRatio() {
    const QSize pixels = imageView_->image().size();
    if (pixels.isEmpty()) return;
    const QSize view = imageView_->size();
    const QSize chrome = size() - view;
    int width = view.width();
    int height = qRound(double(width) * pixels.height() / pixels.width());
    // A first image larger than the screen: fit it in.
    if (const QScreen* screen = this->screen()) {
        const int room = screen->availableGeometry().height() - chrome.height() - 40;
        if (height > room && room > 0) {
            height = room;
            width = qRound(double(height) * pixels.width() / pixels.height());
        }
    }
    if (qAbs(height - view.height()) <= 1 && qAbs(width - view.width()) <= 1) return;
    const QSize size = QSize(width, height) + chrome;
    const QSize decorations = frameGeometry().size() - this->size();
    resize(size);
    // Grown downwards, the window could reach below the screen's edge.
    if (const QScreen* screen = this->screen())
        move(fitWithin(QRect(pos(), size + decorations), screen->availableGeometry()).topLeft());
}

QString RemoteScreenMonitorSheet::statusText() const { return statusBarTextField_->text(); }

void RemoteScreenMonitorSheet::setStatusText(const QString& text) { statusBarTextField_->setText(text); }

void RemoteScreenMonitorSheet::updateStatusText() {
    if (isMouseInside_ || !lastImageReceivedDate_) return;
    if (captureForbidden_) return setStatusText(QString::fromUtf16(kSecureWindowText));
    setStatusText(u"Last Updated: "_s + lastImageReceivedDate_->toString(u"HH:mm:ss"_s));
}

void RemoteScreenMonitorSheet::copyScaledImage() {
    const QImage shown = imageView_->scaledImage();
    if (shown.isNull()) return;
    // Copied exactly as the window shows it, through JPEG like a screenshot.
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    shown.save(&buffer, "JPEG");
    copyImage(QImage::fromData(jpeg, "JPEG"));
}

void RemoteScreenMonitorSheet::copyFullImage() {
    VF_LOG("copyFullImage");
    copyImage(imageView_->image());
}

void RemoteScreenMonitorSheet::copyImage(const QImage& image) {
    if (image.isNull()) return;
    QApplication::clipboard()->clear();
    QApplication::clipboard()->setImage(image);
    setStatusText(u"Copied to Clipboard"_s);
}

void RemoteScreenMonitorSheet::menuKey() {
    screenSource_->typeWriter().sendMenuKey();
    setStatusText(u"Sent Menu Key"_s);
}

void RemoteScreenMonitorSheet::homeKey() {
    screenSource_->typeWriter().sendHomeKey();
    setStatusText(u"Sent Home Key"_s);
}

void RemoteScreenMonitorSheet::backKey() {
    screenSource_->typeWriter().sendBackKey();
    setStatusText(u"Sent Back Key"_s);
}

void RemoteScreenMonitorSheet::keyPressed(QKeyEvent* event) {
    VF_LOG("keyDown: key=0x{:x} modifiers=0x{:x} text={}", event->key(), int(event->modifiers()), event->text());
    QString skipped;
    if (screenSource_->typeWriter().sendKeyEvent(event->key(), event->modifiers(), event->text(), &skipped)) QApplication::beep();
    if (!skipped.isEmpty()) setStatusText(u"Skipped \u201C%1\u201D: the device can only type ASCII"_s.arg(skipped));
}

bool RemoteScreenMonitorSheet::isTouchEnabled() const { return !imageView_->image().isNull(); }

QPointF RemoteScreenMonitorSheet::devicePoint(QPointF viewPoint) const {
    return normalizePoint(viewPoint, imageView_->size(), imageView_->image().size());
}

void RemoteScreenMonitorSheet::pointerEntered() {
    if (!isTouchEnabled()) return;
    isMouseInside_ = true;
    imageView_->setCursor(Qt::PointingHandCursor);
    setStatusText(u"Click to send touch events to device"_s);
}

void RemoteScreenMonitorSheet::pointerLeft() {
    if (!isTouchEnabled()) return;
    isMouseInside_ = false;
    imageView_->unsetCursor();
    updateStatusText();
}

void RemoteScreenMonitorSheet::pointerMoved(QPointF position) {
    if (!isTouchEnabled()) return;
    const QPointF p = devicePoint(position);
    setStatusText(QString::asprintf("x=%.0f, y=%.0f", p.x(), p.y()));
}

void RemoteScreenMonitorSheet::buttonPressed(QPointF position) {
    if (!isTouchEnabled()) return;
    touchDownPoint_ = position;
    isDragged_ = false;
    imageView_->setCursor(Qt::ClosedHandCursor);
}

void RemoteScreenMonitorSheet::pointerDragged() {
    if (!isTouchEnabled()) return;
    // Any drag at all makes the gesture a swipe.
    isDragged_ = true;
    imageView_->setCursor(Qt::OpenHandCursor);
}

void RemoteScreenMonitorSheet::buttonReleased(QPointF position) {
    if (!isTouchEnabled()) return;
    const QPointF p = devicePoint(position);
    if (isDragged_ && touchDownPoint_) screenSource_->touchWriter().sendSwipeFrom(devicePoint(*touchDownPoint_), p);
    else screenSource_->touchWriter().sendTouchForPoint(p);
    imageView_->setCursor(Qt::PointingHandCursor);
    touchDownPoint_.reset();
    isDragged_ = false;
}

}  // namespace vf::ui
