#pragma once
// LogDatasource: the single model behind the log table. The rows live in a
// RowStore, the names of processes in PidNames, filter passes run on a
// FilterRunner; this class takes in the lines and process tables of a
// logging run (driven by a LogRun), loaded files and status rows, and tells
// its delegate when to redraw, at a bounded rate. No ADB in here.
//
// Threads: the public operations are called on the main thread unless noted.
// Live lines arrive on the I/O thread of the run that feeds the store;
// filter passes run on the runner's thread. Every delegate call arrives on
// the main thread, and nothing here waits for it.

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <atomic>
#include <chrono>
#include <optional>
#include <string_view>

#include "core/filter/predicate.h"
#include "core/log/bugreport.h"
#include "core/log/logexport.h"
#include "core/log/logparser.h"
#include "core/log/logrow.h"
#include "core/adb/packagelist.h"
#include "core/adb/processtable.h"
#include "core/log/storechange.h"

namespace vf {

// The status row for `ms` of device log lost while the device was away.
QString lostLinesText(int64_t ms);

// How a long filter pass goes (see LogDatasource::setLogDataFilter).
struct FilterProgress {
    enum class State : uint8_t {
        Running,  // the first `covered` of `total` rows are tested; the view shows what they matched
        Done,     // the pass that was shown going landed (or another one did)
        Stopped,  // cancelFilter(): the view shows `shown` first rows matched, or (none) what it showed before
    };
    State state = State::Running;
    qsizetype covered = 0, total = 0;
    std::optional<qsizetype> shown;
};

class LogDatasourceDelegate {
public:
    virtual ~LogDatasourceDelegate() = default;
    // Every call arrives on the main thread.
    // KVT_ON_LOG_DATA_UPDATED: the rows to show and what changed since the
    // previous notice. Several requests made before delivery become one.
    virtual void onLogUpdated(const LogUpdate& update) = 0;
    // A filter failed to evaluate: "Filter is corrupt" with `reason`.
    virtual void onFilterCorrupt(const QString& reason) = 0;
    // A filter pass has been going on for a while: how far it got (Running),
    // and then how it ended (Done, Stopped). Passes that end soon say nothing.
    virtual void onFilterProgress(const FilterProgress& progress) { Q_UNUSED(progress); }
};

class LogDatasource final : public QObject {
    Q_OBJECT
public:
    // Main thread. The destructor cancels and waits for a filter pass.
    explicit LogDatasource(QObject* parent = nullptr);
    ~LogDatasource() override;

    // Non-owning; the delegate outlives the store.
    void setDelegate(LogDatasourceDelegate* delegate);
    // Replaces the clock (milliseconds since the epoch) used for the replay
    // guard, the notification rate and the lookup dates (tests). Main thread,
    // before lines arrive.
    void setClock(std::function<qint64()> nowMs);

    // A logging run begins: rows are capped again, replays kept out, and
    // arriving rows flushed to the delegate every 0.5 s. Main thread.
    void beginRun();
    // The run ended, however it ended: the flush stops. Any thread.
    void endRun();
    // What one live line did.
    struct LiveLine {
        bool row = false;                   // it read as a log row (stored or a replay)
        std::optional<uint32_t> lookupPid;  // a pid that no source names yet: ask the process table
        bool wantsPackages = false;         // an app uid whose packages are unknown showed up
    };
    // One line of the run's stream. I/O thread (one producer at a time).
    // The row is named by what the log said so far (PidNames) before it is
    // stored, so filters on its app see it.
    // A buffer marker makes no row: the rows after it are of its buffer.
    // The first row of a run that carries on the log, when the device no
    // longer has the lines between the last row kept and it, comes after a
    // status row saying how long a stretch of log was lost.
    LiveLine addLiveLine(std::string_view line);
    // Any thread: the device time of the last row the device sent, for the
    // next run on the same device to start from; empty once the log was
    // cleared or replaced by a file.
    QString resumeTime() const;
    // The device whose log follows; another one's processes are forgotten.
    // Any thread.
    void beginDevice(const QString& deviceId);
    // What a lookup read: the process table, the package listing. Any thread.
    void takeProcessTable(const ProcessTable& table);
    void takePackageList(const PackageListing& listing);

    void clearLog();

    // Reads a saved text log into the store as it is parsed (clears the
    // store first): the rows show a stretch at a time, uncapped until the
    // next run, as a file given to setLogDataFromFile() would;
    // `how.progress` hears how far it got, and `how.cancelled` stops it with
    // the rows read so far kept (and named). `how.rows` is the store's.
    // Blocks until the file is read: any thread but the main one, and not
    // a thread of Qt's global pool (it waits for chunks it gives that pool).
    TextFileRead openTextFile(const QString& path, TextFileReading how);
    // The same for a bugreport (its zip or its text): a file that is no
    // report, or an archive that is refused, leaves the store as it was.
    // The report's facts are the store's once it is read.
    BugreportRead openReport(const QString& path, TextFileReading how);
    // The same for a saved document (readVellumfoxFile): a file that is
    // none leaves the store as it was.
    DocumentRead openDocument(const QString& path, TextFileReading how);
    // Names where every row of this store was read, now and to come (the
    // `source` key); empty: rows shown here keep the names they have. Any
    // thread.
    void setSourceName(const QString& name);
    // Shows `rows` (no cap) until the next run; the caller stops the run first.
    // `facts`: what the file (a bugreport) says of its device.
    void setLogDataFromFile(RowList rows, ReportFacts facts = {});
    // Main thread: appends `rows` to those setLogDataFromFile() gave (a
    // merged timeline growing at its end), after letting the `dropped`
    // oldest go; the table hears of them as of a file's stretch.
    void appendRows(const RowList& rows, qsizetype dropped = 0);
    // Main thread: the facts of the file shown, empty for a device's log
    // and for files that are no report.
    const ReportFacts& reportFacts() const;

    // Any thread; returns at once, the pass runs on the runner's thread. A
    // new request cancels the pass before: the filter requested last stays.
    // A pass still going after the progress delay shows the rows it matched
    // so far as its chunks finish, in order, and reports how far it got.
    void setLogDataFilter(PredicatePtr filter);
    // Main thread: stops the pass going on. The view keeps what it shows
    // (the rows matched so far, or the result before), and the delegate
    // hears which when the pass had been reporting. Rows that arrive later
    // join the view as usual when the filter in force passes them.
    void cancelFilter();
    // How long a pass runs before it shows rows and progress (0.3 s; tests
    // set 0). Main thread, before passes run.
    void setFilterProgressDelay(std::chrono::milliseconds delay);
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

    // Main thread.
    void setAppName(const QString& name, const QString& pid);
    // A status row. Any thread: on the main thread the delegate hears of it
    // at once, from elsewhere the notice is posted.
    void logMessage(const QString& text, const QString& level = QStringLiteral("I"));
    // Any thread: the next row index.
    RowIdx getIndex();

private:
    struct Impl;
    std::unique_ptr<Impl> d;

    void onQueueCheckTimerTick();
    void cancelQueueTimer();
    void notifyDataChanged();
    void notifyLogUpdated();
    void postToMain(std::function<void()> fn);
    void notifyLogUpdatedFromAnyThread();
    void applyFilter(const PredicatePtr& filter, const std::atomic<bool>& cancelled);
    void endProgress(const std::atomic<bool>& cancelled);
    // Reads a file's rows into the store through `read`, which gets `how`
    // with its rows taken a stretch at a time; the store is cleared before
    // the first stretch, or at the end when `read` says the file was its
    // kind (`isFile`) but gave no rows. `read` may call its second argument
    // to drop the rows taken so far and begin again.
    struct FileFeedEnd {
        bool isFile = false;
        bool namedLate = false;
    };
    using FileFeed = std::function<FileFeedEnd(const TextFileReading&, const std::function<void()>&)>;
    void feedFile(TextFileReading& how, const FileFeed& read);
    void beginFile();
};

}  // namespace vf
