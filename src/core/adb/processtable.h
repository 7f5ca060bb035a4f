#pragma once
// The device's process table: what one reply of "ps" says (parseProcessTable),
// and the policy of a logging run for asking the device who its processes
// are (ProcessLookup): which request (the table or the package listing),
// when, and how often.
//
// Android up to 7.1 has toolbox "ps", which lists every process; Android 8
// and later have toybox "ps", which without "-A" lists only the calling
// shell's own processes, and toolbox "ps -A" lists nothing (it takes "-A" as
// a process name to look for). The header's column names tell them apart
// (toybox writes "VSZ" and "ADDR", toolbox "VSIZE" and "PC").
//
// parseProcessTable is pure (any thread); a ProcessLookup belongs to one
// run and is used from one thread.

#include <QByteArrayView>
#include <QString>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/adb/packagelist.h"

namespace vf {

enum class PsFlavor {
    Unknown,  // not known yet: ask with "ps -A" first
    Toolbox,  // Android up to 7.1: plain "ps"
    Toybox,   // Android 8 and later: "ps -A"
};

// An "error:" line that ends the reading; what it means for the run is the
// run's business.
enum class PsAbort { None, MultipleDevices, DeviceNotFound };

struct ProcessTable {
    PsFlavor flavor = PsFlavor::Unknown;  // by the header's columns
    std::vector<std::pair<std::string, std::string>> entries;  // pid, name, in output order
    PsAbort abort = PsAbort::None;
};

// Reads a reply of "ps". Lines are split by the device-output rule of
// core/support/text.h; empty lines and lines starting with "-" are skipped;
// "error:" lines are logged, and two of them end the reading with an abort
// reason; the first other line is the header; a line is split at single
// blanks and needs 4 pieces; the pid is the first piece that reads as an
// integer (isInteger), the name the last piece; "<pre-initialized>" names
// are skipped.
ProcessTable parseProcessTable(QByteArrayView output);

// The service request for a flavor ("shell:ps -A" for Toybox and Unknown,
// "shell:ps" for Toolbox).
QString processTableRequest(PsFlavor flavor);

// A request the run is to send now.
struct LookupRequest {
    enum class Kind { ProcessTable, Packages };
    Kind kind = Kind::ProcessTable;
    QString service;  // the whole service request, e.g. "shell:ps -A"
    friend bool operator==(const LookupRequest&, const LookupRequest&) = default;
};

// When a run asks the device who its processes are: the process table
// ("ps") and the package manager's listing (package -> uid). One request in
// flight at a time, and on average at most one started per `intervalMs`
// (a bucket of `burst` requests that refills one per interval), so that
// processes coming and going cannot keep the device busy.
//
// The process table: the flavor's request, learned per device from the
// replies. A reply of the wrong shape is followed at once by the other
// request; both count as one lookup, and a lookup asks again only once, so
// contradicting replies cannot make it loop. A pid that two lookups in a row
// did not list rests for kRestMs: wanting it asks nothing.
//
// The package listing: at the start of a run, and again when a row shows an
// app uid whose packages are unknown, but then at most once per
// kPackagesGapMs. "cmd package" first, "pm" when the device has no "cmd"
// (learned per device); a device whose package manager lists no uids is
// not asked again.
//
// Time comes from the injected monotonic clock (milliseconds).
class ProcessLookup final {
public:
    using Clock = std::function<int64_t()>;
    static constexpr int64_t kRestMs = 30'000;
    static constexpr int64_t kPackagesGapMs = 30'000;

    explicit ProcessLookup(Clock clock, int64_t intervalMs = 2000, int burst = 3);
    ProcessLookup(const ProcessLookup&) = delete;
    ProcessLookup& operator=(const ProcessLookup&) = delete;

    // A run on `deviceId` begins: nothing in flight or waiting; what was
    // learned of the device and the rate's bucket stay.
    void beginRun(const QString& deviceId);
    // The process table is wanted (the start of a run).
    std::optional<LookupRequest> want();
    // A row of `pid` came in without a name. Nothing when the pid rests.
    std::optional<LookupRequest> want(uint32_t pid);
    // The package listing is wanted (the start of a run, or an unknown uid).
    std::optional<LookupRequest> wantPackages();
    // The process-table request in flight ended, with the table of its
    // output, or nothing (refused, failed, no output).
    std::optional<LookupRequest> finished(const std::optional<ProcessTable>& table);
    // The package request in flight ended, with the listing of its output,
    // or nothing (refused, failed, no output).
    std::optional<LookupRequest> packagesFinished(const std::optional<PackageListing>& listing);
    // For a timer set to dueInMs(): the waiting request, when it may go now.
    std::optional<LookupRequest> poll();
    // How long until a waiting request may go; nothing when none waits or
    // one is in flight.
    std::optional<int64_t> dueInMs() const;

    PsFlavor flavor() const;
    // Whether `pid` rests now (two lookups did not list it).
    bool rests(uint32_t pid) const;

private:
    enum class PackageSource { Unknown, Cmd, Pm, None };
    struct Miss {
        int count = 0;
        int64_t atMs = 0;
    };
    struct Device {
        PsFlavor flavor = PsFlavor::Unknown;
        PackageSource packages = PackageSource::Unknown;
    };

    std::optional<LookupRequest> startIfDue();
    // When the next waiting request may go (now or later); nothing when none.
    std::optional<int64_t> nextDueMs() const;
    double tokensAt(int64_t now) const;
    void spend(int64_t now);
    LookupRequest askTable(PsFlavor flavor);
    LookupRequest askPackages(PackageSource source);
    void countMisses(const ProcessTable& table);
    Device& device() { return devices_[deviceId_]; }
    const Device* knownDevice() const;

    Clock clock_;
    const int64_t intervalMs_;
    const int burst_;
    std::map<QString, Device> devices_;  // learned, by device
    QString deviceId_;
    // The rate: tokens as of tokensAtMs_.
    double tokens_;
    int64_t tokensAtMs_ = 0;
    bool tokensStarted_ = false;
    std::optional<LookupRequest::Kind> inFlight_;
    PsFlavor askedFlavor_ = PsFlavor::Unknown;
    PackageSource askedPackages_ = PackageSource::Unknown;
    bool askedAgain_ = false;
    bool tablePending_ = false;
    bool packagesPending_ = false;
    std::optional<int64_t> lastPackagesMs_;
    std::vector<uint32_t> wantedPids_;   // since the last table request started
    std::vector<uint32_t> askingPids_;   // those of the request in flight
    std::map<uint32_t, Miss> misses_;    // pids lookups did not list
};

}  // namespace vf
