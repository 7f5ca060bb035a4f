#include <gtest/gtest.h>

#include <QMutex>
#include <QStringList>
#include <atomic>

#include "core/adb/devicelistdatasource.h"
#include "core/adb/devicelistreader.h"
#include "core/adb/devicenamereader.h"
#include "core/support/preferences.h"
#include "core/support/threads.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::Script;
using test::ScriptedAdbServer;
using test::waitUntil;

QByteArray withLength(const QByteArray& payload) {
    return QByteArray::number(payload.size(), 16).rightJustified(4, '0') + payload;
}

class ListRecorder final : public DeviceListReaderDelegate {
public:
    void devicesReceived(const QString& text) override { texts.append(text); }
    void deviceListFailedWithError(int code) override { codes.append(code); }
    QStringList texts;
    QList<int> codes;
};

struct ReaderCase {
    QByteArray reply;
    QStringList texts;
    QList<int> codes;
};

TEST(DeviceListReader, AsksForTheListAndReportsTextOrFailureCode) {
    ScriptedAdbServer server;
    test::ScopedAdbPreferences prefs(server.port());
    const ReaderCase cases[] = {
        {"OKAY" + withLength("emulator-5554\tdevice\n"), {u"emulator-5554\tdevice\n"_s}, {}},
        {"OKAY0000", {}, {1}},
        {"okay0015emulator-5554\tdevice\n", {}, {}},  // not "OKAY": logged only
        {"FAIL0004oops", {}, {}},
    };
    int connection = 0;
    for (const ReaderCase& c : cases) {
        server.addScript(Script().expect(16).replyBytewise(c.reply).close());
        ListRecorder recorder;
        DeviceListReader reader;
        reader.setDelegate(&recorder);
        reader.connect();
        ASSERT_TRUE(waitUntil([&] { return server.isClosed(connection) && !reader.isConnecting(); }));
        test::pumpEvents(30);
        EXPECT_EQ(server.received(connection), "000chost:devices");
        EXPECT_EQ(recorder.texts, c.texts) << c.reply.constData();
        EXPECT_EQ(recorder.codes, c.codes) << c.reply.constData();
        ++connection;
    }

    Preferences::setValue(u"adbPort"_s, QString::number(ScriptedAdbServer::unusedPort()));
    ListRecorder recorder;
    DeviceListReader reader;
    reader.setDelegate(&recorder);
    reader.connect();
    ASSERT_TRUE(waitUntil([&] { return !recorder.codes.isEmpty(); }));
    EXPECT_EQ(recorder.codes, QList<int>{0});
}

TEST(DeviceListParsing, RecordsTakeTheSerialAsTypeAndLaterPrefixedFields) {
    DeviceRecord plain = DeviceListDatasource::recordFromLine(u"emulator-5554\tdevice"_s);
    EXPECT_EQ(plain.id, u"emulator-5554"_s);
    EXPECT_EQ(plain.type, u"emulator-5554"_s);
    EXPECT_FALSE(plain.name.has_value());
    EXPECT_FALSE(plain.product.has_value());

    DeviceRecord full = DeviceListDatasource::recordFromLine(u"0123  device product:sdk model:Pixel_3"_s);
    EXPECT_EQ(full.id, u"0123"_s);
    EXPECT_EQ(full.type, u"0123"_s);
    EXPECT_EQ(full.name, u"Pixel_3"_s);
    EXPECT_EQ(full.product, u"sdk"_s);

    DeviceRecord repeated = DeviceListDatasource::recordFromLine(u"x model:a model:b product:c"_s);
    EXPECT_EQ(repeated.name, u"b"_s);

    DeviceRecord indented = DeviceListDatasource::recordFromLine(u"\tserial device model:m"_s);
    EXPECT_EQ(indented.id, QString());
    EXPECT_EQ(indented.type, u"serial"_s);
    EXPECT_EQ(indented.name, u"m"_s);
}

class Controller final : public DeviceListDelegate {
public:
    void onDevicesConnected(const DeviceList& devices) override {
        QMutexLocker lock(&mutex);
        lists.append(devices);
        onMain = onMain && isMainThread();
    }
    void onDeviceModel(const QString& deviceId, const QString& model) override {
        QMutexLocker lock(&mutex);
        models.append(deviceId + u'=' + model);
        onMain = onMain && isMainThread();
    }
    void onDeviceListFailed(int code) override {
        QMutexLocker lock(&mutex);
        failures.append(code);
        failedOnMain = isMainThread();
    }
    QMutex mutex;
    QList<DeviceList> lists;
    QStringList models;
    QList<int> failures;
    bool onMain = true;
    bool failedOnMain = true;
};

// Server-free checks of the parser; lookups go to a server that only listens.
TEST(DeviceListParsing, SkipsInvalidLinesAndQueuesEachNamelessSerialOnce) {
    ScriptedAdbServer server;
    test::ScopedAdbPreferences prefs(server.port());
    Controller controller;
    DeviceListDatasource datasource;
    datasource.setDelegate(&controller);
    const QString reply = u"* daemon started\r\n- x\nerror: no\r\nA\tdevice\u2028B device model:Bee\rA\toffline\n"_s;
    datasource.parseDeviceList(reply);
    datasource.parseDeviceList(reply);
    const DeviceList devices = datasource.deviceList();
    ASSERT_EQ(devices.size(), 4);
    EXPECT_EQ(devices[0].id, u"*"_s);
    EXPECT_EQ(devices[1].id, u"A"_s);
    EXPECT_EQ(devices[2].name, u"Bee"_s);
    EXPECT_EQ(devices[3].id, u"A"_s);
    EXPECT_EQ(datasource.lookupList(), QStringList({u"*"_s, u"A"_s}));
    ASSERT_TRUE(waitUntil([&] { return controller.lists.size() == 2; }));
    EXPECT_TRUE(controller.onMain);
    // The lookup of the first queued serial went out.
    ASSERT_TRUE(waitUntil([&] { return server.received(0).size() >= 20; }));
    EXPECT_EQ(server.received(0), "0010host:transport:*");
}

TEST(DeviceNameReader, ModelLineWinsAndEndsTheScanNothingTrimmed) {
    using R = DeviceNameReader;
    EXPECT_EQ(R::nameFromBuildProperties(u"ro.product.name=foo\nro.product.model=Bar\n"_s), u"Bar"_s);
    EXPECT_EQ(R::nameFromBuildProperties(u"a=b\nro.product.name=foo\n"_s), u"foo"_s);
    EXPECT_EQ(R::nameFromBuildProperties(u"ro.product.name=foo\nro.product.name=baz\n"_s), u"baz"_s);
    EXPECT_EQ(R::nameFromBuildProperties(u"ro.product.model=Bar\r\nro.product.name=foo\r\n"_s), u"Bar"_s);
    EXPECT_EQ(R::nameFromBuildProperties(u"ro.product.model= Pixel 3 \n"_s), u" Pixel 3 "_s);
    EXPECT_EQ(R::nameFromBuildProperties(u" ro.product.model=X\n"_s), std::nullopt);
    EXPECT_EQ(R::nameFromBuildProperties(u"ro.build.id=1\n"_s), std::nullopt);
}

// The whole discovery: the list on the I/O thread, lookups one after another,
// a refused lookup stalling the chain at its device.
TEST(DeviceListDatasource, ListsDevicesThenLooksUpNamesOneAtATime) {
    ScriptedAdbServer server;
    test::ScopedAdbPreferences prefs(server.port());
    const QByteArray list = "emu-1\tdevice\n0123\tdevice product:sdk model:Pixel_3\nR58M\tunauthorized\n";
    server.addScript(Script().expect(16).reply("OKAY" + withLength(list)).close());
    const QByteArray transport = "0014host:transport:emu-1";
    const QByteArray cat = "001cshell:cat /system/build.prop";
    server.addScript(Script()
                         .expect(transport.size())
                         .reply("OKAY")
                         .expect(cat.size())
                         .reply("OKAYro.product.name=foo\nro.product.model=Bar\n")
                         .close());
    server.addScript(Script().expect(4 + 19).reply("FAIL0013device unauthorized").close());

    Controller controller;
    DeviceListDatasource datasource;
    datasource.setDelegate(&controller);
    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { return server.connectionCount() == 3 && server.isClosed(2); }));
    ASSERT_TRUE(waitUntil([&] { return !controller.models.isEmpty(); }));
    test::pumpEvents(50);

    EXPECT_EQ(server.received(1), transport + cat);
    EXPECT_EQ(server.received(2), "0013host:transport:R58M");
    ASSERT_EQ(controller.lists.size(), 1);
    const DeviceList& delivered = controller.lists.first();
    ASSERT_EQ(delivered.size(), 3);
    EXPECT_EQ(delivered[2].type, u"R58M"_s);  // the state word is not kept
    EXPECT_FALSE(delivered[0].name.has_value());
    EXPECT_EQ(controller.models, QStringList{u"emu-1=Bar"_s});
    EXPECT_TRUE(controller.onMain);
    EXPECT_EQ(datasource.deviceList()[0].name, u"Bar"_s);
    EXPECT_EQ(datasource.lookupList(), QStringList{u"R58M"_s});
    EXPECT_EQ(server.connectionCount(), 3);
}

TEST(DeviceListDatasource, FailuresReachTheControllerOffTheMainThread) {
    ScriptedAdbServer server;
    test::ScopedAdbPreferences prefs(server.port());
    server.addScript(Script().expect(16).reply("OKAY0000").close());
    Controller controller;
    DeviceListDatasource datasource;
    datasource.setDelegate(&controller);
    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { QMutexLocker lock(&controller.mutex); return !controller.failures.isEmpty(); }));

    Preferences::setValue(u"adbPort"_s, QString::number(ScriptedAdbServer::unusedPort()));
    datasource.loadDeviceList();
    ASSERT_TRUE(waitUntil([&] { QMutexLocker lock(&controller.mutex); return controller.failures.size() == 2; }));
    test::pumpEvents(30);
    QMutexLocker lock(&controller.mutex);
    EXPECT_EQ(controller.failures, QList<int>({1, 0}));
    EXPECT_FALSE(controller.failedOnMain);
    EXPECT_TRUE(controller.lists.isEmpty());
}

}  // namespace
}  // namespace vf
