#include "core/adb/processtable.h"

#include <QList>

#include "core/support/text.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {

constexpr int kFirstToyboxSdk = 26;  // Android 8.0

bool isProcessLine(QStringView line) {
    const auto fields = line.split(u' ', Qt::SkipEmptyParts);
    if (fields.size() < 4) return false;
    for (const QStringView f : fields) {
        bool ok = false;
        (void)f.toInt(&ok);
        if (ok) return true;
    }
    return false;
}

}  // namespace

PsFlavor psFlavorFromSdk(QStringView getpropOutput) {
    bool ok = false;
    const int sdk = getpropOutput.trimmed().toInt(&ok);
    if (!ok || sdk <= 0) return PsFlavor::Unknown;
    return sdk >= kFirstToyboxSdk ? PsFlavor::Toybox : PsFlavor::Toolbox;
}

QString processTableRequest(PsFlavor flavor) {
    return flavor == PsFlavor::Toolbox ? u"shell:ps"_s : u"shell:ps -A"_s;
}

PsReplyShape psReplyShape(QByteArrayView output) {
    PsReplyShape shape;
    bool header = true;
    for (const QString& whole : outputLines(output)) {
        const QStringView line = QStringView(whole).trimmed();
        if (line.isEmpty() || line.startsWith(u'-') || line.startsWith(u"error:")) continue;
        if (header) {
            header = false;
            const auto columns = line.split(u' ', Qt::SkipEmptyParts);
            if (columns.contains(u"VSZ") || columns.contains(u"ADDR")) shape.flavor = PsFlavor::Toybox;
            else if (columns.contains(u"VSIZE") || columns.contains(u"PC")) shape.flavor = PsFlavor::Toolbox;
            continue;
        }
        if (isProcessLine(line)) ++shape.processes;
    }
    return shape;
}

PsNextStep psNextStep(PsFlavor asked, QByteArrayView reply) {
    const PsReplyShape shape = psReplyShape(reply);
    if (asked == PsFlavor::Toolbox) {
        // Plain "ps" answered by toybox lists the shell only.
        if (shape.flavor == PsFlavor::Toybox) return {PsFlavor::Toybox, true};
        return {PsFlavor::Toolbox, false};
    }
    if (shape.processes == 0) return {PsFlavor::Toolbox, true};
    return {shape.flavor == PsFlavor::Toolbox ? PsFlavor::Toolbox : PsFlavor::Toybox, false};
}

bool ProcessLookupLimiter::startIfDue(int64_t nowMs) {
    if (inFlight_ || !pending_) return false;
    if (lastStartMs_ && nowMs - *lastStartMs_ < minIntervalMs_) return false;
    pending_ = false;
    inFlight_ = true;
    lastStartMs_ = nowMs;
    return true;
}

bool ProcessLookupLimiter::request(int64_t nowMs) {
    pending_ = true;
    return startIfDue(nowMs);
}

bool ProcessLookupLimiter::finished(int64_t nowMs) {
    inFlight_ = false;
    return startIfDue(nowMs);
}

bool ProcessLookupLimiter::pollDue(int64_t nowMs) { return startIfDue(nowMs); }

std::optional<int64_t> ProcessLookupLimiter::dueAt() const {
    if (inFlight_ || !pending_) return std::nullopt;
    return lastStartMs_ ? *lastStartMs_ + minIntervalMs_ : 0;
}

void ProcessLookupLimiter::reset() {
    lastStartMs_.reset();
    inFlight_ = false;
    pending_ = false;
}

void ProcessTableLookup::setSdk(QStringView getpropOutput) {
    if (const PsFlavor f = psFlavorFromSdk(getpropOutput); f != PsFlavor::Unknown) flavor_ = f;
}

std::optional<QString> ProcessTableLookup::startIf(bool start) {
    if (!start) return std::nullopt;
    asked_ = flavor_;
    retried_ = false;
    return processTableRequest(asked_);
}

std::optional<QString> ProcessTableLookup::want(int64_t nowMs) { return startIf(limiter_.request(nowMs)); }

std::optional<QString> ProcessTableLookup::finished(std::optional<QByteArrayView> reply, int64_t nowMs) {
    if (reply && limiter_.inFlight()) {
        const PsNextStep step = psNextStep(asked_, *reply);
        flavor_ = step.flavor;
        if (step.askAgain && !retried_) {
            // Still the same lookup: the other form, at once.
            retried_ = true;
            asked_ = flavor_;
            return processTableRequest(asked_);
        }
    }
    return startIf(limiter_.finished(nowMs));
}

std::optional<QString> ProcessTableLookup::poll(int64_t nowMs) { return startIf(limiter_.pollDue(nowMs)); }

void ProcessTableLookup::reset() {
    limiter_.reset();
    flavor_ = PsFlavor::Unknown;
    asked_ = PsFlavor::Unknown;
    retried_ = false;
}

}  // namespace vf
