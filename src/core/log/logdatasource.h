#pragma once
// LogDatasource: the single model behind the log table and the life of one
// logging run. The rows live in a RowStore, the names of processes in
// PidNames, filter passes run on a FilterRunner; this class starts and ends
// runs, takes in what the conversations report, and tells its delegate
// (the controller) when to redraw, at a bounded rate.
//
// Threads: the public operations are called on the main thread unless noted.
// Lines arrive on the I/O thread; filter passes run on the runner's thread.
// Every delegate call arrives on the main thread.

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <atomic>
#include <optional>

#include "core/adb/delegates.h"
#include "core/filter/predicate.h"
#include "core/log/logrow.h"
#include "core/log/storechange.h"
#include "core/log/storeconversations.h"
#include "core/support/error.h"

namespace vf {

class LogDatasourceDelegate {
public:
    virtual ~LogDatasourceDelegate() = default;
    // Every call arrives on the main thread.
    virtual void onLoggerStarted() = 0;
    virtual void onLoggerStopped() = 0;
    // KVT_ON_LOG_DATA_UPDATED: the rows to show and what changed since the
    // previous notice. Several requests made before delivery become one.
    virtual void onLogUpdated(const LogUpdate& update) = 0;
    virtual void onMultipleDevicesConnected() = 0;
    virtual void onDeviceNotFound() = 0;
    // A filter failed to evaluate: "Filter is corrupt" with `reason`.
    virtual void onFilterCorrupt(const QString& reason) = 0;
    virtual void adbNotRunningError(const Error& error) = 0;
    virtual void adbDeviceNotFound(const Error& error) = 0;
};

class LogDatasource final : public QObject, public LogReaderDelegate, public PidReaderDelegate {
    Q_OBJECT
public:
    // Main thread. The destructor stops the run and deletes the conversations
    // on the I/O thread (waiting), and cancels and waits for a filter pass.
    // Its conversations are opened through `connector` (makeAdbConnector()
    // for the real ones; none: a store of loaded files that never connects).
    explicit LogDatasource(std::shared_ptr<StoreConnector> connector, QObject* parent = nullptr);
    ~LogDatasource() override;

    // Non-owning; the delegate outlives the store.
    void setDelegate(LogDatasourceDelegate* delegate);
    // Replaces the clock (milliseconds since the epoch) used for the replay
    // guard, the notification rate and the lookup dates (tests). Main thread,
    // before lines arrive.
    void setClock(std::function<qint64()> nowMs);

    // Any thread.
    QString deviceId() const;
    void setDeviceId(const QString& deviceId);
    bool isLogging() const;

    void startLogger();
    void stopLogger();
    void clearLog();

    // Reads a saved text log (clears the store first). Any thread.
    std::optional<RowList> readTextFile(const QString& path);
    // Stops the logger and shows `rows` (no cap) until the next start.
    void setLogDataFromFile(RowList rows);

    // Any thread; returns at once, the pass runs on the runner's thread. A
    // new request cancels the pass before: the filter requested last stays.
    void setLogDataFilter(PredicatePtr filter);
    PredicatePtr logDataFilter() const;

    // Any thread. Copies taken under the row lock (cheap: lists are shared).
    RowList getDataFiltered() const;
    RowList getDataAll() const;
    // The same with their marks, for readers that follow what changed.
    MarkedRows filteredRows() const;
    MarkedRows allRows() const;
    qsizetype logEventCount() const;

    // Any thread: the application name known for `pid` (empty when unknown).
    QString appNameForPid(const QString& pid) const;

    // Main thread (it waits for the main thread to redraw).
    void setAppName(const QString& name, const QString& pid);
    // Any thread; waits for the main thread to redraw.
    void logMessage(const QString& text, const QString& level = QStringLiteral("I"));
    // Any thread: the next row index.
    uint64_t getIndex();

    // LogReaderDelegate: the stream reader's thread (one call at a time).
    void logLineReceived(std::optional<std::string_view> line) override;
    void logReaderStopped() override;
    void logReaderStoppedWithError(const Error& error) override;
    void adbNotRunningError(const Error& error) override;
    void adbDeviceNotFound(const Error& error) override;

    // PidReaderDelegate: the process-table reader's thread.
    void pidReceived(const QString& text) override;

private:
    struct Impl;
    std::unique_ptr<Impl> d;

    void internalStartLogger();
    void loadPID();
    void onQueueCheckTimerTick();
    void cancelQueueTimer();
    void notifyDataChanged();
    void notifyLoggerStarted();
    void notifyLoggerStopped();
    void notifyLogUpdated();
    void notifyMultipleDevicesConnected();
    void notifyDeviceNotFound();
    void postToMain(std::function<void()> fn);
    void runOnMainWaiting(const std::function<void()>& fn);
    void stopForAbort(bool multipleDevices);
    void reportStoppedOnMain(const Error& error, bool notRunning);
    void applyFilter(const PredicatePtr& filter, const std::atomic<bool>& cancelled);
};

}  // namespace vf
