#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <cmath>

#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"
#include "ui/screen/remotescreenmonitorsheet.h"
#include "ui/screen/screenimageview.h"

namespace vf::ui {
namespace {

TEST(RemoteScreen, NormalizePointScalesPerAxisAndCapsOnlyRightAndBelow) {
    const QSize pixels(1080, 2400);
    const struct {
        QPointF at;
        QSizeF view;
        QPointF device;
    } cases[] = {
        {{180, 400}, {360, 800}, {540, 1200}},
        {{0, 0}, {360, 800}, {0, 0}},
        {{400, 900}, {360, 800}, {1080, 2400}},     // right of and below the image
        {{-10, -20}, {360, 800}, {-30, -60}},       // left of and above: negative
        {{100, 100}, {720, 800}, {150, 300}},       // each axis on its own scale
        {{0, 5}, {0, 0}, {1080, 2400}},             // empty view: 0/0 and x/0
    };
    for (const auto& c : cases) {
        const QPointF p = normalizePoint(c.at, c.view, pixels);
        EXPECT_DOUBLE_EQ(p.x(), c.device.x()) << c.at.x() << "," << c.at.y();
        EXPECT_DOUBLE_EQ(p.y(), c.device.y()) << c.at.x() << "," << c.at.y();
    }
}

// What a window that forbids capture gives is black in every pixel; one
// pixel of anything else, anywhere, is a picture.
TEST(RemoteScreen, BlackFramesAreBlackInEveryPixel) {
    const auto filled = [](QImage::Format format, QColor color) {
        QImage image(64, 128, format);
        image.fill(color);
        return image;
    };
    QImage lastPixel = filled(QImage::Format_RGB32, Qt::black);
    lastPixel.setPixelColor(63, 127, QColor(40, 0, 0));
    const struct {
        const char* name;
        QImage image;
        bool black;
    } cases[] = {
        {"black", filled(QImage::Format_RGB32, Qt::black), true},
        {"near black (dithered)", filled(QImage::Format_RGB32, QColor(3, 2, 3)), true},
        {"transparent black", filled(QImage::Format_ARGB32, QColor(0, 0, 0, 0)), true},
        {"grey PNG decoded as 8 bits", filled(QImage::Format_Grayscale8, Qt::black), true},
        {"dark grey", filled(QImage::Format_RGB32, QColor(8, 8, 8)), false},
        {"one pixel at the very end", lastPixel, false},
        {"no image", QImage(), false},
    };
    for (const auto& c : cases) EXPECT_EQ(isAllBlack(c.image), c.black) << c.name;
}

TEST(RemoteScreen, ToolbarFollowsAutoRefreshAndClicksWaitForTheFirstImage) {
    test::ScriptedAdbServer server;  // records every connection; the first may choose its device
    server.addScript(test::Script().expectRequest("host:transport-any").reply("OKAY"));
    RemoteScreenMonitorSheet window(AdbEndpoint{QStringLiteral("127.0.0.1"), server.port(), {}});
    EXPECT_EQ(window.autoRefreshItem()->text(), QStringLiteral("Stop"));
    EXPECT_FALSE(window.snapshotItem()->isEnabled());
    window.onToggleAutoRefresh();
    EXPECT_EQ(window.autoRefreshItem()->text(), QStringLiteral("Start"));
    EXPECT_TRUE(window.snapshotItem()->isEnabled());

    ScreenImageView* view = window.imageView();
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, QPointF(10, 10), view->mapToGlobal(QPointF(10, 10)), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    window.copyFullImage();  // nothing shown: nothing copied, status unchanged
    EXPECT_EQ(window.statusText(), QString());

    // A character the device cannot type sends nothing and is named.
    QKeyEvent key(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, QStringLiteral("\u4e2d"));
    QApplication::sendEvent(view, &key);
    EXPECT_EQ(window.statusText(), QStringLiteral("Skipped \u201C\u4e2d\u201D: the device can only type ASCII"));

    // The Home key goes out after the clicks and the skipped key, the same
    // way a tap would: had anything else been sent, its connection would be
    // the first.
    window.homeKey();
    ASSERT_TRUE(test::waitUntil([&] { return server.received(0).contains("keyevent"); }));
    EXPECT_EQ(server.connectionCount(), 1);
}

}  // namespace
}  // namespace vf::ui
