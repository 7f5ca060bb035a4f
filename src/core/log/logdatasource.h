#pragma once
// LogDatasource: the single model behind the log table. It owns every row
// captured from a device or read from a file, the view that passes the
// current filter, the pid -> app map, and the life of one logging run, and it
// tells its delegate (the controller) when to redraw, at a bounded rate.
//
// Threads: the public operations are called on the main thread unless noted.
// Lines arrive on the I/O thread; filter passes and file loads run on the
// global pool. Two locks guard the state: the pid-map lock and the row lock;
// the pid-map lock is never taken while the row lock is held.

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

#include "core/adb/delegates.h"
#include "core/filter/predicate.h"
#include "core/log/logrow.h"
#include "core/support/error.h"

namespace vf {

// Name of the coalesced "rows changed" notification.
inline constexpr char kOnLogDataUpdatedNotification[] = "KVT_ON_LOG_DATA_UPDATED";

class LogDatasourceDelegate {
public:
    virtual ~LogDatasourceDelegate() = default;
    // Main thread.
    virtual void onLoggerStarted() = 0;
    virtual void onLoggerStopped() = 0;
    virtual void onLogUpdated() = 0;
    virtual void onMultipleDevicesConnected() = 0;
    virtual void onDeviceNotFound() = 0;
    // A filter failed to evaluate: "Filter is corrupt" with `reason`. Main thread.
    virtual void onFilterCorrupt(const QString& reason) = 0;
    // I/O thread (not the main thread).
    virtual void adbNotRunningError(const Error& error) = 0;
    virtual void adbDeviceNotFound(const Error& error) = 0;
};

// One running ADB conversation as the store sees it. Created, and destroyed,
// on the I/O thread; stop() may be called from any thread. Once destroyed it
// reports nothing more to its delegate.
class StoreConversation {
public:
    virtual ~StoreConversation() = default;
    virtual void stop() = 0;
};

// Opens the store's conversations: the stream reader and the process-table
// reader. The default connector uses the real ADB conversations; tests plug
// in their own. Both calls run on the I/O thread; the delegate outlives the
// returned conversation.
class StoreConnector {
public:
    virtual ~StoreConnector() = default;
    virtual std::unique_ptr<StoreConversation> connectLogReader(LogReaderDelegate* delegate,
                                                                const QString& deviceId) = 0;
    virtual std::unique_ptr<StoreConversation> connectPidReader(PidReaderDelegate* delegate,
                                                                const QString& deviceId) = 0;
};

class LogDatasource final : public QObject, public LogReaderDelegate, public PidReaderDelegate {
    Q_OBJECT
public:
    // Main thread. The destructor stops the run and deletes the conversations
    // on the I/O thread (waiting), and waits for filter passes still running.
    explicit LogDatasource(QObject* parent = nullptr);
    ~LogDatasource() override;

    // Non-owning; the delegate outlives the store.
    void setDelegate(LogDatasourceDelegate* delegate);
    // Replaces how conversations are opened (tests). Main thread, while idle.
    void setConnector(std::shared_ptr<StoreConnector> connector);
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

    // Any thread; returns at once, the pass runs on the pool. When several
    // passes overlap, the filter requested last is the one that stays.
    void setLogDataFilter(PredicatePtr filter);
    PredicatePtr logDataFilter() const;

    // Any thread. Copies taken under the row lock (cheap: lists are shared).
    RowList getDataFiltered() const;
    RowList getDataAll() const;
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
    void pidFailedWithError(const Error& error) override;

Q_SIGNALS:
    // KVT_ON_LOG_DATA_UPDATED: rows changed. Main thread; several requests
    // made before delivery become one.
    void logDataUpdated();

private:
    struct Impl;
    std::unique_ptr<Impl> d;

    void internalStartLogger();
    void loadPID();
    void onQueueCheckTimerTick();
    void notifyDataChanged();
    void notifyLoggerStarted();
    void notifyLoggerStopped();
    void notifyLogUpdated();
    void notifyMultipleDevicesConnected();
    void notifyDeviceNotFound();
    void postToMain(std::function<void()> fn);
    void runOnMainWaiting(const std::function<void()>& fn);
    void stopForAbort(bool multipleDevices);
    void applyFilter(PredicatePtr filter, uint64_t generation);
    bool takeInPsLine(const QString& line, bool& headerPending);
};

}  // namespace vf
