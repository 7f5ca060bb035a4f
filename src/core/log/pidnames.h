#pragma once
// PidNames: the application names of process ids, from the device's process
// table and from the user (whose names win), and the rows still waiting for
// a name. Names of processes that have exited stay until the log is
// cleared: their rows are still shown. When to ask for the table is the
// run's business (ProcessLookup).
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

#include "core/log/logrow.h"
#include "core/adb/processtable.h"

namespace vf {

class PidNames final {
public:
    // Rows waiting for a name are bounded: past this count the list of the
    // pid seen longest ago is given up (its rows stay without a name).
    static constexpr qsizetype kMaxWaitingRows = 20000;

    PidNames() = default;
    PidNames(const PidNames&) = delete;
    PidNames& operator=(const PidNames&) = delete;

    // The name known for `pid`; false when none.
    bool lookup(std::string_view pid, std::string& out) const;
    QString appName(const QString& pid) const;

    // Holds a row whose app is empty until its pid is named. Returns whether
    // a lookup is wanted (the pid's second waiting row, not its first).
    bool holdUnnamed(const RowPtr& row, qint64 nowMs);
    qsizetype waitingRows() const;

    // A process-table lookup starts now.
    void beginLookup(qint64 nowMs);
    // The lookup ended, however it ended, with the entries it read (none
    // when it produced no output): merges them into the names (pids missing
    // from the table keep theirs), fills their waiting rows' app column, and
    // gives up waiting lists older than the lookup.
    void endLookup(const ProcessTable& table);

    // A name chosen by the user; it wins over the process table for as long
    // as the store lives.
    void setUserName(const std::string& pid, const std::string& name);
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

    void nameWaitingRows(const std::string& pid, const std::string& name);
    void boundWaitingRows();

    mutable std::mutex mutex_;
    Map<std::string> pidMap_;
    Map<std::string> userDefined_;
    Map<Waiting> waiting_;
    qsizetype waitingRows_ = 0;
    qint64 lookupTimeMs_ = 0;
};

}  // namespace vf
