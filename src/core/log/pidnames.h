#pragma once
// PidNames: who wrote the live rows. The device's processes are kept in a
// ProcessIdentityTable (start, crash and death lines, the uid column, the
// package listing, the process table), names the user gave win over it, and
// rows that nothing names yet wait for a name. Names of processes that have
// exited stay until the log is cleared: their rows are still shown. When to
// ask the device for the table or the packages is the run's business
// (ProcessLookup).
//
// Any thread: one lock guards everything, and every member takes it. It is
// never held while another lock of the store is taken. Waiting rows get their
// app written under this lock; setUserName() takes a pid's rows out of
// waiting first, so the store's own writes to them (RowStore::setApp) come
// after, never at the same time.

#include <QString>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/adb/packagelist.h"
#include "core/adb/processtable.h"
#include "core/log/logrow.h"
#include "core/log/processidentity.h"

namespace vf {

class PidNames final {
public:
    // Rows waiting for a name are bounded: past this count the list of the
    // pid seen longest ago is given up (its rows stay without a name).
    static constexpr qsizetype kMaxWaitingRows = 20000;

    PidNames() = default;
    PidNames(const PidNames&) = delete;
    PidNames& operator=(const PidNames&) = delete;

    // The name shown for `pid` now (the user's, else its latest process's,
    // also when that has exited); false when none.
    bool lookup(std::string_view pid, std::string& out) const;
    QString appName(const QString& pid) const;

    // A live row's fields, in log order, before the row is made at position
    // `at`: reads what they say about processes, names the waiting rows this
    // news names, and writes the row's app into `out` (the user's name for
    // its pid, else that of its pid's process at the row). False when
    // nothing names it.
    bool nameLiveRow(const RowFields& fields, uint64_t at, std::string& out);
    // Holds a row whose app is empty until its pid is named. Returns whether
    // a lookup is wanted (the pid's second waiting row, not its first).
    bool holdUnnamed(const RowPtr& row, qint64 nowMs);
    qsizetype waitingRows() const;
    // A row showed an app uid whose packages are unknown since the last listing.
    bool wantsPackages() const;

    // A process table read when the next row would be at `at`: names the
    // pids no other source names, and their waiting rows.
    void takeProcessTable(const ProcessTable& table, uint64_t at);
    // The package manager's listing: the uids' packages name their rows.
    void takePackages(PackageMap packages);

    // A name chosen by the user; it wins over the process table for as long
    // as the store lives.
    void setUserName(const std::string& pid, const std::string& name);
    // Another device's log follows: what is known of processes is forgotten.
    void beginDevice(const std::string& deviceId);
    // Clearing the log: only the user's names stay and no row waits.
    void clear();

private:
    struct StringHash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>{}(s); }
    };
    template <class V>
    using Map = std::unordered_map<std::string, V, StringHash, std::equal_to<>>;
    struct Waiting {
        qint64 firstSeenMs = 0;
        RowList rows;
    };

    // Names the waiting rows that the identity table now names.
    void nameWaitingRows();
    void boundWaitingRows();

    mutable std::mutex mutex_;
    ProcessIdentityTable identity_;
    std::string deviceId_;
    Map<std::string> userDefined_;
    Map<Waiting> waiting_;
    qsizetype waitingRows_ = 0;
};

}  // namespace vf
