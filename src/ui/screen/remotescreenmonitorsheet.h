#pragma once
// RemoteScreenMonitorSheet: the "Remote Screen Monitor (BETA)" window. It
// shows a device's screen, refreshed continuously (auto refresh) or one
// snapshot at a time, and turns clicks, drags and typed keys into taps,
// swipes, text and key events on that device.
//
// Main thread only. The capture source decodes off the GUI thread; it owns
// the I/O thread of the captures and of the touch and type writers.

#include <QDateTime>
#include <QImage>
#include <QMainWindow>
#include <QPointF>
#include <atomic>
#include <memory>
#include <optional>

#include "core/adb/endpoint.h"
#include "core/screen/devicescreendatasource.h"
#include "ui/screen/screenimageview.h"

class QAction;
class QComboBox;
class QLabel;
class QToolBar;

namespace vf::ui {

class ScreenImageView;

class RemoteScreenMonitorSheet final : public QMainWindow, private DeviceScreenDatasourceDelegate {
    Q_OBJECT
public:
    explicit RemoteScreenMonitorSheet(const AdbEndpoint& endpoint, QWidget* parent = nullptr);
    ~RemoteScreenMonitorSheet() override;

    QString deviceId() const { return deviceId_; }
    // Screenshots, taps and keys all go to this device (empty: any device).
    void setDeviceId(const QString& deviceId);

    // Starts monitoring with auto refresh on, whatever autoRefresh() says, and shows the window.
    void showWindow();

    bool autoRefresh() const { return autoRefresh_; }
    QString statusText() const;
    ScreenImageView* imageView() const { return imageView_; }
    DeviceScreenDatasource* screenSource() const { return screenSource_.get(); }
    QAction* autoRefreshItem() const { return autoRefreshItem_; }
    QAction* snapshotItem() const { return snapshotItem_; }
    // The display chooser; shown only for a device with several displays.
    QComboBox* displayChooser() const { return displayChooser_; }

    // The status shown instead of an all-black frame while the device is awake.
    static constexpr char16_t kSecureWindowText[] = u"The app on screen does not allow screen capture";

    // Toolbar and menu actions.
    void onToggleAutoRefresh();
    void takeSnapshot();
    void copyScaledImage();
    void copyFullImage();
    void menuKey();
    void homeKey();
    void backKey();

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // DeviceScreenDatasourceDelegate.
    void onScreenUpdate(const QString& deviceId, const QVariant& screen) override;
    void onScreenUpdateFailedWithError(const OptionalError& error, const QString& deviceId) override;
    void onDisplaysListed(const QString& deviceId, const QList<DisplayInfo>& displays) override;
    void onDeviceAwake(const QString& deviceId, std::optional<bool> awake) override;

    void chooseDisplay(int index);
    void showFrame(const ScreenFrame& frame);
    // A black frame: shown as it is while the device sleeps, replaced by
    // the status while it is awake.
    void takeBlackFrame(const ScreenFrame& frame);

    void createToolBar();
    void configureToolbarButtons();
    void setStatusText(const QString& text);
    void updateStatusText();
    void copyImage(const QImage& image);
    void keepAspectRatio();
    bool isTouchEnabled() const;
    QPointF devicePoint(QPointF viewPoint) const;
    // Pointer handlers of the image view.
    void pointerEntered();
    void pointerLeft();
    void pointerMoved(QPointF position);
    void buttonPressed(QPointF position);
    void pointerDragged();
    void buttonReleased(QPointF position);
    void keyPressed(QKeyEvent* event);

    QString deviceId_;
    std::unique_ptr<DeviceScreenDatasource> screenSource_;
    ScreenImageView* imageView_ = nullptr;
    QLabel* statusBarTextField_ = nullptr;
    QAction* autoRefreshItem_ = nullptr;
    QAction* snapshotItem_ = nullptr;
    QToolBar* displayBar_ = nullptr;
    QComboBox* displayChooser_ = nullptr;
    bool autoRefresh_ = true;
    // Awake or not, asked only when a black frame arrives and trusted for a
    // few seconds.
    std::optional<bool> awake_;
    QDateTime awakeAt_;
    std::optional<ScreenFrame> blackFrame_;  // waiting for the answer
    bool captureForbidden_ = false;          // the status says so
    std::optional<QPointF> touchDownPoint_;
    bool isDragged_ = false;
    bool isMouseInside_ = false;
    std::optional<QDateTime> lastImageReceivedDate_;
    bool fixingAspect_ = false;
    // The view's size for the decoder thread (width << 32 | height).
    std::shared_ptr<std::atomic<quint64>> shownSize_ = std::make_shared<std::atomic<quint64>>(0);
    void updateShownSize();
};

// Turns a PNG into the ScreenFrame the window shows, scaled to `shownSize`
// (none when empty). Any thread.
QVariant decodeScreenImage(const QByteArray& png, QSize shownSize);

}  // namespace vf::ui
