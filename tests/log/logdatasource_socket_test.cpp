// The store with its real conversations against a scripted ADB server.
#include <gtest/gtest.h>

#include "core/log/logdatasource.h"
#include "support/fixtures/scriptedadbserver.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;

struct RunDelegate final : LogDatasourceDelegate {
    void onLoggerStarted() override { ++started; }
    void onLoggerStopped() override { ++stopped; }
    void onLogUpdated() override {}
    void onMultipleDevicesConnected() override {}
    void onDeviceNotFound() override {}
    void onFilterCorrupt(const QString&) override {}
    void adbNotRunningError(const Error&) override {}
    void adbDeviceNotFound(const Error&) override {}
    int started = 0, stopped = 0;
};

TEST(StoreOverSocket, StreamsLinesNamesThePidAndEndsWithAStatusRow) {
    test::ScriptedAdbServer server;
    test::ScopedAdbPreferences preferences(server.port());
    const QByteArray transport = "host:transport:emulator-5554";
    // The process table is asked for before the stream is opened.
    server.addScript(test::Script()
                         .expectRequest(transport)
                         .reply("OKAY")
                         .expectRequest("shell:ps")
                         .reply("OKAYUSER PID PPID VSIZE RSS WCHAN PC NAME\n"
                                "u0_a1     4321  1 0 0 0 0 S com.example.live\n")
                         .close());
    server.addScript(test::Script()
                         .expectRequest(transport)
                         .reply("OKAY")
                         .expect(4 + 59)
                         .reply("OKAY")
                         .replyBytewise("01-02 03:04:05.006  4321  4322 I Tag: first\n")
                         .reply("01-02 03:04:05.007  4321  4321 W Tag: second\r\n"
                                "01-02 03:04:05.008  4321  4322 E Tag: third\n")
                         .close());

    RunDelegate delegate;
    LogDatasource store;
    store.setDelegate(&delegate);
    store.setDeviceId(u"emulator-5554"_s);
    store.startLogger();
    ASSERT_TRUE(test::waitUntil([&] { return delegate.stopped == 1; }));
    EXPECT_EQ(delegate.started, 1);
    EXPECT_FALSE(store.isLogging());
    EXPECT_TRUE(server.received(0).contains("shell:ps"));
    EXPECT_TRUE(server.received(1).contains("exec logcat -v threadtime"));

    const RowList rows = store.getDataAll();
    ASSERT_EQ(rows.size(), 4);
    EXPECT_EQ(rows.at(0)->string(RowKey::Text).trimmed(), u"first"_s);
    EXPECT_EQ(rows.at(1)->tid(), "-");
    EXPECT_EQ(rows.at(2)->type(), "E");
    EXPECT_EQ(rows.at(3)->text(), "Disconnected. emulator-5554");
    // The stream's end resets the map to the user's names.
    EXPECT_EQ(store.appNameForPid(u"4321"_s), QString());
}

}  // namespace
}  // namespace vf
