#pragma once
// The device's process table: what one reply of "ps" says (parseProcessTable),
// and the policy of a logging run for asking it (ProcessLookup): which
// request, when, and how often.
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
    enum class Kind { ProcessTable };
    Kind kind = Kind::ProcessTable;
    QString service;  // the whole service request, e.g. "shell:ps -A"
    friend bool operator==(const LookupRequest&, const LookupRequest&) = default;
};

// When a run asks for the process table: at most one request in flight, at
// most one started per `minIntervalMs` (a request wanted sooner waits and is
// then sent once), and the flavor's request, learned per device from the
// replies. A reply of the wrong shape is followed at once by the other
// request; both count as one lookup, and a lookup asks again only once, so
// contradicting replies cannot make it loop. Time comes from the injected
// monotonic clock (milliseconds).
class ProcessLookup final {
public:
    using Clock = std::function<int64_t()>;

    explicit ProcessLookup(Clock clock, int64_t minIntervalMs = 1000);
    ProcessLookup(const ProcessLookup&) = delete;
    ProcessLookup& operator=(const ProcessLookup&) = delete;

    // A run on `deviceId` begins: nothing in flight or waiting; the flavor
    // learned for the device stays.
    void beginRun(const QString& deviceId);
    // Names are wanted (a row of a pid without a name came in).
    std::optional<LookupRequest> want();
    // The request in flight ended, with the table of its output, or nothing
    // (refused, failed, no output).
    std::optional<LookupRequest> finished(const std::optional<ProcessTable>& table);
    // For a timer set to dueInMs(): the waiting request, when it may go now.
    std::optional<LookupRequest> poll();
    // How long until a waiting request may go; nothing when none waits or
    // one is in flight.
    std::optional<int64_t> dueInMs() const;

    PsFlavor flavor() const;

private:
    std::optional<LookupRequest> startIfDue();
    LookupRequest ask(PsFlavor flavor);

    Clock clock_;
    const int64_t minIntervalMs_;
    std::map<QString, PsFlavor> flavors_;  // learned, by device
    QString deviceId_;
    std::optional<int64_t> lastStartMs_;
    PsFlavor asked_ = PsFlavor::Unknown;
    bool inFlight_ = false;
    bool pending_ = false;
    bool askedAgain_ = false;
};

}  // namespace vf
