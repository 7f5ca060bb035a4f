// The connection cycle, driven through the controller's delegate calls.
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QStatusBar>

#include "core/support/buildinfo.h"
#include "support/fixtures/bugreportfixture.h"
#include "support/fixtures/files.h"
#include "ui/crashes/crashespanel.h"
#include "ui/window/selectabletableview.h"
#include "ui/connection/devicepickersheet.h"
#include "uitestsupport.h"

namespace vf::ui::test {
namespace {

using namespace Qt::StringLiterals;

class ControllerTest : public UiTest {};

TEST_F(ControllerTest, StartUpWithoutDeviceStaysIdleAndQuiet) {
    start();
    EXPECT_EQ(adb->listings, 1);  // start-up lists the devices
    adb->list({});
    EXPECT_EQ(app->parts().status->viewingText(), u"No Data       v(%1)"_s.arg(QLatin1String(build::kVersion)));
    EXPECT_EQ(title(), u"Vellumfox"_s);
    EXPECT_EQ(button(), u"Run"_s);
    EXPECT_EQ(app->tab().connection->currentAlert(), nullptr);
    EXPECT_EQ(conversations->logReaders, 0);
}

TEST_F(ControllerTest, TwoDevicesOpenThePickerAndCancelLeavesIdle) {
    start();
    adb->list({device(u"A1"_s, u"Pixel"_s), device(u"B2"_s, std::nullopt, u"offline"_s)});
    DevicePickerSheet* picker = app->tab().connection->devicePicker();
    ASSERT_NE(picker, nullptr);
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(picker->deviceButton()->count(), 2);
    EXPECT_EQ(picker->deviceButton()->itemText(0), u"Pixel \u2014 A1"_s);
    EXPECT_EQ(picker->deviceButton()->itemText(1), u"B2 [OFFLINE]"_s);
    picker->cancelDevicePicker();
    EXPECT_FALSE(picker->isVisible());
    EXPECT_EQ(button(), u"Run"_s);

    // Choosing the second entry streams that device.
    adb->list({device(u"A1"_s), device(u"B2"_s)});
    picker->deviceButton()->setCurrentIndex(1);
    picker->startLogForDevice();
    ASSERT_TRUE(vf::test::waitUntil([&] { return title() == u"B2"_s; }));
    EXPECT_EQ(app->tab().session->lastDeviceId(), u"B2"_s);
    EXPECT_EQ(button(), u"Stop"_s);
}

// The title follows the run: the model when known, paused while waiting for
// the device, offline once the user gives up on it; Stop only while it streams.
TEST_F(ControllerTest, TitleAndButtonFollowTheRun) {
    start();
    adb->list({device(u"A1"_s)});
    ASSERT_TRUE(vf::test::waitUntil([&] { return title() == u"A1"_s; }));
    adb->lister->onDeviceModel(u"B2"_s, u"Other"_s);
    EXPECT_EQ(title(), u"A1"_s);
    adb->lister->onDeviceModel(u"A1"_s, u"Pixel"_s);
    EXPECT_EQ(title(), u"Pixel \u2014 A1"_s);
    EXPECT_EQ(button(), u"Stop"_s);
    conversations->endStream();
    ASSERT_TRUE(vf::test::waitUntil([&] { return title() == u"Pixel \u2014 A1 [PAUSED]"_s; }));
    EXPECT_EQ(button(), u"Run"_s);
    EXPECT_TRUE(app->tab().session->reconnectTimer()->isActive());
    app->parts().window->connectAction->trigger();  // Run: no more waiting for A1, whichever device is listed
    EXPECT_EQ(title(), u"Pixel \u2014 A1 [OFFLINE]"_s);
    EXPECT_EQ(button(), u"Run"_s);
    EXPECT_FALSE(app->tab().session->autoReconnect());
}

TEST_F(ControllerTest, FailuresShowAlertsAndAdvice) {
    start();
    adb->list({device(u"X9"_s, std::nullopt, u"unauthorized"_s)});
    ASSERT_NE(app->tab().connection->currentAlert(), nullptr);
    EXPECT_EQ(app->tab().connection->currentAlert()->text(), u"Alert"_s);
    EXPECT_EQ(app->tab().connection->currentAlert()->informativeText(), u"Device Not Authorized\n\nAllow USB debugging from device X9"_s);
    EXPECT_EQ(app->tab().connection->currentAlert()->windowModality(), Qt::WindowModal);
    EXPECT_EQ(conversations->logReaders, 0);
    EXPECT_TRUE(events.contains(u"error-not-authorized"_s));

    DeviceRecord denied = device(u"P1"_s, std::nullopt, u"no permissions"_s);
    denied.usbVendorId = u"18d1"_s;
    adb->list({denied});
    EXPECT_TRUE(app->tab().connection->currentAlert()->informativeText().contains(u"plugdev"_s));
    EXPECT_TRUE(app->tab().connection->currentAlert()->informativeText().contains(u"18d1"_s));

    // The device went away between the listing and the stream (adb 29 words it so).
    adb->list({device(u"G1"_s)});
    ASSERT_TRUE(vf::test::waitUntil([&] { return title() == u"G1"_s; }));
    conversations->refuse(u"device 'G1' not found"_s);
    ASSERT_TRUE(vf::test::waitUntil([&] { return app->tab().connection->currentAlert()->informativeText().startsWith(u"No Android"_s); }));
    app->tab().connection->stopLogging();

    adb->list({device(u"O1"_s, std::nullopt, u"offline"_s)});  // stopped: news for the Device menu only
    EXPECT_FALSE(app->parts().status->note().contains(u"offline"_s));
    app->tab().connection->startLogging();
    adb->list({device(u"O1"_s, std::nullopt, u"offline"_s)});
    EXPECT_TRUE(app->parts().status->note().contains(u"offline"_s));
    app->tab().connection->stopLogging();

    app->tab().connection->startLogging();
    adb->lister->onDeviceListFailed(DeviceListFailure::NoDevice);  // no device: the table says what to do, no alert
    EXPECT_TRUE(app->parts().status->note().startsWith(u"No Android"_s));

    adb->lister->onDeviceListFailed(DeviceListFailure::AdbNotRunning);  // no server: try to start it
    ASSERT_TRUE(bool(adb->adbCompletion));
    EXPECT_EQ(title(), u"Starting ADB server.."_s);
    EXPECT_TRUE(events.contains(u"error-adb-not-running"_s));
    adb->adbCompletion(false);
    EXPECT_EQ(title(), u"O1 [OFFLINE]"_s);  // the last device waited for, not streaming
    EXPECT_TRUE(app->tab().connection->currentAlert()->informativeText().startsWith(u"ADB not running"_s));
}

// A saved-log suffix in upper case still reads the property list.
TEST_F(ControllerTest, OpensFilesByLowerCasedSuffix) {
    start();
    const QString path = vf::test::writeFile(dir.filePath(u"saved.VELLUMFOX"_s), R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>logdata</key><array>
<dict><key>time</key><string>01-02 03:04:05.678</string><key>app</key><string>com.example</string>
<key>pid</key><string>12</string><key>tid</key><string>13</string><key>type</key><string>W</string>
<key>name</key><string>Tag</string><key>text</key><string>from the property list</string></dict>
</array></dict></plist>)");
    app->tab().files->openFile(path);
    ASSERT_TRUE(vf::test::waitUntil([&] { return model()->rowCount() == 1; }));
    EXPECT_EQ(model()->index(0, 6).data().toString(), u"from the property list"_s);
    EXPECT_EQ(model()->index(0, 1).data().toString(), u"com.example"_s);
    EXPECT_EQ(title(), path);
    EXPECT_FALSE(app->tab().connection->isDatasourceDevice());
    EXPECT_FALSE(app->tab().session->lastDeviceId().has_value());

    app->tab().files->openFile(vf::test::writeFile(dir.filePath(u"mine.FILTERS"_s), R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>Only Tag</key><string>name == 'Tag'</string></dict></plist>)"));
    EXPECT_TRUE(app->parts().filterList->sortedFilterKeys().contains(u"Only Tag"_s));
    EXPECT_EQ(title(), path);  // importing filters leaves the log alone

    // A binary file is refused with an alert that says why.
    app->tab().files->openFile(vf::test::writeFile(dir.filePath(u"core.log"_s), QByteArray(4096, '\0')));
    QMessageBox* alert = nullptr;
    ASSERT_TRUE(vf::test::waitUntil(
        [&] { return (alert = app->parts().window->findChild<QMessageBox*>(u"binaryFileAlert"_s)) != nullptr; }));
    EXPECT_TRUE(alert->informativeText().endsWith(u"not a text log (it holds NUL bytes)"_s));
}

// A bugreport zip opens as one log: its buffers shown, its crash in the
// inbox, its device and build in the title.
TEST_F(ControllerTest, OpensABugreportZipWithItsCrashAndDevice) {
    start();
    const QString zip = dir.filePath(u"report.zip"_s);
    vf::test::writeSampleReportZip(zip);
    app->tab().files->openFile(zip);
    // The rows come before the report's end is known.
    ASSERT_TRUE(vf::test::waitUntil(
        [&] { return !app->tab().files->isOpening() && model()->rowCount() == vf::test::kSampleReportRows; }));
    EXPECT_EQ(title(), zip + u" \u2014 Pixel 6 \u00b7 "_s + QLatin1String(vf::test::kSampleFingerprint));
    const QHeaderView* header = app->parts().window->logTable()->horizontalHeader();
    EXPECT_FALSE(header->isSectionHidden(kBufferColumn));
    EXPECT_LT(header->visualIndex(kBufferColumn), header->visualIndex(kTextColumn));
    EXPECT_EQ(model()->index(3, kBufferColumn).data().toString(), u"crash"_s);
    EXPECT_EQ(app->tab().crashes->detector().crashes().size(), 1u);
}

}  // namespace
}  // namespace vf::ui::test
