#pragma once
// ProcessIdentityTable: which process a pid belongs to, over the course of
// one device's log. A pid can be reused, so a pid has a history of lives,
// each holding from a position in the log on (a row's idx: positions only
// grow). A life knows its process name, uid, start time and whether its
// process died; the app a row shows is that of its pid's life at the row.
//
// Sources, strongest first: the system's start lines (ActivityManager's
// "Start proc", the events buffer's am_proc_start), the lines that name a
// dying process (a Java crash's "Process: NAME, PID: N", ActivityManager's
// "Process NAME (pid N) has died"), the uid (the log's uid column, or the
// start line's) with the package manager's packages for it, and last the
// process table ("ps"). A weaker source never renames a life a stronger one
// named.
//
// Merge rules:
//  - A start line begins a new life at its position: rows before it keep the
//    pid's earlier owner. Rows of the pid that no source has named yet (a
//    process often logs before its start line is written) and rows after a
//    death belong to the new life.
//  - A uid different from the life's is a new process under a reused pid:
//    a new life from that row on.
//  - A death ends the life: later rows of the pid are nobody's until a start
//    line or a uid says whose they are.
//  - An app in another user or work profile is shown as "com.example@10".
//
// Thread contract: not thread-safe; one owner feeds and asks it (the loading
// thread for a file, the run's thread for a device).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/adb/packagelist.h"
#include "core/log/logrow.h"
#include "core/log/processlines.h"

namespace vf {

// What named a life, weakest first. The uid's packages name no life: they
// are looked up when the life is asked about, so a later listing counts.
enum class IdentitySource : uint8_t { None, ProcessTable, DeathOrCrash, Start };

struct ProcessLife {
    uint64_t since = 0;                      // the first position the life holds for
    std::optional<uint64_t> diedAt;          // position of the line that said it died
    std::string process;                     // process name; empty when no line named it
    IdentitySource nameSource = IdentitySource::None;
    std::optional<uint32_t> uid;
    std::string startTime;                   // the time of its start line, when seen
};

class ProcessIdentityTable final {
public:
    // Lives kept per pid; older ones are forgotten first.
    static constexpr size_t kMaxLivesPerPid = 16;

    ProcessIdentityTable() = default;
    ProcessIdentityTable(const ProcessIdentityTable&) = delete;
    ProcessIdentityTable& operator=(const ProcessIdentityTable&) = delete;

    // Reads one row, in log order, at the position of its idx: its start,
    // crash or death line, and its uid column. True when some pid's app may
    // have changed (rows waiting for a name can be asked about again).
    bool observe(const Row& row);
    // The same at another position (rows numbered by the caller).
    bool observe(const Row& row, uint64_t at);
    // The same from a row's fields before the row is made (the live path).
    bool observe(const RowFields& fields, uint64_t at);

    // The same, from lines already read (positions in log order).
    void started(uint32_t pid, std::string_view process, std::optional<uint32_t> uid, std::string_view time,
                 uint64_t at);
    void named(uint32_t pid, std::string_view process, uint64_t at);
    void died(uint32_t pid, std::string_view process, uint64_t at);
    // True when the pid's app may have changed.
    bool uidSeen(uint32_t pid, uint32_t uid, uint64_t at);
    // A process table read at position `at`: pid, name pairs. Names only
    // pids that no other source has named.
    void takeProcessTable(const std::vector<std::pair<std::string, std::string>>& entries, uint64_t at);
    // The package manager's listing (replaces the one before).
    void setPackages(PackageMap packages);

    // The life of `pid` at position `at`; null when none is known (or its
    // process had died by then). `until`, when given, is set to the last
    // position from `at` on for which the same answer holds.
    const ProcessLife* lifeAt(uint32_t pid, uint64_t at, uint64_t* until = nullptr) const;
    // The app shown for `pid` at `at`: the process name, else the packages
    // of its uid (the package manager's, or those start lines showed for
    // that uid), with "@user" outside user 0. Empty when unknown.
    std::string appAt(uint32_t pid, uint64_t at) const;
    std::string appAt(std::string_view pid, uint64_t at) const;
    // The app of the pid's latest process, also when it has died.
    std::string latestAppOf(std::string_view pid) const;
    // The pid's latest life has died (nothing runs under it now).
    bool isGone(uint32_t pid) const;
    // An app uid was seen whose packages are unknown, since the last
    // setPackages(): a new listing may name it.
    bool wantsPackages() const { return wantsPackages_; }

    // Forgets lives that ended before `at` (rows before it are gone).
    void forgetBefore(uint64_t at);
    void clear();
    bool empty() const { return lives_.empty(); }

private:
    using Lives = std::vector<ProcessLife>;

    // What observe() reads of a line.
    struct LineFacts {
        std::string_view type, tag, text, time, pid, uid;
    };
    bool observeLine(const LineFacts& line, uint64_t at);
    ProcessLife& newLife(Lives& lives, uint64_t at);
    std::string appOf(const ProcessLife& life) const;
    // The package manager's packages of an app uid, else those start lines showed.
    const std::vector<std::string>& packagesOf(std::optional<uint32_t> uid) const;
    void learnPackage(uint32_t uid, std::string_view process);
    void noteUid(uint32_t uid);

    std::unordered_map<uint32_t, Lives> lives_;
    PackageMap packages_;         // from the package manager
    PackageMap learnedPackages_;  // from start lines: a process's package is its name up to ':'
    bool wantsPackages_ = false;
};

// What one stretch of a file's rows says about processes, noted where the
// stretch is parsed (each chunk of a file on its own thread) for a
// FileRowNamer to take in file order: the start, crash and death lines, the
// uid column where it changes, and every row's pid. One thread.
class FileChunkNotes final {
public:
    // The stretch's rows, in order, as they are made (their lines are still
    // in the cache then).
    void observe(const Row& row);
    // The same from the fields a row is made of (RowArena::make's), before
    // or after it is made.
    void observe(const RowFields& fields);
    size_t rowCount() const { return pids_.size(); }

private:
    friend class FileRowNamer;
    struct Event {
        enum class Kind : uint8_t { Start, Crash, Died, Uid } kind = Kind::Start;
        uint32_t pid = 0;
        std::optional<uint32_t> uid;
        std::string process;
        std::string time;
        uint64_t at = 0;  // the row's position in the stretch
    };
    std::vector<Event> events_;
    std::vector<uint32_t> pids_;  // per row: its pid; 0 when it has an app or no pid
    // The uid each pid's rows last showed since anything else was said of
    // the pid: a row that shows it again tells the table nothing new.
    std::unordered_map<uint32_t, uint32_t> lastUid_;
};

// Names the rows of a log read from a file: every row whose app is empty
// gets the app that the file's own start lines, am_proc_start lines and
// uid column give its pid at that row. take() takes the notes of each
// stretch in file order, nameRows() names the rows at the end, through
// the name list of their arena (other threads may be reading them). Cheap
// when the file has none of these lines. One thread.
class FileRowNamer final {
public:
    void take(FileChunkNotes notes);
    // `stretches` hold the rows the notes were taken of, one list per take().
    void nameRows(const std::vector<RowList>& stretches);
    // Whether the file said anything that names rows.
    bool namesAny() const { return !table_.empty(); }

private:
    ProcessIdentityTable table_;
    std::vector<std::vector<uint32_t>> pids_;  // per stretch
};

}  // namespace vf
