#include <gtest/gtest.h>

#include <QStringList>

#include "core/adb/devicelistdatasource.h"
#include "core/adb/hostquery.h"
#include "core/adb/devicetracker.h"
#include "core/support/threads.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

class ListRecorder final : public HostQueryDelegate {
public:
    void hostQueryFinished(const QString&, const QByteArray& listing, const AdbResult& result) override {
        listings.append(listing);
        outcomes.append(result.outcome);
    }
    QList<QByteArray> listings;
    QList<AdbOutcome> outcomes;
};

TEST(HostQuery, AsksForTheListAndReportsItOnceWithHowItEnded) {
    ScriptedAdbServer server;
    using O = AdbOutcome;
    const struct {
        QByteArray reply;  // empty: no server listens
        QByteArray listing;
        AdbOutcome outcome;
    } cases[] = {
        {"OKAY" + test::framed("emulator-5554\tdevice\n"), "emulator-5554\tdevice\n", O::Done},
        {"OKAY0000", {}, O::Done},
        {"FAIL0004oops", {}, O::Refused},
        // A broken reply ends the conversation with a report instead of a wait
        // (each way to break one is a ReplyFraming case).
        {"OKAY0015emulator", {}, O::UnexpectedReply},  // closed before the promised bytes
        {"HTTP/1.1 400 Bad Request\r\n", {}, O::UnexpectedReply},
        {{}, {}, O::AdbNotRunning},
    };
    int connection = 0;
    for (const auto& c : cases) {
        if (!c.reply.isEmpty()) server.addScript(Script().expect(16).replyBytewise(c.reply).close());
        ListRecorder recorder;
        HostQuery reader(c.reply.isEmpty() ? ScriptedAdbServer::nowhere() : server.endpoint(), u"host:devices"_s);
        reader.setDelegate(&recorder);
        reader.start();
        ASSERT_TRUE(test::waitThenDrain([&] { return !recorder.outcomes.isEmpty(); }));
        if (!c.reply.isEmpty()) {
            EXPECT_EQ(server.received(connection++), "000chost:devices");
        }
        EXPECT_EQ(recorder.listings, QList<QByteArray>{c.listing}) << c.reply.constData();
        EXPECT_EQ(recorder.outcomes, QList<AdbOutcome>{c.outcome}) << c.reply.constData();
    }
}

// The long-lived conversation: every listing as the server sends it (an
// empty one when the last device leaves), then one end: a server that
// closes leaves the next listing cut short.
TEST(DeviceTracker, ReportsEachListingUntilTheServerCloses) {
    class Recorder final : public DeviceTrackerDelegate {
    public:
        void devicesTracked(const QByteArray& listing) override { listings.append(listing); }
        void trackingFinished(const AdbResult& result) override { outcomes.append(result.outcome); }
        QList<QByteArray> listings;
        QList<AdbOutcome> outcomes;
    } recorder;
    ScriptedAdbServer server;
    server.addScript(Script()
                         .expect(24)
                         .replyBytewise("OKAY" + test::framed("A1\toffline\n"))
                         .reply(test::framed("A1\tdevice\n") + test::framed({}))
                         .close());
    DeviceTracker tracker(server.endpoint());
    tracker.setDelegate(&recorder);
    tracker.start();
    ASSERT_TRUE(test::waitThenDrain([&] { return !recorder.outcomes.isEmpty(); }));
    EXPECT_EQ(server.received(0), "0014host:track-devices-l");
    EXPECT_EQ(recorder.listings, (QList<QByteArray>{"A1\toffline\n", "A1\tdevice\n", {}}));
    EXPECT_EQ(recorder.outcomes, QList<AdbOutcome>{AdbOutcome::UnexpectedReply});
}

// Delegate calls arrive on the main thread, as the flags check.
class Controller final : public DeviceListDelegate {
public:
    void onDevicesConnected(const DeviceList& devices) override {
        lists.append(devices);
        onMain = onMain && isMainThread();
    }
    void onDeviceModel(const QString& deviceId, const QString& model) override {
        models.append(deviceId + u'=' + model);
        onMain = onMain && isMainThread();
    }
    void onDeviceListFailed(DeviceListFailure) override {}
    QList<DeviceList> lists;
    QStringList models;
    bool onMain = true;
};

class DiscoveryTest : public ::testing::Test {
protected:
    DiscoveryTest() { datasource.setDelegate(&controller); }

    ScriptedAdbServer server;
    Controller controller;
    DeviceListDatasource datasource{server.endpoint()};
};

// Lookups of the queued serials go to a server that only listens.
TEST_F(DiscoveryTest, SkipsInvalidLinesAndQueuesEachNamelessSerialOnce) {
    const QByteArray reply = u"* daemon started\r\n- x\nerror: no\r\nA\tdevice\u2028B device model:Bee\rA\toffline\n"_s.toUtf8();
    datasource.parseDeviceList(reply);
    datasource.parseDeviceList(reply);
    EXPECT_EQ(datasource.deviceList().size(), 3);  // each line as DeviceListing reads it
    EXPECT_EQ(datasource.lookupList(), QStringList({u"A"_s}));
    ASSERT_TRUE(waitUntil([&] { return controller.lists.size() == 2; }));
    EXPECT_TRUE(controller.onMain);
    // The lookup of the first queued serial went out.
    ASSERT_TRUE(waitUntil([&] { return server.received(0).size() >= 20; }));
    EXPECT_EQ(server.received(0), "0010host:transport:A");
}

// The whole discovery: the list on the I/O thread, lookups one after another,
// a refused lookup ending without holding up the chain.
TEST_F(DiscoveryTest, ListsDevicesThenLooksUpNamesOneAtATime) {
    const QByteArray list = "emu-1\tdevice\n0123\tdevice product:sdk model:Pixel_3\nR58M\tunauthorized\n";
    server.addScript(Script().expect(16).reply("OKAY" + test::framed(list)).close());
    server.addScript(Script()
                         .expectRequest("host:transport:emu-1")
                         .reply("OKAY")
                         .expectRequest("shell:cat /system/build.prop; getprop")
                         .reply("OKAYro.product.name=foo\nro.product.model=Bar\n")
                         .close());
    server.addScript(
        Script().expectRequest("host:transport:R58M").reply(test::failReply("device unauthorized")).close());

    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { return server.connectionCount() == 3 && server.isClosed(2); }));
    ASSERT_TRUE(test::waitThenDrain([&] { return !controller.models.isEmpty(); }));

    EXPECT_EQ(server.received(1), "0014host:transport:emu-10025shell:cat /system/build.prop; getprop");
    EXPECT_EQ(server.received(2), "0013host:transport:R58M");
    ASSERT_EQ(controller.lists.size(), 1);
    const DeviceList& delivered = controller.lists.first();
    ASSERT_EQ(delivered.size(), 3);
    EXPECT_EQ(delivered[2].type, u"R58M"_s);  // the serial, as ever
    EXPECT_EQ(delivered[2].state, u"unauthorized"_s);
    EXPECT_FALSE(delivered[0].name.has_value());
    EXPECT_EQ(controller.models, QStringList{u"emu-1=Bar"_s});
    EXPECT_TRUE(controller.onMain);
    EXPECT_EQ(datasource.deviceList()[0].name, u"Bar"_s);
    // A refused look-up ends too: R58M stays nameless.
    EXPECT_TRUE(waitUntil([&] { return datasource.lookupList().isEmpty(); }));
    EXPECT_EQ(server.connectionCount(), 3);
}

}  // namespace
}  // namespace vf
