#include "core/adb/processtable.h"

#include <QStringList>
#include <algorithm>
#include <cmath>

#include "core/support/logger.h"
#include "core/support/strings.h"
#include "core/support/text.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {

// The abort reason of an "error:" line (None: only logged).
PsAbort readErrorLine(const QString& line) {
    VF_LOG("parsePID: {}", line);
    if (line == u"error: more than one device and emulator"_s) {
        VF_LOG("Multiple devices. Abort. (1)");
        return PsAbort::MultipleDevices;
    }
    if (line == u"error: device not found"_s) {
        VF_LOG("Device not found. Abort. (1)");
        return PsAbort::DeviceNotFound;
    }
    return PsAbort::None;
}

PsFlavor flavorOfHeader(QStringView header) {
    const auto columns = header.split(u' ', Qt::SkipEmptyParts);
    if (columns.contains(u"VSZ") || columns.contains(u"ADDR")) return PsFlavor::Toybox;
    if (columns.contains(u"VSIZE") || columns.contains(u"PC")) return PsFlavor::Toolbox;
    return PsFlavor::Unknown;
}

}  // namespace

ProcessTable parseProcessTable(QByteArrayView output) {
    ProcessTable table;
    bool headerPending = true;
    for (const QString& line : outputLines(output)) {
        if (line.isEmpty() || line.startsWith(u'-')) continue;
        if (line.startsWith(u"error:"_s)) {
            table.abort = readErrorLine(line);
            if (table.abort != PsAbort::None) return table;
            continue;
        }
        if (std::exchange(headerPending, false)) {
            table.flavor = flavorOfHeader(line);
            continue;
        }
        const QStringList fields = line.split(u' ');
        if (fields.size() < 4) continue;
        const auto pid = std::find_if(fields.cbegin(), fields.cend(), [](const QString& f) { return isInteger(f); });
        const QString& name = fields.constLast();
        if (pid == fields.cend() || name == u"<pre-initialized>"_s) continue;
        table.entries.emplace_back(pid->toStdString(), name.toStdString());
    }
    return table;
}

QString processTableRequest(PsFlavor flavor) {
    return flavor == PsFlavor::Toolbox ? u"shell:ps"_s : u"shell:ps -A"_s;
}

ProcessLookup::ProcessLookup(Clock clock, int64_t intervalMs, int burst)
    : clock_(std::move(clock)), intervalMs_(intervalMs), burst_(burst), tokens_(burst) {}

void ProcessLookup::beginRun(const QString& deviceId) {
    if (deviceId != deviceId_) misses_.clear();  // pids are the device's
    deviceId_ = deviceId;
    inFlight_.reset();
    tablePending_ = false;
    packagesPending_ = false;
    askedAgain_ = false;
    lastPackagesMs_.reset();
    wantedPids_.clear();
    askingPids_.clear();
}

const ProcessLookup::Device* ProcessLookup::knownDevice() const {
    const auto it = devices_.find(deviceId_);
    return it == devices_.end() ? nullptr : &it->second;
}

PsFlavor ProcessLookup::flavor() const {
    const Device* known = knownDevice();
    return known == nullptr ? PsFlavor::Unknown : known->flavor;
}

bool ProcessLookup::rests(uint32_t pid) const {
    const auto it = misses_.find(pid);
    return it != misses_.end() && it->second.count >= 2 && clock_() - it->second.atMs < kRestMs;
}

double ProcessLookup::tokensAt(int64_t now) const {
    if (!tokensStarted_) return burst_;
    return std::min<double>(burst_, tokens_ + double(now - tokensAtMs_) / double(intervalMs_));
}

// A follow-up asked at once may take the bucket below empty: the requests
// after it then wait longer, and the average holds.
void ProcessLookup::spend(int64_t now) {
    tokens_ = tokensAt(now) - 1;
    tokensAtMs_ = now;
    tokensStarted_ = true;
}

LookupRequest ProcessLookup::askTable(PsFlavor flavor) {
    askedFlavor_ = flavor;
    return LookupRequest{LookupRequest::Kind::ProcessTable, processTableRequest(flavor)};
}

LookupRequest ProcessLookup::askPackages(PackageSource source) {
    askedPackages_ = source;
    const std::string_view request = source == PackageSource::Pm ? kPackageListFallbackRequest : kPackageListRequest;
    return LookupRequest{LookupRequest::Kind::Packages, QString::fromLatin1(request)};
}

std::optional<int64_t> ProcessLookup::nextDueMs() const {
    if (inFlight_) return std::nullopt;
    const int64_t now = clock_();
    const double tokens = tokensAt(now);
    const int64_t rateDue = tokens >= 1 ? now : now + int64_t(std::ceil((1 - tokens) * double(intervalMs_)));
    std::optional<int64_t> due;
    if (tablePending_) due = rateDue;
    if (packagesPending_) {
        const int64_t gapDue = lastPackagesMs_ ? *lastPackagesMs_ + kPackagesGapMs : now;
        const int64_t packagesDue = std::max(rateDue, gapDue);
        due = due ? std::min(*due, packagesDue) : packagesDue;
    }
    return due;
}

std::optional<LookupRequest> ProcessLookup::startIfDue() {
    const std::optional<int64_t> due = nextDueMs();
    const int64_t now = clock_();
    if (!due || *due > now) return std::nullopt;
    askedAgain_ = false;
    spend(now);
    // The listing goes first when both may: it is due at most every 30 s.
    if (packagesPending_ && (!lastPackagesMs_ || now - *lastPackagesMs_ >= kPackagesGapMs)) {
        packagesPending_ = false;
        lastPackagesMs_ = now;
        inFlight_ = LookupRequest::Kind::Packages;
        const Device* known = knownDevice();
        return askPackages(known != nullptr && known->packages == PackageSource::Pm ? PackageSource::Pm
                                                                                    : PackageSource::Cmd);
    }
    tablePending_ = false;
    inFlight_ = LookupRequest::Kind::ProcessTable;
    askingPids_ = std::exchange(wantedPids_, {});
    return askTable(flavor());
}

std::optional<LookupRequest> ProcessLookup::want() {
    tablePending_ = true;
    return startIfDue();
}

std::optional<LookupRequest> ProcessLookup::want(uint32_t pid) {
    if (rests(pid)) return std::nullopt;
    if (std::find(wantedPids_.begin(), wantedPids_.end(), pid) == wantedPids_.end()) wantedPids_.push_back(pid);
    return want();
}

std::optional<LookupRequest> ProcessLookup::wantPackages() {
    const Device* known = knownDevice();
    if (known != nullptr && known->packages == PackageSource::None) return std::nullopt;
    packagesPending_ = true;
    return startIfDue();
}

void ProcessLookup::countMisses(const ProcessTable& table) {
    const int64_t now = clock_();
    for (const uint32_t pid : askingPids_) {
        const std::string text = std::to_string(pid);
        const bool listed = std::any_of(table.entries.begin(), table.entries.end(),
                                        [&text](const auto& entry) { return entry.first == text; });
        if (listed) {
            misses_.erase(pid);
            continue;
        }
        Miss& miss = misses_[pid];
        if (miss.count >= 2) miss.count = 0;  // its rest is over: two lookups again
        ++miss.count;
        miss.atMs = now;
    }
}

std::optional<LookupRequest> ProcessLookup::finished(const std::optional<ProcessTable>& table) {
    if (inFlight_ != LookupRequest::Kind::ProcessTable) return startIfDue();
    if (table) {
        bool wrongShape = false;
        PsFlavor learned = PsFlavor::Toolbox;
        if (askedFlavor_ == PsFlavor::Toolbox) {
            // Plain "ps" answered by toybox lists the shell only.
            wrongShape = table->flavor == PsFlavor::Toybox;
            if (wrongShape) learned = PsFlavor::Toybox;
        } else if (table->entries.empty()) {
            wrongShape = true;  // "ps -A" answered by toolbox lists nothing
        } else if (table->flavor != PsFlavor::Toolbox) {
            learned = PsFlavor::Toybox;
        }
        device().flavor = learned;
        if (wrongShape && !std::exchange(askedAgain_, true)) {
            spend(clock_());
            return askTable(learned);  // the same lookup, at once
        }
        if (!wrongShape) countMisses(*table);
    }
    inFlight_.reset();
    askingPids_.clear();
    return startIfDue();
}

std::optional<LookupRequest> ProcessLookup::packagesFinished(const std::optional<PackageListing>& listing) {
    if (inFlight_ != LookupRequest::Kind::Packages) return startIfDue();
    Device& known = device();
    if (listing && listing->listed) {
        known.packages = askedPackages_;
    } else if (listing && askedPackages_ == PackageSource::Cmd && !std::exchange(askedAgain_, true)) {
        spend(clock_());
        return askPackages(PackageSource::Pm);  // no "cmd", or it refused: the older wrapper, at once
    } else if (listing && known.packages == PackageSource::Unknown) {
        known.packages = PackageSource::None;  // lists no uids: not asked again
    }
    inFlight_.reset();
    return startIfDue();
}

std::optional<LookupRequest> ProcessLookup::poll() { return startIfDue(); }

std::optional<int64_t> ProcessLookup::dueInMs() const {
    const std::optional<int64_t> due = nextDueMs();
    if (!due) return std::nullopt;
    return std::max<int64_t>(0, *due - clock_());
}

}  // namespace vf
