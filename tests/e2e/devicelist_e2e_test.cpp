// The device list model against the real adb server: none, one and two
// simulated devices, and no server at all.
#include <gtest/gtest.h>

#include <QMutex>
#include <QMutexLocker>

#include "core/adb/devicelistdatasource.h"
#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

// onDeviceListFailed arrives on the I/O thread, the rest on the main thread.
class RecordingDeviceListDelegate final : public DeviceListDelegate {
public:
    void onDevicesConnected(const DeviceList& devices) override {
        QMutexLocker lock(&mutex);
        lists.append(devices);
    }
    void onDeviceModel(const QString& deviceId, const QString& model) override {
        QMutexLocker lock(&mutex);
        models.insert(deviceId, model);
    }
    void onDeviceListFailed(int code) override {
        QMutexLocker lock(&mutex);
        failures.append(code);
    }

    template <typename F>
    auto locked(F&& f) {
        QMutexLocker lock(&mutex);
        return f();
    }

    QMutex mutex;
    QList<DeviceList> lists;
    QMap<QString, QString> models;
    QList<int> failures;
};

TEST(E2eDeviceList, NoDeviceAndNoServerAreTheTwoFailureCodes) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    RecordingDeviceListDelegate delegate;
    DeviceListDatasource datasource(harness.endpoint());
    datasource.setDelegate(&delegate);

    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { return delegate.locked([&] { return delegate.failures.size() == 1; }); }));
    EXPECT_EQ(delegate.failures.first(), 0);

    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { return delegate.locked([&] { return delegate.failures.size() == 2; }); }));
    EXPECT_EQ(delegate.failures.last(), 1);
    pumpEvents(100);
    EXPECT_TRUE(delegate.locked([&] { return delegate.lists.isEmpty(); }));
}

TEST(E2eDeviceList, ListsDevicesAndLooksUpTheirModelNames) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    const QString log = writeReplayLog(harness);
    SimulatedDevice* pixel = harness.startDevice(fastDevice(log, {QStringLiteral("--model"), QStringLiteral("Pixel Sim")}));
    ASSERT_TRUE(pixel) << harness.lastError().toStdString();

    RecordingDeviceListDelegate delegate;
    DeviceListDatasource datasource(harness.endpoint());
    datasource.setDelegate(&delegate);
    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { return delegate.locked([&] { return delegate.models.size() == 1; }); }, 10000));
    {
        QMutexLocker lock(&delegate.mutex);
        ASSERT_EQ(delegate.lists.size(), 1);
        ASSERT_EQ(delegate.lists.first().size(), 1);
        EXPECT_EQ(delegate.lists.first().first().id, pixel->serial());
        // "host:devices" (without -l) carries no model: the name comes from build.prop.
        EXPECT_EQ(delegate.models.value(pixel->serial()), QStringLiteral("Pixel Sim"));
    }

    SimulatedDevice* old = harness.startDevice(
        fastDevice(log, {QStringLiteral("--model"), QStringLiteral("Old Phone"), QStringLiteral("--legacy"),
                         QStringLiteral("--sdk"), QStringLiteral("23")}));
    ASSERT_TRUE(old) << harness.lastError().toStdString();
    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { return delegate.locked([&] { return delegate.models.size() == 2; }); }, 10000));
    QMutexLocker lock(&delegate.mutex);
    QStringList ids;
    for (const DeviceRecord& record : delegate.lists.last()) ids.append(record.id);
    ids.sort();
    QStringList expected{pixel->serial(), old->serial()};
    expected.sort();
    EXPECT_EQ(ids, expected);
    // The old device's shell ends lines with CR LF; the name must not keep the CR.
    EXPECT_EQ(delegate.models.value(old->serial()), QStringLiteral("Old Phone"));
}

}  // namespace
}  // namespace vf::test
