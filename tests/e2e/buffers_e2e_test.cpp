// Two sessions at once in one process, each on its own device through the
// same server, and the devices' log buffers: each store gets only its own
// device's rows; a crash written only to the crash buffer reaches the crash
// inbox; a device plugged back in is asked only for the lines since the last
// row shown, none of which is shown twice; one whose buffer wrapped while it
// was away gets a status row saying how much log was lost; stopping one
// session leaves the other streaming. On a device of today and on one up to
// Android 7.1.
#include <gtest/gtest.h>

#include <QSet>

#include "core/log/crashdetector.h"
#include "core/log/logdatasource.h"
#include "core/session/logsession.h"
#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

using namespace Qt::StringLiterals;

struct Side {
    SimulatedDevice* device = nullptr;
    FrontEnd front;
    LogDatasource store;
    std::unique_ptr<LogSession> session;
};

// Device rows shown more than once (same time, pid, tid, tag and text).
QStringList shownTwice(const LogDatasource& store) {
    QSet<QString> seen;
    QStringList twice;
    for (const RowPtr& row : store.getDataAll()) {
        if (row->app() == "Vellumfox") continue;
        const QString key = row->string(RowKey::Time) + row->string(RowKey::Pid) + row->string(RowKey::Tid) +
                            row->string(RowKey::Name) + row->string(RowKey::Text);
        if (seen.contains(key)) twice << key;
        seen.insert(key);
    }
    return twice;
}

class E2eBuffers : public E2eKindTest {};

TEST_P(E2eBuffers, TwoSessionsCrashBufferReplugAndAWrappedBuffer) {
    Side sides[2];  // 0: buffers and a crash only in the crash buffer; 1: wraps while away
    sides[0].device = startDevice(fastDevice(writeReplayLog(harness, 200, u"alpha"_s),
                                             kind({u"--crash-buffer"_s, u"--record-logcat"_s})));
    sides[1].device = startDevice(fastDevice(writeReplayLog(harness, 200, u"bravo"_s), kind({u"--wrap-when-away"_s})));
    ASSERT_TRUE(sides[0].device && sides[1].device);
    const AdbEndpoint endpoint = harness.endpoint();
    for (Side& side : sides) {
        LogSession::Settings settings;
        settings.serial = side.device->serial();
        settings.reconnectIntervalMs = 500;
        side.session = std::make_unique<LogSession>(side.store, makeAdbSessionAdb([endpoint] { return endpoint; }),
                                                    makeAdbConnector(endpoint), settings);
        side.session->setDelegate(&side.front);
        side.session->startLogging();
    }

    // The crash buffer's crash, with its buffer, and in the crash inbox.
    const QString crashText = u"only in the crash buffer"_s;
    ASSERT_TRUE(waitUntil([&] { return rowsWith(sides[0].store, crashText) > 0; }, 20000));
    CrashDetector inbox;
    for (const RowPtr& row : sides[0].store.getDataAll()) {
        inbox.feed(*row);
        const QString text = row->string(RowKey::Text);
        if (text.contains(crashText)) {
            EXPECT_EQ(row->buffer(), LogBuffer::Crash);
        } else if (text.contains(u"alpha line"_s)) {
            EXPECT_EQ(row->buffer(), LogBuffer::Main);
        }
    }
    inbox.finish();
    EXPECT_TRUE(std::any_of(inbox.crashes().cbegin(), inbox.crashes().cend(), [&](const CrashRecord& crash) {
        return QString::fromStdString(crash.title).contains(crashText);
    }));
    ASSERT_TRUE(waitUntil([&] { return rowsWith(sides[1].store, u"bravo line 199"_s) > 0; }, 20000));
    EXPECT_EQ(rowsWith(sides[0].store, u"bravo"_s), 0);
    EXPECT_EQ(rowsWith(sides[1].store, u"alpha"_s), 0);

    // The wrapping device loses the lines it had when it went away and some
    // it logged while away (it keeps writing 40 lines a second).
    QString lastTimes[2];
    for (Side& side : sides) side.device->unplug();
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(waitUntil([&] { return sides[i].front.stopped == 1; }, 10000));
        lastTimes[i] = sides[i].store.resumeTime();
        EXPECT_FALSE(lastTimes[i].isEmpty());
    }
    const qsizetype before = sides[0].store.logEventCount();
    for (Side& side : sides) side.device->replug();
    for (Side& side : sides) ASSERT_TRUE(waitUntil([&] { return side.front.started == 2; }, 40000));
    // A fresh line after the replug means the lines logged while away came before it.
    ASSERT_TRUE(waitUntil([&] { return sides[0].store.logEventCount() > before + 150; }, 15000));

    const QStringList requests = sides[0].device->recorded().split(u'\n', Qt::SkipEmptyParts);
    ASSERT_GE(requests.size(), 2);
    EXPECT_TRUE(requests.first().contains(u"-b main -b system -b crash"_s)) << requests.first().toStdString();
    EXPECT_FALSE(requests.first().contains(u"-T"_s)) << requests.first().toStdString();
    EXPECT_TRUE(requests.last().endsWith(u"-T "_s + lastTimes[0])) << requests.last().toStdString();
    EXPECT_EQ(shownTwice(sides[0].store), QStringList());
    EXPECT_EQ(rowsWith(sides[0].store, u"Lines were lost"_s), 0);

    ASSERT_TRUE(waitUntil(
        [&] { return rowsWith(sides[1].store, u"Lines were lost while the device was away: "_s) > 0; }, 10000));
    EXPECT_EQ(shownTwice(sides[1].store), QStringList());

    sides[0].session->stopLogging();
    ASSERT_TRUE(waitUntil([&] { return sides[0].front.stopped == 2; }, 10000));
    const qsizetype stoppedRows = sides[0].store.logEventCount();
    // The other device keeps writing (its generated lines after the replay).
    const qsizetype running = sides[1].store.logEventCount();
    ASSERT_TRUE(waitUntil([&] { return sides[1].store.logEventCount() >= running + 40; }, 10000));
    EXPECT_TRUE(sides[1].session->isLogging());
    EXPECT_EQ(sides[1].front.stopped, 1);
    EXPECT_EQ(sides[0].store.logEventCount(), stoppedRows) << "nothing more reaches the stopped session's store";
    sides[1].session->stopLogging();
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eBuffers, ::testing::Values(false, true), kindName);

}  // namespace
}  // namespace vf::test
