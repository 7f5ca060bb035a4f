#include "core/screen/screenfacts.h"

#include <QRegularExpression>

#include "core/support/text.h"

using namespace Qt::StringLiterals;

namespace vf {

QList<DisplayInfo> parseDisplayListing(QByteArrayView text) {
    static const QRegularExpression line(uR"(^Display (\d+) \(HWC display (\d+)\):(.*)$)"_s);
    // The name is quoted and may hold spaces ("DELL P2314T").
    static const QRegularExpression name(uR"re((?:^|\s)displayName="([^"]*)")re"_s);
    QList<DisplayInfo> displays;
    for (const QString& raw : outputLines(text)) {
        const auto match = line.match(raw.trimmed());
        if (!match.hasMatch()) continue;
        bool ok = false;
        const int hwc = match.captured(2).toInt(&ok);
        if (!ok) continue;
        displays.append({match.captured(1), hwc, name.match(match.captured(3)).captured(1)});
    }
    return displays;
}

QString displayLabel(const DisplayInfo& display) {
    return display.name.isEmpty() ? u"Display %1"_s.arg(display.hwcIndex) : display.name;
}

QString inputDisplayFor(QByteArrayView displayDump, const QString& displayId) {
    static const QRegularExpression logical(uR"(\bdisplayId (\d+)\b)"_s);
    static const QRegularExpression physical(uR"re(\buniqueId "local:(\d+)")re"_s);
    if (displayId.isEmpty()) return {};
    for (const QString& raw : outputLines(displayDump)) {
        const auto unique = physical.match(raw);
        if (!unique.hasMatch() || unique.captured(1) != displayId) continue;
        if (const auto id = logical.match(raw); id.hasMatch()) return id.captured(1);
    }
    return {};
}

QString inputCommandPrefix(const QString& inputDisplay) {
    return inputDisplay.isEmpty() ? u"shell:input "_s : u"shell:input -d "_s + inputDisplay + u' ';
}

std::optional<bool> parseWakefulness(QByteArrayView text) {
    static const QRegularExpression wakefulness(uR"(\bmWakefulness=(\w+))"_s);
    static const QRegularExpression screenOn(uR"(\bmScreenOn=(true|false))"_s);
    const QString dump = decodeText(text);
    if (const auto m = wakefulness.match(dump); m.hasMatch()) return m.captured(1) == u"Awake";
    if (const auto m = screenOn.match(dump); m.hasMatch()) return m.captured(1) == u"true";
    return std::nullopt;
}

}  // namespace vf
