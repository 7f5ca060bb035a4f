#include "core/log/pstable.h"

#include "core/support/logger.h"
#include "core/support/strings.h"
#include "core/support/text.h"

namespace vf {

namespace {

// The abort reason of an "error:" line (None: only logged).
PsAbort readErrorLine(const QString& line) {
    VF_LOG("parsePID: {}", line);
    if (line == QStringLiteral("error: more than one device and emulator")) {
        VF_LOG("Multiple devices. Abort. (1)");
        return PsAbort::MultipleDevices;
    }
    if (line == QStringLiteral("error: device not found")) {
        VF_LOG("Device not found. Abort. (1)");
        return PsAbort::DeviceNotFound;
    }
    return PsAbort::None;
}

}  // namespace

PsTable parsePsText(QByteArrayView output) {
    PsTable table;
    bool headerPending = true;
    for (const QString& line : outputLines(output)) {
        if (line.isEmpty() || line.startsWith(u'-')) continue;
        if (line.startsWith(QStringLiteral("error:"))) {
            table.abort = readErrorLine(line);
            if (table.abort != PsAbort::None) return table;
            continue;
        }
        if (std::exchange(headerPending, false)) continue;
        const QStringList fields = line.split(u' ');
        if (fields.size() < 4) continue;
        const auto pid = std::find_if(fields.cbegin(), fields.cend(), [](const QString& f) { return isInteger(f); });
        const QString& name = fields.constLast();
        if (pid == fields.cend() || name == QStringLiteral("<pre-initialized>")) continue;
        table.entries.emplace_back(pid->toStdString(), name.toStdString());
    }
    return table;
}

}  // namespace vf
