// The viewer through the real adb server: the window's title names the
// device's model, rows carry their app, devices that cannot be streamed are
// explained (an alert, or the status line while waiting), and the user's way
// in works: Run, the picker, the menus.
#ifdef VF_HAVE_UI
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QToolBar>

#include "e2e.h"
#include "support/fixtures/wait.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/connection/devicepickersheet.h"
#include "ui/table/logtablemodel.h"
#include "ui/vellumfoxappdelegate.h"
#include "ui/window/mainwindow.h"
#include "ui/window/selectabletableview.h"
#include "ui/window/statusline.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

class E2eViewer : public E2eViewerTest, public ::testing::WithParamInterface<bool> {
protected:
    // A device of the test's kind, replaying 200 lines.
    SimulatedDevice* startDevice(QStringList arguments, const QString& state = u"device"_s) {
        if (GetParam()) arguments << u"--legacy"_s;
        return E2eTest::startDevice(fastDevice(writeReplayLog(harness, 200), arguments), state);
    }
    QString title() const { return app->parts().window->windowTitle(); }
    // The item `text` of the menu bar's menu `menu`.
    QAction* menuItem(const QString& menu, const QString& text) const {
        for (const QAction* top : app->parts().window->menuBar()->actions()) {
            if (top->menu() == nullptr || top->text() != menu) continue;
            for (QAction* item : top->menu()->actions())
                if (item->text() == text) return item;
        }
        ADD_FAILURE() << "no menu item " << text.toStdString();
        return nullptr;
    }
    QString alert() const {
        const QMessageBox* box = app->tab().connection->currentAlert();
        return box != nullptr ? box->informativeText() : QString();
    }
};

// The app names include those of an app that lives 300 ms under a pid no
// "ps" lists.
TEST_P(E2eViewer, ShowsModelAndAppNamesWithoutTheModelInBuildProp) {
    SimulatedDevice* device = startDevice({u"--no-build-prop-model"_s, u"--model"_s, u"Pixel Test"_s,
                                           u"--flash-app"_s, u"1"_s});
    ASSERT_TRUE(device);
    launch(true);
    // "model - serial" once the model is known ("serial - model" when it was
    // known when the run started).
    ASSERT_TRUE(waitUntil([&] { return title().contains(u"Pixel Test"_s) && title().contains(device->serial()); }, 15000))
        << title().toStdString();
    ui::LogTableModel* model = app->tab().model;
    const auto named = [&] {
        for (int row = 0; row < model->rowCount(); ++row)
            if (model->index(row, 6).data().toString().contains(u"replayed line 199"_s))
                return model->index(row, 1).data().toString() == u"org.example.fieldnotes"_s;
        return false;
    };
    EXPECT_TRUE(waitUntil(named, 15000));
    EXPECT_EQ(alert(), QString());
    const auto flashApps = [&] {
        QStringList apps;
        for (int row = 0; row < model->rowCount(); ++row)
            if (model->index(row, 5).data().toString() == u"Flash"_s) apps << model->index(row, 1).data().toString();
        return apps;
    };
    ASSERT_TRUE(waitUntil([&] { return flashApps().size() >= 6; }, 15000));
    for (const QString& app : flashApps()) EXPECT_TRUE(app.startsWith(u"com.example.flash"_s)) << app.toStdString();
}

TEST_P(E2eViewer, AnUnauthorizedDeviceGetsItsAlert) {
    SimulatedDevice* locked = startDevice({u"--state"_s, u"unauthorized"_s}, u"unauthorized"_s);
    ASSERT_TRUE(locked);
    launch(true);
    ASSERT_TRUE(waitUntil([&] { return !alert().isEmpty(); }, 15000));
    EXPECT_EQ(alert(), u"Device Not Authorized\n\nAllow USB debugging from device "_s + locked->serial());
}

TEST_P(E2eViewer, AnOfflineDeviceIsWaitedForOnTheStatusLine) {
    SimulatedDevice* offline = startDevice({u"--state"_s, u"offline"_s}, u"offline"_s);
    ASSERT_TRUE(offline);
    launch(true);
    EXPECT_TRUE(waitUntil([&] { return app->parts().status->note().contains(u"offline"_s); }, 15000));
    EXPECT_TRUE(app->tab().session->isWaiting());
    EXPECT_EQ(alert(), QString());
}

// Run with two devices attached opens the picker; the second one chosen is
// streamed, and the Edit menu's Copy and Clear act on its log.
TEST_P(E2eViewer, RunThenThePickerChoosesTheDeviceAndTheMenuActsOnItsLog) {
    SimulatedDevice* first = startDevice({});
    SimulatedDevice* second = startDevice({});
    ASSERT_TRUE(first && second);
    launch(false);
    const ui::VellumfoxAppDelegate::Parts& parts = app->parts();
    const ui::SourceTab::Parts& tab = app->tab();

    QTest::mouseClick(parts.window->toolBar()->widgetForAction(parts.window->connectAction), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return tab.connection->devicePicker() && tab.connection->devicePicker()->isVisible(); },
                          15000));
    ui::DevicePickerSheet* picker = tab.connection->devicePicker();
    EXPECT_EQ(picker->deviceButton()->count(), 2);
    const int chosen = picker->deviceButton()->findText(second->serial(), Qt::MatchContains);
    ASSERT_GE(chosen, 0);
    picker->deviceButton()->setCurrentIndex(chosen);
    QTest::mouseClick(picker->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok), Qt::LeftButton);
    int replayed = -1;  // a row of the replayed log
    ASSERT_TRUE(waitUntil([&] {
        for (int row = 0; row < tab.model->rowCount() && replayed < 0; ++row)
            if (tab.model->index(row, 6).data().toString().contains(u"replayed line"_s)) replayed = row;
        return replayed >= 0;
    }, 15000));
    EXPECT_EQ(tab.session->deviceId(), second->serial());
    EXPECT_TRUE(title().contains(second->serial())) << title().toStdString();
    EXPECT_EQ(parts.window->connectAction->text(), u"Stop"_s);

    parts.window->logTable()->selectRowAlone(replayed);
    // Copied as one line: line breaks in the text become blanks.
    const QString text = tab.model->index(replayed, 6).data().toString().replace(u'\r', u' ');
    menuItem(u"&Edit"_s, u"Copy"_s)->trigger();
    EXPECT_TRUE(QApplication::clipboard()->text().endsWith(u'\t' + text + u'\n'))
        << QApplication::clipboard()->text().toStdString();

    menuItem(u"&Edit"_s, u"Clear"_s)->trigger();
    EXPECT_EQ(tab.model->rowCount(), 0);
    // The device's log goes on after the clear.
    EXPECT_TRUE(waitUntil([&] { return tab.model->rowCount() > 0; }, 15000));
    EXPECT_EQ(tab.session->deviceId(), second->serial());
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eViewer, ::testing::Values(false, true), kindName);

}  // namespace
}  // namespace vf::test
#endif
