// The connection cycle, driven through the controller's delegate calls.
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QSignalSpy>

#include "core/support/buildinfo.h"
#include "ui/devicepickersheet.h"
#include "uitestsupport.h"

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class ControllerTest : public UiTest {};

TEST_F(ControllerTest, StartUpWithoutDeviceStaysIdleAndQuiet) {
    start();
    EXPECT_EQ(backend->loadDeviceListCalls, 1);  // start-up lists the devices
    app->onDevicesConnected({});
    EXPECT_EQ(app->window()->statusViewing()->text(), u"No Data       v(%1)"_s.arg(QLatin1String(build::kVersion)));
    EXPECT_EQ(title(), u"Vellumfox"_s);
    EXPECT_EQ(button(), u"Run"_s);
    EXPECT_EQ(app->currentAlert(), nullptr);
    EXPECT_EQ(backend->startLoggerCalls, 0);
}

TEST_F(ControllerTest, TwoDevicesOpenThePickerAndCancelLeavesIdle) {
    start();
    app->onDevicesConnected({device(u"A1"_s, u"Pixel"_s), device(u"B2"_s)});
    DevicePickerSheet* picker = app->devicePicker();
    ASSERT_NE(picker, nullptr);
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(picker->deviceButton()->count(), 2);
    EXPECT_EQ(picker->deviceButton()->itemText(0), u"A1 - Pixel"_s);
    picker->cancelDevicePicker();
    EXPECT_FALSE(picker->isVisible());
    EXPECT_EQ(backend->startLoggerCalls, 0);
    EXPECT_EQ(button(), u"Run"_s);

    // Choosing the second entry streams that device.
    app->onDevicesConnected({device(u"A1"_s), device(u"B2"_s)});
    picker->deviceButton()->setCurrentIndex(1);
    picker->startLogForDevice();
    EXPECT_EQ(app->logDatasource()->deviceId(), u"B2"_s);
    EXPECT_EQ(backend->startLoggerCalls, 1);
}

TEST_F(ControllerTest, LostDeviceIsRetriedAndOnlyTheSameOneReconnects) {
    start(20);
    app->onDevicesConnected({device(u"A1"_s, u"Pixel"_s)});
    ASSERT_EQ(backend->startLoggerCalls, 1);
    app->onLoggerStarted();
    EXPECT_EQ(title(), u"A1 - Pixel"_s);
    app->logDatasource()->logMessage(u"kept across the reconnect"_s);

    backend->logging = false;  // the stream ended
    app->onLoggerStopped();
    EXPECT_EQ(title(), u"A1 - Pixel [PAUSED]"_s);
    EXPECT_EQ(button(), u"Stop"_s);
    EXPECT_TRUE(app->reconnectTimer()->isActive());
    const int listings = backend->loadDeviceListCalls;
    ASSERT_TRUE(vf::test::waitUntil([&] { return backend->loadDeviceListCalls >= listings + 2; }));

    app->onDevicesConnected({device(u"C3"_s)});  // a different single device
    EXPECT_EQ(backend->startLoggerCalls, 1);
    EXPECT_TRUE(app->logDatasource()->deviceId().isEmpty());

    app->onDevicesConnected({device(u"C3"_s), device(u"A1"_s)});  // the old one is back
    EXPECT_EQ(backend->startLoggerCalls, 2);
    app->onLoggerStarted();
    EXPECT_FALSE(app->reconnectTimer()->isActive());
    EXPECT_EQ(app->logDatasource()->getDataAll().size(), 1);  // not cleared
}

TEST_F(ControllerTest, ReconnectTimerRunsEveryFiveSecondsByDefault) {
    start();
    app->onDevicesConnected({device(u"A1"_s)});
    app->onLoggerStarted();
    backend->logging = false;
    app->onLoggerStopped();
    EXPECT_EQ(app->reconnectTimer()->interval(), 5000);
    EXPECT_FALSE(app->reconnectTimer()->isSingleShot());
}

TEST_F(ControllerTest, ConnectingToANewDeviceClearsTheLog) {
    start();
    app->logDatasource()->logMessage(u"from before"_s);
    app->onDevicesConnected({device(u"A1"_s)});
    app->onLoggerStarted();
    EXPECT_EQ(app->logDatasource()->getDataAll().size(), 0);
    EXPECT_EQ(app->lastDeviceConnectedId(), u"A1"_s);
}

TEST_F(ControllerTest, StopWhileWaitingGoesOffline) {
    start();
    app->onDevicesConnected({device(u"A1"_s)});
    app->onLoggerStarted();
    backend->logging = false;
    app->onLoggerStopped();
    app->onConnectButtonPressed();
    EXPECT_EQ(title(), u"A1 [OFFLINE]"_s);
    EXPECT_EQ(button(), u"Run"_s);
    EXPECT_FALSE(app->reconnectTimer()->isActive());
    EXPECT_FALSE(app->autoReconnect());

    // Run again lists devices; Stop while streaming stops the logger.
    app->onConnectButtonPressed();
    app->onDevicesConnected({device(u"A1"_s)});
    app->onLoggerStarted();
    app->onConnectButtonPressed();
    EXPECT_EQ(backend->stopLoggerCalls, 1);
    EXPECT_FALSE(app->autoReconnect());
}

TEST_F(ControllerTest, ModelNameRetitlesTheStreamingDeviceModelFirst) {
    start();
    app->onDevicesConnected({device(u"A1"_s)});
    app->onLoggerStarted();
    app->onDeviceModel(u"B2"_s, u"Other"_s);
    EXPECT_EQ(title(), u"A1"_s);
    app->onDeviceModel(u"A1"_s, u"Pixel"_s);
    EXPECT_EQ(title(), u"Pixel - A1"_s);
    // Unplugged and back: the model name stays in the title.
    app->onLoggerStopped();
    EXPECT_EQ(title(), u"Pixel - A1 [PAUSED]"_s);
    app->onDevicesConnected({device(u"A1"_s)});
    app->onLoggerStarted();
    EXPECT_EQ(title(), u"A1 - Pixel"_s);
}

TEST_F(ControllerTest, FailuresShowAlertsAfterStopping) {
    start();
    DeviceRecord locked = device(u"X9"_s);
    locked.state = u"unauthorized"_s;
    app->onDevicesConnected({locked});
    ASSERT_NE(app->currentAlert(), nullptr);
    EXPECT_EQ(app->currentAlert()->text(), u"Alert"_s);
    EXPECT_EQ(app->currentAlert()->informativeText(), u"Device Not Authorized\n\nAllow USB debugging from device X9"_s);
    EXPECT_EQ(app->currentAlert()->windowModality(), Qt::WindowModal);
    EXPECT_EQ(backend->startLoggerCalls, 0);
    EXPECT_TRUE(backend->events.contains(u"error-not-authorized"_s));

    app->onDeviceListFailed(1);  // no device, not reconnecting
    ASSERT_TRUE(vf::test::waitUntil([&] {
        return app->currentAlert() != nullptr && app->currentAlert()->informativeText().startsWith(u"No Android"_s);
    }));

    app->onDeviceListFailed(0);  // no server: try to start it
    ASSERT_TRUE(vf::test::waitUntil([&] { return bool(backend->adbCompletion); }));
    EXPECT_EQ(title(), u"Starting ADB server.."_s);
    backend->adbCompletion(false);
    EXPECT_EQ(title(), u"No devices connected"_s);
    EXPECT_TRUE(app->currentAlert()->informativeText().startsWith(u"ADB not running"_s));

    const int listings = backend->loadDeviceListCalls;
    app->onDeviceListFailed(0);
    ASSERT_TRUE(vf::test::waitUntil([&] { return backend->events.count(u"error-adb-not-running"_s) == 2; }));
    backend->adbCompletion(true);
    EXPECT_EQ(backend->loadDeviceListCalls, listings + 1);
}

// A saved-log suffix in upper case still reads the property list.
TEST_F(ControllerTest, OpensFilesByLowerCasedSuffix) {
    start();
    const QString path = dir.filePath(u"saved.VELLUMFOX"_s);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>logdata</key><array>
<dict><key>time</key><string>01-02 03:04:05.678</string><key>app</key><string>com.example</string>
<key>pid</key><string>12</string><key>tid</key><string>13</string><key>type</key><string>W</string>
<key>name</key><string>Tag</string><key>text</key><string>from the property list</string></dict>
</array></dict></plist>)");
    file.close();
    QSignalSpy opened(app.get(), &VellumfoxAppDelegate::fileOpened);
    app->openFile(path);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(model()->index(0, 6).data().toString(), u"from the property list"_s);
    EXPECT_EQ(model()->index(0, 1).data().toString(), u"com.example"_s);
    EXPECT_EQ(title(), path);
    EXPECT_FALSE(app->isDatasourceDevice());
    EXPECT_FALSE(app->lastDeviceConnectedId().has_value());

    const QString filters = dir.filePath(u"mine.FILTERS"_s);
    QFile filterFile(filters);
    ASSERT_TRUE(filterFile.open(QIODevice::WriteOnly));
    filterFile.write(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>Only Tag</key><string>name == 'Tag'</string></dict></plist>)");
    filterFile.close();
    app->openFile(filters);
    EXPECT_TRUE(app->sortedFilterKeys().contains(u"Only Tag"_s));
    EXPECT_EQ(title(), path);  // importing filters leaves the log alone
}

}  // namespace
}  // namespace vf::ui::test
