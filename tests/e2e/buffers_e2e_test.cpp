// The device's log buffers and what a replugged device is asked for: a
// crash written only to the crash buffer reaches the crash inbox; a device
// plugged back in is asked only for the lines since the last row shown, none
// of which is shown twice; and one whose buffer wrapped while it was away
// gets a status row saying how much log was lost. On a device of today and
// on one up to Android 7.1.
#include <gtest/gtest.h>

#include <QSet>

#include "core/log/crashdetector.h"
#include "core/log/logdatasource.h"
#include "core/session/logsession.h"
#include "e2e.h"
#include "support/fixtures/wait.h"

namespace vf::test {
namespace {

struct Side {
    SimulatedDevice* device = nullptr;
    FrontEnd front;
    LogDatasource store;
    std::unique_ptr<LogSession> session;
};

bool hasText(const LogDatasource& store, const QString& text) {
    const RowList rows = store.getDataAll();
    return std::any_of(rows.cbegin(), rows.cend(),
                       [&](const RowPtr& row) { return row->string(RowKey::Text).contains(text); });
}

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

class E2eBuffers : public ::testing::TestWithParam<bool> {};

TEST_P(E2eBuffers, CrashBufferReplugAndAWrappedBuffer) {
    AdbHarness harness = makeHarness();
    VF_REQUIRE_ADB(harness);
    ASSERT_TRUE(harness.startServer()) << harness.lastError().toStdString();
    QStringList kind;
    if (GetParam()) kind << QStringLiteral("--legacy");
    Side sides[2];  // 0: buffers and a crash only in the crash buffer; 1: wraps while away
    sides[0].device = harness.startDevice(fastDevice(
        writeReplayLog(harness, 200, QStringLiteral("alpha")),
        kind + QStringList{QStringLiteral("--crash-buffer"), QStringLiteral("--record-logcat")}));
    sides[1].device = harness.startDevice(
        fastDevice(writeReplayLog(harness, 200, QStringLiteral("bravo")), kind + QStringList{QStringLiteral("--wrap-when-away")}));
    ASSERT_TRUE(sides[0].device && sides[1].device) << harness.lastError().toStdString();
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
    const QString crashText = QStringLiteral("only in the crash buffer");
    ASSERT_TRUE(waitUntil([&] { return hasText(sides[0].store, crashText); }, 20000));
    CrashDetector inbox;
    for (const RowPtr& row : sides[0].store.getDataAll()) {
        inbox.feed(*row);
        const QString text = row->string(RowKey::Text);
        if (text.contains(crashText)) {
            EXPECT_EQ(row->buffer(), LogBuffer::Crash);
        } else if (text.contains(QStringLiteral("alpha line"))) {
            EXPECT_EQ(row->buffer(), LogBuffer::Main);
        }
    }
    inbox.finish();
    EXPECT_TRUE(std::any_of(inbox.crashes().cbegin(), inbox.crashes().cend(), [&](const CrashRecord& crash) {
        return QString::fromStdString(crash.title).contains(crashText);
    }));
    ASSERT_TRUE(waitUntil([&] { return hasText(sides[1].store, QStringLiteral("bravo line 199")); }, 20000));

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
    EXPECT_TRUE(requests.first().contains(QStringLiteral("-b main -b system -b crash"))) << requests.first().toStdString();
    EXPECT_FALSE(requests.first().contains(QStringLiteral("-T"))) << requests.first().toStdString();
    EXPECT_TRUE(requests.last().endsWith(QStringLiteral("-T ") + lastTimes[0])) << requests.last().toStdString();
    EXPECT_EQ(shownTwice(sides[0].store), QStringList());
    EXPECT_FALSE(hasText(sides[0].store, QStringLiteral("Lines were lost")));

    ASSERT_TRUE(waitUntil([&] { return hasText(sides[1].store, QStringLiteral("Lines were lost while the device was away: ")); },
                          10000));
    EXPECT_EQ(shownTwice(sides[1].store), QStringList());
    for (Side& side : sides) side.session->stopLogging();
}

INSTANTIATE_TEST_SUITE_P(BothKinds, E2eBuffers, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Legacy" : "Modern"; });

}  // namespace
}  // namespace vf::test
