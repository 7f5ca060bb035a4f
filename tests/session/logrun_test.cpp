// A logging run's conversations: what the stream and the process table
// reports do to the store, how a run ends, and the lookup rate.
#include <gtest/gtest.h>

#include "core/log/logdatasource.h"
#include "core/session/logrun.h"
#include "support/fixtures/fakesession.h"
#include "support/fixtures/wait.h"

namespace vf {
namespace {

using namespace Qt::StringLiterals;
using test::waitUntil;

struct Ends final : LogRunDelegate {
    void onRunStarted() override { ++started; }
    void onRunEnded(RunEnd how, const Error&) override { ends.push_back(how); }
    int started = 0;
    std::vector<RunEnd> ends;
};

std::string line(const char* time, int pid, const char* text) {
    return std::string(time) + "  " + std::to_string(pid) + "  " + std::to_string(pid + 1) + " I Tag: " + text + "\n";
}

class LogRunTest : public ::testing::Test {
protected:
    void SetUp() override {
        run.setDelegate(&ends);
        run.setClock([this] { return now.load(); });
    }
    void start(const QString& device = u"emulator-5554"_s) {
        const int before = ends.started;
        run.start(device);
        ASSERT_TRUE(waitUntil([&] { return ends.started == before + 1; }));
    }
    RunEnd lastEnd(size_t count) {
        EXPECT_TRUE(waitUntil([&] { return ends.ends.size() == count; }));
        return ends.ends.empty() ? RunEnd::Failed : ends.ends.back();
    }
    QString lastRowText() const { return QString::fromStdString(std::string(store.getDataAll().constLast()->text())); }

    std::atomic<int64_t> now{1'000'000};
    LogDatasource store;
    std::shared_ptr<test::FakeConversations> conversations = std::make_shared<test::FakeConversations>();
    LogRun run{store, conversations};
    Ends ends;
};

// One lookup at a time and at most one a second; names outlive the run.
TEST_F(LogRunTest, LookupsAreOneAtATimeAndOneASecond) {
    start();
    EXPECT_EQ(conversations->pidReaders, 1);  // the names first, then the stream
    conversations->line(line("01-01 10:00:00.000", 1234, "one"));
    conversations->line(line("01-01 10:00:00.001", 1234, "two"));  // wanted while one is in flight
    EXPECT_EQ(conversations->pidReaders, 1);
    conversations->processTable("USER PID PPID VSZ RSS WCHAN ADDR S NAME\nu0_a1 1234 1 0 0 0 0 S com.example\n");
    EXPECT_EQ(conversations->pidReaders, 1) << "the second waits for the rate";
    now += 1000;
    ASSERT_TRUE(waitUntil([&] { return conversations->pidReaders == 2; }, 3000));
    EXPECT_EQ(store.appNameForPid(u"1234"_s), u"com.example"_s);
    conversations->processTable({});  // refused: the lookup still ends
    now += 1000;
    conversations->line(line("01-01 10:00:00.002", 99, "a"));
    conversations->line(line("01-01 10:00:00.003", 99, "b"));
    EXPECT_EQ(conversations->pidReaders, 3);
    conversations->endStream();
    EXPECT_EQ(lastEnd(1), RunEnd::Closed);
    EXPECT_EQ(lastRowText(), u"Disconnected. emulator-5554"_s);
    EXPECT_EQ(store.appNameForPid(u"1234"_s), u"com.example"_s);
}

// How the server's refusals end a run (adb up to today's wording).
TEST_F(LogRunTest, RefusalsEndTheRunByTheirMeaning) {
    const struct {
        QString message;
        RunEnd end;
    } cases[] = {
        {u"device offline"_s, RunEnd::Offline},
        {u"device unauthorized.\nThis adb server's $ADB_VENDOR_KEYS is not set"_s, RunEnd::Unauthorized},
        {u"more than one device/emulator"_s, RunEnd::MultipleDevices},
        {u"device 'X' not found"_s, RunEnd::DeviceNotFound},
        {u"closed"_s, RunEnd::Failed},
    };
    size_t count = 0;
    for (const auto& c : cases) {
        start();
        conversations->refuse(c.message);
        EXPECT_EQ(lastEnd(++count), c.end) << c.message.toStdString();
        EXPECT_FALSE(run.isLogging());
    }
    start();
    conversations->processTable("error: more than one device and emulator\n");
    EXPECT_EQ(lastEnd(++count), RunEnd::MultipleDevices);
    start();
    conversations->endStream(AdbResult{AdbOutcome::AdbNotRunning, Error{}});
    EXPECT_EQ(lastEnd(++count), RunEnd::AdbNotRunning);
    EXPECT_EQ(lastRowText(), u"ADB not running. In terminal run \"ADB start-server\""_s);
}

// The run's thread ends with the run: its conversations are gone, on the
// thread they lived on, when the destructor returns.
TEST(LogRunLifetime, DestroyingTheRunDeletesItsConversationsOnTheirThread) {
    auto conversations = std::make_shared<test::FakeConversations>();
    LogDatasource store;
    {
        LogRun run(store, conversations);
        run.start(u"A"_s);
        ASSERT_TRUE(waitUntil([&] { return conversations->logReaders == 1 && conversations->pidReaders == 1; }));
    }
    EXPECT_EQ(conversations->deletedAtHome, 2);
}

}  // namespace
}  // namespace vf
