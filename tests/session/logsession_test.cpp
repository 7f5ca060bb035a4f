// The session's cycle: which device runs, reconnecting to the one it had,
// starting the server once, and what the front end is told.
#include <gtest/gtest.h>

#include "core/log/logdatasource.h"
#include "core/session/logsession.h"
#include "support/fixtures/fakesession.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::waitUntil;
using N = SessionNotice;

struct FrontEnd final : LogSessionDelegate {
    void onLoggerStarted(const QString& deviceId) override { started << deviceId; }
    void onLoggerStopped() override { ++stopped; }
    void chooseDevice(const DeviceList& devices) override { asked = devices.size(); }
    void onDeviceModel(const QString&, const QString&) override {}
    void onSessionNotice(const SessionNotice& notice) override { notices.push_back(notice.kind); }
    QStringList started;
    int stopped = 0;
    qsizetype asked = 0;
    std::vector<N::Kind> notices;
};

using test::device;

class SessionTest : public ::testing::Test {
protected:
    void make(LogSession::Settings settings = {}) {
        auto fake = std::make_unique<test::FakeSessionAdb>();
        adb = fake.get();
        session = std::make_unique<LogSession>(store, std::move(fake), conversations, settings);
        session->setDelegate(&front);
    }
    void streamFrom(const QString& id) {
        const int before = front.started.size();
        session->startLogging();
        adb->list({device(id)});
        ASSERT_TRUE(waitUntil([&] { return front.started.size() == before + 1; }));
    }
    void unplug() {
        const int before = front.stopped;
        conversations->endStream();
        ASSERT_TRUE(waitUntil([&] { return front.stopped == before + 1; }));
    }

    LogDatasource store;
    std::shared_ptr<test::FakeConversations> conversations = std::make_shared<test::FakeConversations>();
    test::FakeSessionAdb* adb = nullptr;
    std::unique_ptr<LogSession> session;
    FrontEnd front;
};

TEST_F(SessionTest, ALostDeviceIsWaitedForAndOnlyItReconnects) {
    LogSession::Settings fast;
    fast.reconnectIntervalMs = 20;
    make(fast);
    streamFrom(u"A1"_s);
    EXPECT_EQ(conversations->lastSince(), u""_s);
    conversations->line("03-17 09:41:12.300  100  101 I Tag: the last row before the drop\n");
    store.logMessage(u"kept across the reconnect"_s);
    unplug();
    EXPECT_TRUE(session->isWaiting());
    const int listings = adb->listings;
    ASSERT_TRUE(waitUntil([&] { return adb->listings >= listings + 2; }));  // every interval
    adb->list({device(u"C3"_s)});                                          // another device: not taken
    EXPECT_EQ(conversations->logReaders, 1);
    adb->list({device(u"C3"_s), device(u"A1"_s)});  // the one it had is back
    ASSERT_TRUE(waitUntil([&] { return front.started.size() == 2; }));
    EXPECT_FALSE(session->reconnectTimer()->isActive());
    EXPECT_EQ(store.logEventCount(), 3) << "not cleared: the device's row, the status row of the drop, the kept one";
    // Only what came after the last row is asked for.
    EXPECT_EQ(conversations->lastSince(), u"03-17 09:41:12.300"_s);

    // The button while waiting gives up; a new device then starts afresh.
    unplug();
    session->toggle();
    EXPECT_FALSE(session->isWaiting());
    EXPECT_FALSE(session->reconnectTimer()->isActive());
    streamFrom(u"C3"_s);
    EXPECT_EQ(store.logEventCount(), 0);
    EXPECT_EQ(conversations->lastSince(), u""_s);
}

TEST_F(SessionTest, DefaultsAndTheChoiceAmongSeveral) {
    make();
    EXPECT_EQ(session->reconnectTimer()->interval(), 5000);
    session->startLogging();
    adb->list({device(u"A"_s), device(u"B"_s)});
    EXPECT_EQ(front.asked, 2);
    EXPECT_EQ(conversations->logReaders, 0);
    session->useDevice(u"B"_s);
    ASSERT_TRUE(waitUntil([&] { return front.started == QStringList{u"B"_s}; }));
    session->toggle();  // stops the stream, which then ends
    EXPECT_TRUE(waitUntil([&] { return conversations->stops == 1; }));
    unplug();
    EXPECT_FALSE(session->isWaiting());
}

// The server is started once; what follows is told once until a run starts.
TEST_F(SessionTest, TheServerIsStartedOnceAndNoticesAreNotRepeated) {
    make();
    session->startLogging();
    adb->lister->onDeviceListFailed(DeviceListFailure::AdbNotRunning);
    ASSERT_EQ(adb->adbStarts, 1);
    adb->adbCompletion(true);
    EXPECT_EQ(adb->listings, 2);
    adb->lister->onDeviceListFailed(DeviceListFailure::AdbNotRunning);
    adb->lister->onDeviceListFailed(DeviceListFailure::AdbNotRunning);
    EXPECT_EQ(adb->adbStarts, 1);
    EXPECT_EQ(front.notices, (std::vector<N::Kind>{N::StartingAdb, N::AdbStarted, N::AdbNotRunning}));
    EXPECT_TRUE(session->isAdbDown());
    session->startLogging();  // the user asks again: one more try
    adb->lister->onDeviceListFailed(DeviceListFailure::AdbNotRunning);
    EXPECT_EQ(adb->adbStarts, 2);
    adb->lister->onDeviceListFailed(DeviceListFailure::NoDevice);
    EXPECT_FALSE(session->isAdbDown());
    adb->lister->onDeviceListFailed(DeviceListFailure::UnexpectedReply);
    EXPECT_EQ(front.notices.back(), N::UnexpectedReply);
}

// Devices that are listed but cannot be streamed, and refusals of the stream.
TEST_F(SessionTest, DeviceStatesAndRefusalsReachTheFrontEnd) {
    make();
    const struct {
        const char* state;
        N::Kind notice;
        bool waiting;
    } cases[] = {
        {"unauthorized", N::NotAuthorized, false},
        {"no permissions", N::NoPermissions, false},
        {"recovery", N::NotStreamable, false},
        {"offline", N::DeviceOffline, true},
    };
    for (const auto& c : cases) {
        session->startLogging();
        adb->list({device(u"S"_s, std::nullopt, QString::fromLatin1(c.state))});
        EXPECT_EQ(front.notices.back(), c.notice) << c.state;
        EXPECT_EQ(session->isWaiting(), c.waiting) << c.state;
        EXPECT_EQ(conversations->logReaders, 0);
        session->stopLogging();
    }
    streamFrom(u"S"_s);
    conversations->refuse(u"device unauthorized.\nPlease check the confirmation dialog on your device."_s);
    ASSERT_TRUE(waitUntil([&] { return front.notices.back() == N::NotAuthorized; }));
    streamFrom(u"S"_s);
    conversations->refuse(u"device offline"_s);
    ASSERT_TRUE(waitUntil([&] { return front.notices.back() == N::DeviceOffline; }));
    EXPECT_TRUE(session->isWaiting());
}

TEST_F(SessionTest, AnAskedForSerialMustBeListed) {
    LogSession::Settings settings;
    settings.serial = u"Z"_s;
    settings.reconnect = false;
    make(settings);
    session->startLogging();
    adb->list({device(u"A"_s)});
    EXPECT_EQ(front.notices, std::vector<N::Kind>{N::SerialNotListed});
    streamFrom(u"Z"_s);
    unplug();
    EXPECT_FALSE(session->isWaiting()) << "no reconnecting when told so";
}

TEST_F(SessionTest, AModelNameReadFromTheDeviceOutlivesTheListingsSpelling) {
    make();
    session->loadDeviceList();
    adb->list({device(u"A"_s)});
    adb->lister->onDeviceModel(u"A"_s, u"Vellum Phone 5"_s);
    adb->list({device(u"A"_s, u"Vellum_Phone_5"_s)});
    EXPECT_EQ(session->device(u"A"_s)->name, u"Vellum Phone 5"_s);
    adb->list({device(u"A"_s, u"Other_Phone"_s)});
    EXPECT_EQ(session->device(u"A"_s)->name, u"Other_Phone"_s);
}

}  // namespace
}  // namespace vf
