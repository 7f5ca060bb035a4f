#pragma once
// "stream": the device log through the viewer's own store and logging
// session, printed as it arrives. With several -s, each device streams in
// its own session (a DeviceStream) into one output: the rows are
// interleaved as they arrive, in time order within each collection, and
// carry their device (a first column in text, a last one in tsv, a
// "device" key in json). A device that goes away for good leaves the
// others streaming.
//
// Main thread; run() spins a local event loop until Ctrl+C / SIGTERM (exit
// 0), or until every device's stream is over: a fatal error (1), a filter
// that cannot be evaluated (2), or the device going away under
// --no-reconnect (1); several devices end with the worst of their statuses.

#include <QEventLoop>
#include <QObject>
#include <QTimer>
#include <memory>
#include <ostream>
#include <vector>

#include "cli/adbcommon.h"
#include "cli/devicestream.h"
#include "cli/options.h"
#include "core/filter/predicate.h"

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

class StreamCommand final : public QObject, public StreamHost {
    Q_OBJECT
public:
    // Rows go to `sink` when one is given (one device only), else they are
    // printed on `out` in the format of the options.
    StreamCommand(const CliOptions& options, StreamSettings settings, AdbSetup setup, std::ostream& out,
                  std::ostream& err, StreamRowSink* sink = nullptr);
    ~StreamCommand() override;

    int run();

private:
    // StreamHost
    void message(const QString& text) override;
    void flushRows(DeviceStream& stream, bool stopped) override;
    void deviceDone(DeviceStream& stream, int status) override;

    void printNewRows();
    void finish(int status);
    StreamRowSink& sinkOf(const DeviceStream& stream);

    const CliOptions& options_;
    StreamSettings settings_;
    AdbSetup setup_;
    std::ostream& out_;
    std::ostream& err_;

    PredicatePtr filter_;
    StreamRowSink* sink_ = nullptr;  // given, for one device
    std::vector<std::unique_ptr<DeviceStream>> streams_;
    std::vector<std::unique_ptr<StreamRowSink>> printers_;  // by default, one per device
    std::unique_ptr<SignalWatcher> signals_;

    bool done_ = false;
    int status_ = kExitOk;
    QTimer pollTimer_;
    QEventLoop loop_;
};

}  // namespace vf::cli
