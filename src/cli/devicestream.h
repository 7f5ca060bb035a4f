#pragma once
// DeviceStream: one device's part of "stream": its own store and logging
// session (the viewer's LogSession: the same device choice and
// reconnection), the rows it has handed on so far, and its messages. What
// happens to it (a run started, the device went away for good, a fatal
// notice) it tells its StreamHost; it never ends the program itself.
//
// Main thread, as StreamCommand.

#include <QEventLoop>
#include <QObject>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "cli/adbcommon.h"
#include "cli/options.h"
#include "core/adb/delegates.h"
#include "core/filter/predicate.h"
#include "core/log/logdatasource.h"
#include "core/session/logsession.h"

namespace vf::cli {

class DeviceStream;

// What a device's stream reports to the command that runs it.
class StreamHost {
public:
    virtual ~StreamHost() = default;
    virtual void message(const QString& text) = 0;
    // New rows should be handed on now; `stopped`: `stream`'s device stopped
    // streaming (it may come back), so every row it sent has been given.
    virtual void flushRows(DeviceStream& stream, bool stopped) = 0;
    // The device's stream is over with `status` (kExitFailure: gone under
    // --no-reconnect, a fatal notice; kExitUsage: a filter that fails).
    virtual void deviceDone(DeviceStream& stream, int status) = 0;
};

struct StreamSettings {
    bool color = false;
    bool terminal = false;            // stdout is a terminal: control characters escaped
    int pollIntervalMs = 50;          // how often new rows are collected
    int reconnectIntervalMs = 5000;   // the viewer's retry period
};

class DeviceStream final : public QObject, public LogDatasourceDelegate, public LogSessionDelegate {
    Q_OBJECT
public:
    // `serial`: the device to follow (empty: the only one attached).
    // `filter` (may be null) is the one every device's store tests rows with.
    DeviceStream(const CliOptions& options, QString serial, const StreamSettings& settings, const AdbSetup& setup,
                 PredicatePtr filter, StreamHost& host);
    ~DeviceStream() override;
    DeviceStream(const DeviceStream&) = delete;
    DeviceStream& operator=(const DeviceStream&) = delete;

    // Puts the filter in force and waits for the store to take it (a row
    // that came before would never be tested); false when it cannot be.
    bool installFilter();
    void start();
    void stop();
    bool isDone() const { return done_; }
    // The device as the command line named it, or as the session found it.
    QString deviceName() const;

    // The rows that passed since the last call (status rows included when
    // there is no filter), in log order; status rows that the filter keeps
    // out are said as messages.
    void takeNewRows(std::vector<RowPtr>& into);

private:
    // LogDatasourceDelegate
    void onLogUpdated(const LogUpdate& update) override;
    void onFilterCorrupt(const QString& reason) override;
    // LogSessionDelegate
    void onLoggerStarted(const QString& deviceId) override;
    void onLoggerStopped() override;
    void chooseDevice(const DeviceList& devices) override;
    void onDeviceModel(const QString& deviceId, const QString& model) override;
    void onSessionNotice(const SessionNotice& notice) override;

    void finish(int status);

    const CliOptions& options_;
    QString serial_;
    AdbEndpoint endpoint_;
    PredicatePtr filter_;
    StreamHost& host_;
    std::unique_ptr<LogDatasource> store_;
    std::unique_ptr<LogSession> session_;

    // What was handed on: the marks of the lists (so only appended rows are
    // looked at) and the last idx (so that a reset repeats no row).
    ListMark shownMark_;
    ListMark allMark_;
    std::optional<RowIdx> lastTaken_;

    bool streamed_ = false;  // a run has started
    bool waitingNoticeShown_ = false;
    bool done_ = false;
    QEventLoop* filterLanding_ = nullptr;  // while the filter is being installed
};

}  // namespace vf::cli
