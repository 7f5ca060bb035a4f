#pragma once
// Which process-table request lists every process on a device, and how often
// the table may be asked for. Android up to 7.1 has toolbox "ps", which lists
// every process; Android 8 and later have toybox "ps", which without "-A"
// lists only the calling shell's own processes, and toolbox "ps -A" lists
// nothing (it takes "-A" as a process name to look for).
//
// Pure values and functions; a ProcessLookupLimiter belongs to one owner and
// is used from one thread at a time.

#include <QByteArrayView>
#include <QString>
#include <QStringView>
#include <cstdint>
#include <optional>

namespace vf {

enum class PsFlavor {
    Unknown,  // not known yet: ask with "ps -A" first
    Toolbox,  // Android up to 7.1: plain "ps"
    Toybox,   // Android 8 and later: "ps -A"
};

// From the device's "ro.build.version.sdk" (getprop's output, blanks and line
// ends allowed): 26 (Android 8.0) and later are toybox. Unknown when the text
// is not a number.
PsFlavor psFlavorFromSdk(QStringView getpropOutput);

// The service request for a flavor ("shell:ps -A" for Toybox and Unknown,
// "shell:ps" for Toolbox).
QString processTableRequest(PsFlavor flavor);

// What one reply shows. `processes` counts the lines after the header that
// name a process; the header's column names tell the flavor (toybox writes
// "VSZ" and "ADDR", toolbox "VSIZE" and "PC").
struct PsReplyShape {
    PsFlavor flavor = PsFlavor::Unknown;
    int processes = 0;
};
PsReplyShape psReplyShape(QByteArrayView output);

// What to do after a reply to the request of `asked`: the flavor to use from
// now on, and whether to ask again at once with that flavor's request. A
// reply that lists nothing under "ps -A" means toolbox (ask again with plain
// "ps"); a toybox-shaped reply to plain "ps" lists only the shell (ask again
// with "ps -A"). The owner asks again at most once per lookup, so two
// contradicting replies cannot make it loop.
struct PsNextStep {
    PsFlavor flavor = PsFlavor::Unknown;
    bool askAgain = false;
};
PsNextStep psNextStep(PsFlavor asked, QByteArrayView reply);

// At most one process-table lookup in flight, and at most one started per
// `minIntervalMs`. Driven by a monotonic clock value in milliseconds that the
// owner passes in, so it can be tested without waiting.
class ProcessLookupLimiter final {
public:
    explicit ProcessLookupLimiter(int64_t minIntervalMs = 1000) : minIntervalMs_(minIntervalMs) {}
    ProcessLookupLimiter(const ProcessLookupLimiter&) = delete;
    ProcessLookupLimiter& operator=(const ProcessLookupLimiter&) = delete;

    // A lookup is wanted. True: start it now (it is in flight from here on).
    // False: it is remembered, and pollDue() or finished() says when to start.
    bool request(int64_t nowMs);
    // Any end of the lookup in flight: output or none, failure, refusal.
    // True when a remembered request may start now (it is then in flight).
    bool finished(int64_t nowMs);
    // For a timer: true when a remembered request may start now (it is then
    // in flight).
    bool pollDue(int64_t nowMs);
    // When pollDue() will next say yes, or nothing when nothing waits or a
    // lookup is in flight.
    std::optional<int64_t> dueAt() const;
    // Forgets everything (a new logging run).
    void reset();

    bool inFlight() const { return inFlight_; }
    bool pending() const { return pending_; }

private:
    bool startIfDue(int64_t nowMs);

    int64_t minIntervalMs_;
    std::optional<int64_t> lastStartMs_;
    bool inFlight_ = false;
    bool pending_ = false;
};

// The whole process-name lookup policy of one device, for the logging
// session: which request to send and when. The flavor is learned from the
// sdk level when given, else from the first replies, and kept for the
// device; a reply of the wrong shape is followed at once by the other
// request (both count as one lookup). Every returned request is to be sent
// now; the caller reports each one's end with finished().
class ProcessTableLookup final {
public:
    ProcessTableLookup() = default;
    ProcessTableLookup(const ProcessTableLookup&) = delete;
    ProcessTableLookup& operator=(const ProcessTableLookup&) = delete;

    // getprop ro.build.version.sdk's output, when the session asked for it.
    void setSdk(QStringView getpropOutput);
    // Names are wanted (a row of an unknown pid arrived).
    std::optional<QString> want(int64_t nowMs);
    // The request in flight ended: with its whole output, or none (refused
    // transport, server gone, empty). The reply, when there is one and it
    // lists processes, is what the store reads names from.
    std::optional<QString> finished(std::optional<QByteArrayView> reply, int64_t nowMs);
    // For a timer set to dueAt(): a remembered request that may start now.
    std::optional<QString> poll(int64_t nowMs);
    std::optional<int64_t> dueAt() const { return limiter_.dueAt(); }
    // Another device, or the log was cleared: start over.
    void reset();

    PsFlavor flavor() const { return flavor_; }

private:
    std::optional<QString> startIf(bool start);

    ProcessLookupLimiter limiter_;
    PsFlavor flavor_ = PsFlavor::Unknown;
    PsFlavor asked_ = PsFlavor::Unknown;
    bool retried_ = false;
};

}  // namespace vf
