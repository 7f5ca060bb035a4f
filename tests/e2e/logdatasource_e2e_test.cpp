// The whole log store on a live stream: rows, app names from the device's
// process table, and the run's end when the device goes away.
#include <gtest/gtest.h>

#include <atomic>

#include "core/log/logdatasource.h"
#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

class RunDelegate final : public LogDatasourceDelegate {
public:
    void onLoggerStarted() override { ++started; }
    void onLoggerStopped() override { ++stopped; }
    void onLogUpdated(const LogUpdate&) override {}
    void onMultipleDevicesConnected() override { ++multiple; }
    void onDeviceNotFound() override {}
    void onFilterCorrupt(const QString&) override {}
    void adbNotRunningError(const Error&) override { ++notRunning; }
    void adbDeviceNotFound(const Error&) override {}

    std::atomic<int> started{0}, stopped{0}, multiple{0}, notRunning{0};
};

bool hasRow(const LogDatasource& store, const QString& text, const QString& app) {
    const RowList rows = store.getDataAll();
    return std::any_of(rows.cbegin(), rows.cend(), [&](const RowPtr& row) {
        return row->string(RowKey::Text).contains(text) && row->string(RowKey::App) == app;
    });
}

// `deviceKind`: extra simulator arguments (none: a device of today).
void expectAppNamesAndEndOnUnplug(const QStringList& deviceKind) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    SimulatedDevice* device = harness.startDevice(fastDevice(writeReplayLog(harness, 400), deviceKind));
    ASSERT_TRUE(device) << harness.lastError().toStdString();

    RunDelegate delegate;
    {
        LogDatasource store(makeAdbConnector(harness.endpoint()));
        store.setDelegate(&delegate);
        store.setDeviceId(device->serial());
        store.startLogger();
        ASSERT_TRUE(waitUntil([&] { return delegate.started == 1; }));
        ASSERT_TRUE(waitUntil([&] { return hasRow(store, QStringLiteral("replayed line 399"),
                                                  QStringLiteral("org.example.fieldnotes")); }, 15000))
            << "rows: " << store.logEventCount();
        EXPECT_TRUE(store.isLogging());
        // Every row of the replayed app got the name, also those that came
        // before the process table answered.
        const RowList rows = store.getDataAll();
        for (const RowPtr& row : rows) {
            if (row->string(RowKey::Text).contains(QStringLiteral("replayed line"))) {
                EXPECT_EQ(row->string(RowKey::App), QStringLiteral("org.example.fieldnotes"));
            }
        }

        device->unplug();
        ASSERT_TRUE(waitUntil([&] { return delegate.stopped == 1; }, 10000));
        EXPECT_FALSE(store.isLogging());
        EXPECT_TRUE(waitUntil([&] { return hasRow(store, QStringLiteral("Disconnected"), QStringLiteral("Vellumfox")); }));
    }
}

// Devices up to Android 7.1 list every process with plain "ps".
TEST(E2eLogDatasource, LegacyRowsCarryAppNamesFromPsAndTheRunEndsOnUnplug) {
    expectAppNamesAndEndOnUnplug({QStringLiteral("--legacy")});
}

TEST(E2eLogDatasource, ModernRowsCarryAppNamesFromPsAndTheRunEndsOnUnplug) {
    // Android 8+ plain "ps" lists only the shell: the store asks "ps -A".
    expectAppNamesAndEndOnUnplug({});
}

}  // namespace
}  // namespace vf::test
