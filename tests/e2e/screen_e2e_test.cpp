// The remote screen against the simulated device through the real server:
// screenshots arrive decoded at the device's size, and clicks, drags, typing
// and the Home button reach the device as its input commands. Modern devices
// send the PNG untouched, legacy ones through a terminal (CR LF).
#include <gtest/gtest.h>

#include <QElapsedTimer>

#ifdef VF_HAVE_UI
#include <QApplication>
#include <QComboBox>
#include <QMouseEvent>
#include <QTest>
#include <memory>

#include "core/screen/touchwriter.h"
#include "e2e.h"
#include "support/fixtures/wait.h"
#include "ui/screen/remotescreenmonitorsheet.h"
#include "ui/screen/screenimageview.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;
using ui::RemoteScreenMonitorSheet;

void sendMouse(QWidget* view, QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons) {
    QMouseEvent event(type, at, view->mapToGlobal(at), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(view, &event);
}

QString rounded(QPointF p) { return QString::asprintf("%.0f %.0f", p.x(), p.y()); }

// The text of every "input text" line, joined (typing may split into batches).
QString typedText(const QString& record) {
    QString text;
    for (const QString& line : record.split(u'\n')) {
        if (line.startsWith(u"input text ")) text += line.mid(11);
    }
    return text;
}

// A 360x800 device that captures fast, of today or legacy, and the window
// showing it.
class E2eRemoteScreen : public E2eKindTest {
protected:
    SimulatedDevice* startScreen(const QStringList& more = {}) {
        const QStringList screen{u"--screen"_s, u"360x800"_s, u"--capture-delay"_s, u"20"_s};
        return startDevice(fastDevice(writeReplayLog(harness), kind(screen + more)));
    }
    std::unique_ptr<RemoteScreenMonitorSheet> showScreen(const SimulatedDevice& device) {
        auto window = std::make_unique<RemoteScreenMonitorSheet>(harness.endpoint());
        window->setDeviceId(device.serial());
        window->showWindow();
        return window;
    }
};

TEST_P(E2eRemoteScreen, ShowsTheDeviceAndSendsTouchesAndKeys) {
    SimulatedDevice* device = startScreen();
    ASSERT_TRUE(device);
    const auto screen = showScreen(*device);
    RemoteScreenMonitorSheet& window = *screen;
    ui::ScreenImageView* view = window.imageView();
    ASSERT_TRUE(waitUntil([&] { return view->image().size() == QSize(360, 800); }, 15000))
        << "image " << view->image().width() << "x" << view->image().height();
    const auto devicePoint = [&](QPointF at) { return ui::normalizePoint(at, view->size(), QSize(360, 800)); };

    const QPointF tap(view->width() * 0.25, view->height() * 0.5);
    sendMouse(view, QEvent::MouseButtonPress, tap, Qt::LeftButton, Qt::LeftButton);
    sendMouse(view, QEvent::MouseButtonRelease, tap, Qt::LeftButton, Qt::NoButton);
    const QString tapLine = u"input tap "_s + rounded(devicePoint(tap)) + u'\n';
    ASSERT_TRUE(waitUntil([&] { return device->recorded() == tapLine; })) << device->recorded().toStdString();

    const QPointF from(view->width() * 0.5, view->height() * 0.8);
    const QPointF to(view->width() * 0.5, view->height() * 0.2);
    sendMouse(view, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    sendMouse(view, QEvent::MouseMove, (from + to) / 2, Qt::NoButton, Qt::LeftButton);
    sendMouse(view, QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
    const QString swipeLine =
        u"input swipe "_s + rounded(devicePoint(from)) + u' ' + rounded(devicePoint(to)) + u" 100\n";
    ASSERT_TRUE(waitUntil([&] { return device->recorded() == tapLine + swipeLine; }))
        << device->recorded().toStdString();

    QTest::keyClicks(view, u"a b"_s);
    ASSERT_TRUE(waitUntil([&] { return typedText(device->recorded()) == u"a%sb"; }))
        << device->recorded().toStdString();
    window.homeKey();
    EXPECT_EQ(window.statusText(), u"Sent Home Key"_s);
    EXPECT_TRUE(waitUntil([&] { return device->recorded().endsWith(u"input keyevent 3 \n"); }))
        << device->recorded().toStdString();
    window.close();
    EXPECT_FALSE(window.screenSource()->isRunning());
}

// A foldable: the chooser lists both displays, starts on the first and
// captures the one chosen (the cover screen is smaller), where taps go too.
TEST_P(E2eRemoteScreen, ChoosesADisplayOfAFoldable) {
    SimulatedDevice* device = startScreen({u"--displays"_s, u"2"_s});
    ASSERT_TRUE(device);
    const auto screen = showScreen(*device);
    RemoteScreenMonitorSheet& window = *screen;
    QComboBox* chooser = window.displayChooser();
    ASSERT_TRUE(waitUntil([&] { return chooser->count() == 2 && chooser->isVisible(); }, 15000));
    EXPECT_TRUE(chooser->itemText(1).startsWith(u"Cover screen"_s)) << chooser->itemText(1).toStdString();
    EXPECT_EQ(window.screenSource()->displayId(), chooser->itemData(0).toString());
    ASSERT_TRUE(waitUntil([&] { return window.imageView()->image().size() == QSize(360, 800); }, 15000));

    Q_EMIT chooser->activated(1);
    EXPECT_EQ(window.screenSource()->displayId(), chooser->itemData(1).toString());
    EXPECT_TRUE(waitUntil([&] { return window.imageView()->image().size() == QSize(216, 480); }, 15000))
        << "image " << window.imageView()->image().width() << "x" << window.imageView()->image().height();
    // Input numbers the cover screen 2 (the listing's id is another number).
    const QString tap = GetParam() ? u"input tap 10 20"_s : u"input -d 2 tap 10 20"_s;
    // Tapped again every half second until one lands: the window learns input's number on its own time.
    QElapsedTimer sinceTap;
    EXPECT_TRUE(waitUntil([&] {
        if (!sinceTap.isValid() || sinceTap.elapsed() > 500) {
            window.screenSource()->touchWriter().sendTouchForPoint(QPointF(10, 20));
            sinceTap.start();
        }
        return device->recorded().contains(tap);
    }, 15000)) << device->recorded().toStdString();
    window.close();
}

// An app that forbids capture: black frames while the device is awake
// give the status instead of a black picture.
TEST_P(E2eRemoteScreen, ASecureWindowIsSaidNotShown) {
    SimulatedDevice* device = startScreen({u"--secure-window"_s});
    ASSERT_TRUE(device);
    const auto screen = showScreen(*device);
    RemoteScreenMonitorSheet& window = *screen;
    ASSERT_TRUE(waitUntil([&] { return window.statusText() == QString::fromUtf16(RemoteScreenMonitorSheet::kSecureWindowText); },
                          15000))
        << window.statusText().toStdString();
    EXPECT_TRUE(window.imageView()->image().isNull());
    EXPECT_FALSE(window.displayChooser()->isVisible());  // one display: no chooser
    window.close();
}

INSTANTIATE_TEST_SUITE_P(Modes, E2eRemoteScreen, ::testing::Values(false, true), kindName);

}  // namespace
}  // namespace vf::test
#endif
