// The viewer's window through the real adb server, where the behaviour is
// the window's own: a saved log opened and a device run after it, then
// quitting with a second window open; a device that comes after the viewer.
#ifdef VF_HAVE_UI
#include <QApplication>
#include <QListWidget>
#include <QMenu>
#include <QTest>
#include <QTimer>

#include "core/support/preferences.h"
#include "e2e.h"
#include "support/fixtures/wait.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/crashes/crashespanel.h"
#include "ui/files/filecontroller.h"
#include "ui/message/messageactions.h"
#include "ui/message/textviewerwindow.h"
#include "ui/table/logtablemodel.h"
#include "ui/vellumfoxappdelegate.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

// A threadtime log of one app that crashes once, after 30 ordinary lines.
QString writeCrashingLog(const AdbHarness& harness) {
    return writeReplayLog(
        harness, 30, u"crashing"_s,
        "03-17 09:41:14.000  4120  4120 E AndroidRuntime: FATAL EXCEPTION: main\n"
        "03-17 09:41:14.000  4120  4120 E AndroidRuntime: Process: org.example.fieldnotes, PID: 4120\n"
        "03-17 09:41:14.000  4120  4120 E AndroidRuntime: java.lang.IllegalStateException: boom\n"
        "03-17 09:41:14.000  4120  4120 E AndroidRuntime: \tat org.example.Notes.save(Notes.java:9)\n"
        "03-17 09:41:14.100  1102  1133 I ActivityManager: Process org.example.fieldnotes (pid 4120) has died: fg TOP\n"
        "03-17 09:41:15.000  1102  1133 I ActivityManager: the end of the replay\n");
}

class E2eWindow : public E2eViewerTest {
protected:
    // The app column of the first row whose text holds `text`; null when none does.
    std::optional<QString> appOf(const QString& text) const {
        const ui::LogTableModel* model = app->tab().model;
        for (int row = 0; row < model->rowCount(); ++row)
            if (model->index(row, 6).data().toString().contains(text)) return model->index(row, 1).data().toString();
        return std::nullopt;
    }
    bool shows(const QString& text) const { return appOf(text).has_value(); }
};

// The saved log of a device and then the device itself: the crash they
// share is listed once, and the rows of the process that died keep its name.
// Quit from the message viewer then ends the application, not just the
// main window.
TEST_F(E2eWindow, OpenThenRunListsEachCrashOnceAndQuitEndsTheApplication) {
    const QString log = writeCrashingLog(harness);
    ASSERT_TRUE(startDevice(fastDevice(log)));
    launch(false);
    const ui::VellumfoxAppDelegate::Parts& parts = app->parts();
    const ui::SourceTab::Parts& tab = app->tab();
    tab.files->openFile(log);
    ASSERT_TRUE(waitUntil([&] { return tab.crashes->list()->count() == 1 && shows(u"the end of the replay"_s); }, 15000));

    parts.window->connectAction->trigger();
    ASSERT_TRUE(waitUntil([&] { return tab.session->isLogging(); }, 15000));
    ASSERT_TRUE(waitUntil([&] { return shows(u"the end of the replay"_s) && tab.crashes->list()->count() > 0; }, 15000));
    pumpEvents(1500);
    ASSERT_EQ(tab.crashes->list()->count(), 1);
    EXPECT_TRUE(tab.crashes->list()->item(0)->text().contains(u"org.example.fieldnotes ("_s))
        << tab.crashes->list()->item(0)->text().toStdString();
    EXPECT_EQ(appOf(u"line 29"_s), u"org.example.fieldnotes"_s);

    parts.window->logTable()->selectRow(0);
    tab.messages->onViewText();
    QWidget* viewer = QApplication::activeWindow();
    ASSERT_TRUE(waitUntil([&] {
        viewer = QApplication::activeWindow();
        return qobject_cast<ui::TextViewerWindow*>(viewer) != nullptr;
    }, 5000));
    QTimer::singleShot(0, viewer, [viewer] { QTest::keyClick(viewer, Qt::Key_Q, Qt::ControlModifier); });
    QTimer::singleShot(10000, qApp, [] { QCoreApplication::exit(1); });  // never reached when Quit works
    EXPECT_EQ(QApplication::exec(), 0);
}

// Started with no device: no alert over the table, which says what to do;
// the device plugged in afterwards streams without a key press and is
// offered in the Device menu.
TEST_F(E2eWindow, ALateDeviceIsPickedUpWithoutInput) {
    launch(true);
    const ui::VellumfoxAppDelegate::Parts& parts = app->parts();
    const ui::SourceTab::Parts& tab = app->tab();
    ASSERT_TRUE(waitUntil([&] { return parts.window->logTable()->placeholderText().contains(u"picked up"_s); }, 15000));
    EXPECT_EQ(tab.connection->currentAlert(), nullptr);

    const QString log = writeCrashingLog(harness);
    SimulatedDevice* device = startDevice(fastDevice(log));
    ASSERT_NE(device, nullptr);
    // Listed offline first while the server connects it, then ready.
    ASSERT_TRUE(waitUntil([&] { return parts.window->connectAction->text() == u"Stop"_s; }, 15000));
    EXPECT_EQ(tab.session->deviceId(), device->serial());
    EXPECT_TRUE(parts.window->windowTitle().endsWith(device->serial())) << parts.window->windowTitle().toStdString();
    const QList<QAction*> entries = tab.connection->devicesMenu()->actions();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_TRUE(entries.first()->isChecked());
    EXPECT_EQ(tab.connection->currentAlert(), nullptr);
}

}  // namespace
}  // namespace vf::test
#endif
