#include "core/adb/processtable.h"

#include <QStringList>
#include <algorithm>

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

ProcessLookup::ProcessLookup(Clock clock, int64_t minIntervalMs)
    : clock_(std::move(clock)), minIntervalMs_(minIntervalMs) {}

void ProcessLookup::beginRun(const QString& deviceId) {
    deviceId_ = deviceId;
    lastStartMs_.reset();
    inFlight_ = false;
    pending_ = false;
    askedAgain_ = false;
}

PsFlavor ProcessLookup::flavor() const {
    const auto it = flavors_.find(deviceId_);
    return it == flavors_.end() ? PsFlavor::Unknown : it->second;
}

LookupRequest ProcessLookup::ask(PsFlavor flavor) {
    asked_ = flavor;
    return LookupRequest{LookupRequest::Kind::ProcessTable, processTableRequest(flavor)};
}

std::optional<LookupRequest> ProcessLookup::startIfDue() {
    if (inFlight_ || !pending_) return std::nullopt;
    const int64_t now = clock_();
    if (lastStartMs_ && now - *lastStartMs_ < minIntervalMs_) return std::nullopt;
    pending_ = false;
    inFlight_ = true;
    askedAgain_ = false;
    lastStartMs_ = now;
    return ask(flavor());
}

std::optional<LookupRequest> ProcessLookup::want() {
    pending_ = true;
    return startIfDue();
}

std::optional<LookupRequest> ProcessLookup::finished(const std::optional<ProcessTable>& table) {
    if (table && inFlight_) {
        bool wrongShape = false;
        PsFlavor learned = PsFlavor::Toolbox;
        if (asked_ == PsFlavor::Toolbox) {
            // Plain "ps" answered by toybox lists the shell only.
            wrongShape = table->flavor == PsFlavor::Toybox;
            if (wrongShape) learned = PsFlavor::Toybox;
        } else if (table->entries.empty()) {
            wrongShape = true;  // "ps -A" answered by toolbox lists nothing
        } else if (table->flavor != PsFlavor::Toolbox) {
            learned = PsFlavor::Toybox;
        }
        flavors_[deviceId_] = learned;
        if (wrongShape && !std::exchange(askedAgain_, true)) return ask(learned);  // the same lookup, at once
    }
    inFlight_ = false;
    return startIfDue();
}

std::optional<LookupRequest> ProcessLookup::poll() { return startIfDue(); }

std::optional<int64_t> ProcessLookup::dueInMs() const {
    if (inFlight_ || !pending_) return std::nullopt;
    if (!lastStartMs_) return 0;
    return std::max<int64_t>(0, *lastStartMs_ + minIntervalMs_ - clock_());
}

}  // namespace vf
