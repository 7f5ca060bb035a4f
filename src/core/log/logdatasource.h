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
#include <memory>
#include <optional>

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

class LogDatasource final : public QObject {
    Q_OBJECT
public:
    explicit LogDatasource(QObject* parent = nullptr);
    ~LogDatasource() override;

    void setDelegate(LogDatasourceDelegate* delegate);

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

    // Any thread; returns at once, the pass runs on the pool.
    void setLogDataFilter(PredicatePtr filter);
    PredicatePtr logDataFilter() const;

    RowList getDataFiltered() const;
    RowList getDataAll() const;
    qsizetype logEventCount() const;

    void setAppName(const QString& name, const QString& pid);
    void logMessage(const QString& text, const QString& level = QStringLiteral("I"));
    uint64_t getIndex();

Q_SIGNALS:
    // KVT_ON_LOG_DATA_UPDATED: rows changed. Main thread; several requests
    // made before delivery become one.
    void logDataUpdated();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace vf
