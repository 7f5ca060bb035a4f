#pragma once
// "stream": the device log through the viewer's own store and logging
// session (LogSession: the same device choice and reconnection), printed as
// it arrives.
//
// Main thread; run() spins a local event loop until Ctrl+C / SIGTERM (exit
// 0), a fatal error (1), a filter that cannot be evaluated (2), or the
// device going away under --no-reconnect (1).

#include <QEventLoop>
#include <QObject>
#include <QTimer>
#include <memory>
#include <optional>
#include <ostream>

#include "cli/adbcommon.h"
#include "cli/options.h"
#include "core/adb/delegates.h"
#include "core/filter/predicate.h"
#include "core/log/logdatasource.h"
#include "core/session/logsession.h"

namespace vf::cli {

class SignalWatcher;

// Where a stream's rows go. By default they are printed in the chosen
// format; another sink (the crashes command's detector) replaces that.
// Main thread, called from StreamCommand::run(); a sink outlives the run.
class StreamRowSink {
public:
    virtual ~StreamRowSink() = default;
    // Each row that passes the filter, once and in log order. Without a
    // filter the store's status rows come too.
    virtual void takeRow(const RowPtr& row) = 0;
    // Every row received so far has been given: the device went away (the
    // stream may go on after a reconnection), or the run is ending.
    virtual void streamStopped() = 0;
};

struct StreamSettings {
    bool color = false;
    bool terminal = false;            // stdout is a terminal: control characters escaped
    int pollIntervalMs = 50;          // how often new rows are collected
    int reconnectIntervalMs = 5000;   // the viewer's retry period
};

class StreamCommand final : public QObject, public LogDatasourceDelegate, public LogSessionDelegate {
    Q_OBJECT
public:
    // Rows go to `sink` when one is given, else they are printed on `out`
    // in the format of the options.
    StreamCommand(const CliOptions& options, StreamSettings settings, AdbSetup setup, std::ostream& out,
                  std::ostream& err, StreamRowSink* sink = nullptr);
    ~StreamCommand() override;

    int run();

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

    bool installFilter();
    void printNewRows();
    void finish(int status);
    void message(const QString& text);

    const CliOptions& options_;
    StreamSettings settings_;
    AdbEndpoint endpoint_;
    LogcatOptions logcat_;
    std::ostream& out_;
    std::ostream& err_;

    PredicatePtr filter_;
    std::unique_ptr<StreamRowSink> printer_;  // the default sink
    StreamRowSink* sink_ = nullptr;
    std::unique_ptr<LogDatasource> store_;
    std::unique_ptr<LogSession> session_;
    std::unique_ptr<SignalWatcher> signals_;

    // What was printed: the marks of the lists (so only appended rows are
    // looked at) and the last idx (so that a reset repeats no row).
    ListMark shownMark_;
    ListMark allMark_;
    std::optional<RowIdx> lastPrinted_;

    bool streamed_ = false;  // a run has started
    bool waitingNoticeShown_ = false;
    bool done_ = false;
    int status_ = kExitOk;
    QTimer pollTimer_;
    QEventLoop loop_;
    QEventLoop* filterLanding_ = nullptr;  // while the filter is being installed
};

}  // namespace vf::cli
