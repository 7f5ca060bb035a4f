// Several devices in one viewer through the real adb server: a modern and a
// legacy device, each in a tab of its own.
#ifdef VF_HAVE_UI
#include <QDate>
#include <QPointer>
#include <algorithm>
#include <QTabWidget>

#include "core/support/preferences.h"
#include "e2e.h"
#include "support/fixtures/wait.h"
#include "core/adb/devicetime.h"
#include "ui/connection/connectioncontroller.h"
#include "ui/table/logtablemodel.h"
#include "ui/tabs/sourcetab.h"
#include "ui/vellumfoxappdelegate.h"
#include "ui/window/mainwindow.h"
#include "ui/window/statusline.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

class E2eTabs : public E2eViewerTest {
protected:
    static bool shows(const ui::SourceTab& tab, const QString& text) {
        const ui::LogTableModel* model = tab.parts().model;
        for (int row = model->rowCount() - 1; row >= 0; --row)
            if (model->index(row, 6).data().toString().contains(text)) return true;
        return false;
    }
};

// Both stream side by side; one unplugged leaves the other streaming; a
// closed tab ends its session, and the device tabs open again at the next
// start.
TEST_F(E2eTabs, TwoDevicesStreamInTabsOfTheirOwn) {
    SimulatedDevice* modern = startDevice(fastDevice(writeReplayLog(harness, 40, u"modern"_s)));
    SimulatedDevice* legacy = startDevice(fastDevice(writeReplayLog(harness, 40, u"legacy"_s), {u"--legacy"_s}));
    ASSERT_TRUE(modern && legacy);
    launch(false);
    ui::SourceTab* idle = &app->currentTab();
    ui::SourceTab& first = app->addDeviceTab(modern->serial());
    ui::SourceTab& second = app->addDeviceTab(legacy->serial());
    app->closeTab(*idle);  // the empty tab of the start goes
    ASSERT_EQ(app->tabs().size(), 2u);
    ASSERT_TRUE(waitUntil([&] { return shows(first, u"modern line 39"_s) && shows(second, u"legacy line 39"_s); },
                          20000));
    EXPECT_FALSE(shows(first, u"legacy line"_s));
    EXPECT_FALSE(shows(second, u"modern line"_s));
    const QTabWidget* tabs = app->parts().window->sourceTabs();
    EXPECT_TRUE(tabs->tabText(tabs->indexOf(second.parts().table)).contains(legacy->serial()));
    const QString totals = app->parts().status->totalsText();
    EXPECT_TRUE(totals.startsWith(u"2 tabs: "_s)) << totals.toStdString();
    EXPECT_EQ(Preferences::value(QLatin1String(ui::kDeviceTabsKey)).toStringList(),
              (QStringList{modern->serial(), legacy->serial()}));

    modern->unplug();
    ASSERT_TRUE(waitUntil([&] { return !first.parts().session->isLogging(); }, 15000));
    const qsizetype before = second.parts().store->logEventCount();
    EXPECT_TRUE(waitUntil([&] { return second.parts().store->logEventCount() > before; }, 15000));
    EXPECT_TRUE(second.parts().session->isLogging());
    modern->replug();

    const QPointer<LogSession> session = second.parts().session.get();
    app->closeTab(second);
    EXPECT_TRUE(session.isNull());
    EXPECT_EQ(Preferences::value(QLatin1String(ui::kDeviceTabsKey)).toStringList(), QStringList{modern->serial()});

    app.reset();
    launch(false);
    ASSERT_EQ(app->tabs().size(), 1u);
    // Two devices are attached: only the remembered serial spares the picker.
    app->tab().connection->startLogging();
    EXPECT_TRUE(waitUntil([&] { return app->tab().session->deviceId() == modern->serial(); }, 15000));
}

// A device an hour ahead of the other: on the merged tab their live rows
// interleave by the host's time, each named by its device.
TEST_F(E2eTabs, TheMergedTabPutsTwoClocksOnOneTimeLine) {
    SimulatedDevice* modern = startDevice(fastDevice(writeReplayLog(harness, 5, u"modern"_s)));
    SimulatedDevice* ahead = startDevice(
        fastDevice(writeReplayLog(harness, 5, u"ahead"_s), {u"--legacy"_s, u"--clock-offset"_s, u"3600"_s}));
    ASSERT_TRUE(modern && ahead);
    launch(false);
    ui::SourceTab* idle = &app->currentTab();
    const ui::SourceTab& first = app->addDeviceTab(modern->serial());
    const ui::SourceTab& second = app->addDeviceTab(ahead->serial());
    app->closeTab(*idle);
    ASSERT_TRUE(waitUntil([&] { return qAbs(second.clockOffsetMs() - 3'600'000) < 1000; }, 15000))
        << second.clockOffsetMs();
    EXPECT_LT(qAbs(first.clockOffsetMs()), 1000);

    const ui::SourceTab& merged = app->addMergedTab();
    const ui::LogTableModel* model = merged.parts().model;
    const QString today = QDate::currentDate().toString(u"MM-dd"_s);
    // The live rows (today's, not the replayed ones) by host time, and how
    // often the source changes between neighbours.
    struct Live {
        int64_t hostMs;
        bool ahead;
    };
    const auto liveRows = [&] {
        std::vector<Live> rows;
        for (int row = 0; row < model->rowCount(); ++row) {
            const QString time = model->index(row, 0).data().toString();
            const QString source = model->index(row, ui::kSourceColumn).data().toString();
            const std::optional<int64_t> ms = deviceTimeOfYearMs(time.toStdString());
            const bool isAhead = source.contains(ahead->serial());
            EXPECT_TRUE(isAhead || source.contains(modern->serial())) << source.toStdString();
            if (!ms || !time.startsWith(today)) continue;
            rows.push_back({*ms - (isAhead ? second.clockOffsetMs() : first.clockOffsetMs()), isAhead});
        }
        return rows;
    };
    std::vector<Live> rows;
    ASSERT_TRUE(waitUntil([&] {
        rows = liveRows();
        const auto fromAhead = std::count_if(rows.begin(), rows.end(), [](const Live& r) { return r.ahead; });
        return fromAhead >= 20 && qsizetype(rows.size()) - fromAhead >= 20;
    }, 20000));
    int switches = 0;
    for (size_t i = 1; i < rows.size(); ++i) {
        EXPECT_GE(rows[i].hostMs, rows[i - 1].hostMs - 50) << "row " << i;
        if (rows[i].ahead != rows[i - 1].ahead) ++switches;
    }
    // An hour apart without the offset, they would meet once.
    EXPECT_GE(switches, 10);
}

}  // namespace
}  // namespace vf::test
#endif
