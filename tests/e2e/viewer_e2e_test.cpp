// The viewer through the real adb server: the window's title names the
// device's model, rows carry their app, and devices that cannot be streamed
// are explained (an alert, or the status line while waiting).
#ifdef VF_HAVE_UI
#include <QMessageBox>
#include <QStatusBar>

#include "e2e.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/table/logtablemodel.h"
#include "ui/vellumfoxappdelegate.h"
#include "ui/window/mainwindow.h"
#include "ui/window/statusline.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

class E2eViewer : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (!harness.available()) GTEST_SKIP() << "adb is not installed";
        ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
        preferences = std::make_unique<ScopedAdbPreferences>(harness.serverPort());
    }
    SimulatedDevice* startDevice(QStringList arguments, const QString& state = u"device"_s) {
        if (GetParam()) arguments << u"--legacy"_s;
        return harness.startDevice(fastDevice(writeReplayLog(harness, 200), arguments), state);
    }
    void launch() {
        ui::VellumfoxAppDelegate::Options options;
        options.installHooks = false;
        options.recordEvent = [](const QString&) {};
        app = std::make_unique<ui::VellumfoxAppDelegate>(options);
        app->applicationDidFinishLaunching();
    }
    QString title() const { return app->parts().window->windowTitle(); }
    QString alert() const { return app->parts().connection->currentAlert() ? app->parts().connection->currentAlert()->informativeText() : QString(); }

    AdbHarness harness = makeHarness();
    std::unique_ptr<ScopedAdbPreferences> preferences;
    std::unique_ptr<ui::VellumfoxAppDelegate> app;
};

TEST_P(E2eViewer, ShowsModelAndAppNamesWithoutTheModelInBuildProp) {
    SimulatedDevice* device = startDevice({u"--no-build-prop-model"_s, u"--model"_s, u"Pixel Test"_s});
    ASSERT_TRUE(device) << harness.lastError().toStdString();
    launch();
    // "model - serial" once the model is known ("serial - model" when it was
    // known when the run started).
    ASSERT_TRUE(waitUntil([&] { return title().contains(u"Pixel Test"_s) && title().contains(device->serial()); }, 15000))
        << title().toStdString();
    ui::LogTableModel* model = app->parts().model;
    const auto named = [&] {
        for (int row = 0; row < model->rowCount(); ++row)
            if (model->index(row, 6).data().toString().contains(u"replayed line 199"_s))
                return model->index(row, 1).data().toString() == u"org.example.fieldnotes"_s;
        return false;
    };
    EXPECT_TRUE(waitUntil(named, 15000));
    EXPECT_EQ(alert(), QString());
}

TEST_P(E2eViewer, AnUnauthorizedDeviceGetsItsAlert) {
    SimulatedDevice* locked = startDevice({u"--state"_s, u"unauthorized"_s}, u"unauthorized"_s);
    ASSERT_TRUE(locked) << harness.lastError().toStdString();
    launch();
    ASSERT_TRUE(waitUntil([&] { return !alert().isEmpty(); }, 15000));
    EXPECT_EQ(alert(), u"Device Not Authorized\n\nAllow USB debugging from device "_s + locked->serial());
}

TEST_P(E2eViewer, AnOfflineDeviceIsWaitedForOnTheStatusLine) {
    SimulatedDevice* offline = startDevice({u"--state"_s, u"offline"_s}, u"offline"_s);
    ASSERT_TRUE(offline) << harness.lastError().toStdString();
    launch();
    EXPECT_TRUE(waitUntil([&] { return app->parts().status->note().contains(u"offline"_s); }, 15000));
    EXPECT_TRUE(app->parts().session->isWaiting());
    EXPECT_EQ(alert(), QString());
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eViewer, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Legacy" : "Modern"; });

}  // namespace
}  // namespace vf::test
#endif
