// A whole logging session on a live device: the device is chosen from the
// listing, rows carry app names from the device's process table, and an
// unplugged device is waited for (offline) and streamed again when it comes
// back. On a device of today and on one up to Android 7.1.
#include <gtest/gtest.h>

#include "core/log/logdatasource.h"
#include "core/session/logsession.h"
#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

bool hasRow(const LogDatasource& store, const QString& text, const QString& app) {
    const RowList rows = store.getDataAll();
    return std::any_of(rows.cbegin(), rows.cend(), [&](const RowPtr& row) {
        return row->string(RowKey::Text).contains(text) && row->string(RowKey::App) == app;
    });
}

class E2eSession : public ::testing::TestWithParam<bool> {};

TEST_P(E2eSession, NamesAppsWaitsForTheUnpluggedDeviceAndStreamsItAgain) {
    const bool legacy = GetParam();
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    QStringList kind;
    if (legacy) kind << QStringLiteral("--legacy");
    SimulatedDevice* device = harness.startDevice(fastDevice(writeReplayLog(harness, 400), kind));
    ASSERT_TRUE(device) << harness.lastError().toStdString();

    FrontEnd front;
    LogDatasource store;
    LogSession::Settings settings;
    settings.reconnectIntervalMs = 500;
    const AdbEndpoint endpoint = harness.endpoint();
    LogSession session(store, makeAdbSessionAdb([endpoint] { return endpoint; }), makeAdbConnector(endpoint),
                       settings);
    session.setDelegate(&front);
    session.startLogging();
    ASSERT_TRUE(waitUntil([&] { return front.started == 1; }, 10000));
    const QString app = QStringLiteral("org.example.fieldnotes");
    ASSERT_TRUE(waitUntil([&] { return hasRow(store, QStringLiteral("replayed line 399"), app); }, 15000))
        << "rows: " << store.logEventCount();
    // Every row of the replayed app got its name in the APP column, also
    // those that came before the process table answered; the tag stays.
    for (const RowPtr& row : store.getDataAll()) {
        if (!row->string(RowKey::Text).contains(QStringLiteral("replayed line"))) continue;
        EXPECT_EQ(row->string(RowKey::App), app);
        EXPECT_NE(row->string(RowKey::Name), app);
    }
    EXPECT_FALSE(front.model.isEmpty());

    device->unplug();
    ASSERT_TRUE(waitUntil([&] { return front.stopped == 1; }, 10000));
    EXPECT_TRUE(session.isWaiting());
    EXPECT_TRUE(waitUntil([&] { return hasRow(store, QStringLiteral("Disconnected"), QStringLiteral("Vellumfox")); }));
    device->replug();
    // The server lists it offline until its own retry (about every 10 s).
    ASSERT_TRUE(waitUntil([&] { return front.started == 2; }, 40000));
    EXPECT_EQ(front.asked, 0);
    session.stopLogging();
    EXPECT_TRUE(waitUntil([&] { return front.stopped == 2; }, 10000));
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eSession, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Legacy" : "Modern"; });

qsizetype rowsWith(const LogDatasource& store, const QString& text) {
    const RowList rows = store.getDataAll();
    return std::count_if(rows.cbegin(), rows.cend(),
                         [&](const RowPtr& row) { return row->string(RowKey::Text).contains(text); });
}

// Two sessions at once in one process, each on its own simulated device
// through the same real server: each store gets only its own device's rows,
// and stopping one leaves the other streaming.
TEST(E2eTwoSessions, EachStoreGetsItsOwnDeviceAndStoppingOneLeavesTheOther) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    struct Side {
        QString word;
        SimulatedDevice* device = nullptr;
        FrontEnd front;
        LogDatasource store;
        std::unique_ptr<LogSession> session;
    };
    Side sides[2];
    sides[0].word = QStringLiteral("alpha");
    sides[1].word = QStringLiteral("bravo");
    const AdbEndpoint endpoint = harness.endpoint();
    for (Side& side : sides) {
        side.device = harness.startDevice(fastDevice(writeReplayLog(harness, 300, side.word)));
        ASSERT_TRUE(side.device) << harness.lastError().toStdString();
    }
    for (Side& side : sides) {
        LogSession::Settings settings;
        settings.serial = side.device->serial();  // two are listed: each names its own
        side.session = std::make_unique<LogSession>(side.store, makeAdbSessionAdb([endpoint] { return endpoint; }),
                                                    makeAdbConnector(endpoint), settings);
        side.session->setDelegate(&side.front);
        side.session->startLogging();
    }
    const QString app = QStringLiteral("org.example.fieldnotes");
    for (Side& side : sides) {
        ASSERT_TRUE(waitUntil([&] { return hasRow(side.store, side.word + QStringLiteral(" line 299"), app); }, 15000))
            << side.word.toStdString() << " rows: " << side.store.logEventCount();
    }
    EXPECT_EQ(rowsWith(sides[0].store, sides[1].word), 0);
    EXPECT_EQ(rowsWith(sides[1].store, sides[0].word), 0);

    sides[0].session->stopLogging();
    ASSERT_TRUE(waitUntil([&] { return sides[0].front.stopped == 1; }, 10000));
    const qsizetype stoppedRows = sides[0].store.logEventCount();
    // The other device keeps writing (its generated lines after the replay).
    const qsizetype running = sides[1].store.logEventCount();
    ASSERT_TRUE(waitUntil([&] { return sides[1].store.logEventCount() >= running + 40; }, 10000));
    EXPECT_TRUE(sides[1].session->isLogging());
    EXPECT_EQ(sides[1].front.stopped, 0);
    EXPECT_EQ(sides[0].store.logEventCount(), stoppedRows) << "nothing more reaches the stopped session's store";
    for (Side& side : sides) EXPECT_EQ(side.front.started, 1);
}

}  // namespace
}  // namespace vf::test
