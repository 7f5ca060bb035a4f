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

using namespace Qt::StringLiterals;

class E2eSession : public E2eKindTest {};

TEST_P(E2eSession, NamesAppsWaitsForTheUnpluggedDeviceAndStreamsItAgain) {
    SimulatedDevice* device = startDevice(fastDevice(writeReplayLog(harness, 400), kind()));
    ASSERT_TRUE(device);

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
    const QString app = u"org.example.fieldnotes"_s;
    ASSERT_TRUE(waitUntil([&] { return rowsWith(store, u"replayed line 399"_s, app) > 0; }, 15000))
        << "rows: " << store.logEventCount();
    // Every row of the replayed app got its name in the APP column, also
    // those that came before the process table answered; the tag stays.
    for (const RowPtr& row : store.getDataAll()) {
        if (!row->string(RowKey::Text).contains(u"replayed line"_s)) continue;
        EXPECT_EQ(row->string(RowKey::App), app);
        EXPECT_NE(row->string(RowKey::Name), app);
    }
    EXPECT_FALSE(front.model.isEmpty());

    device->unplug();
    ASSERT_TRUE(waitUntil([&] { return front.stopped == 1; }, 10000));
    EXPECT_TRUE(session.isWaiting());
    EXPECT_TRUE(waitUntil([&] { return rowsWith(store, u"Disconnected"_s, u"Vellumfox"_s) > 0; }));
    device->replug();
    // The server lists it offline until its own retry (about every 10 s).
    ASSERT_TRUE(waitUntil([&] { return front.started == 2; }, 40000));
    EXPECT_EQ(front.asked, 0);
    session.stopLogging();
    EXPECT_TRUE(waitUntil([&] { return front.stopped == 2; }, 10000));
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eSession, ::testing::Values(false, true), kindName);

}  // namespace
}  // namespace vf::test
