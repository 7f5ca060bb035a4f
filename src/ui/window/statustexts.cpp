#include "ui/window/statustexts.h"

#include <QLocale>

#include "core/support/buildinfo.h"

using namespace Qt::StringLiterals;

namespace vf::ui {

QString viewingText(qsizetype shown, const TableState& state) {
    QString text;
    if (state.filtered) {
        if (shown != 0 || state.total != 0) {
            text = u"Viewing %1 of %2"_s.arg(shown).arg(state.total);
            if (state.logging) text += u" so far"_s;
        }
    } else if (shown != 0) {
        text = u"Viewing: %1"_s.arg(shown);
    }
    if (text.isEmpty()) text = u"No Data       v(%1)"_s.arg(QLatin1String(build::kVersion));
    return text;
}

QString filterInWords(const QStringList& savedNames, const QString& quickText, const QString& level) {
    const auto quoted = [](const QString& text) -> QString { return u"\u201C"_s + text + u"\u201D"_s; };
    QStringList parts;
    if (!savedNames.isEmpty()) {
        QStringList names;
        for (const QString& name : savedNames) names << quoted(name);
        parts << names.join(u" and "_s);
    }
    if (!quickText.trimmed().isEmpty()) parts << quoted(quickText.trimmed());
    if (!level.isEmpty()) parts << level + u" and above"_s;
    return parts.isEmpty() ? u"All Messages"_s : parts.join(u" \u00B7 "_s);
}

QString emptyTableHint(qsizetype shown, const TableState& state) {
    if (shown > 0) return {};
    if (state.total > 0)
        return u"No message passes the filter.\n%1\nChoose All Messages or change the quick filter to see more."_s.arg(
            state.filter);
    if (!state.fromDevice) return u"The file holds no log messages."_s;
    if (state.logging) return u"Connected. Waiting for the device's first messages…"_s;
    if (state.adbDown) {
        const AdbEndpoint& server = *state.adbDown;
        const QString start = server.port == AdbEndpoint().port ? u"adb start-server"_s
                                                                 : u"adb -P %1 start-server"_s.arg(server.port);
        return u"No ADB server at %1.\n\nStart it with \"%2\". No adb program? Install it (Debian and Ubuntu: "
               u"sudo apt install adb),\nor choose where it is in Preferences. The log starts as soon as the server "
               u"answers."_s.arg(server.display(), start);
    }
    if (state.waiting)
        return u"Waiting for the device to be ready: its log starts as soon as it is.\n\nRun (Ctrl+R) stops waiting "
               u"and takes whichever device is ready."_s;
    if (state.seeking)
        return u"No device connected.\n\nConnect an Android device with USB debugging turned on: it is picked up as "
               u"soon as it is ready.\nNo device at hand? scripts/run.sh in the source tree starts the simulated device."_s;
    return u"No device connected.\n\nConnect an Android device with USB debugging turned on, then press Run "
           u"(Ctrl+R).\nNo device at hand? scripts/run.sh in the source tree starts the simulated device."_s;
}

QString totalsText(qsizetype tabs, qsizetype rows, size_t bytes) {
    if (tabs < 2) return {};
    const QLocale locale(QLocale::English);
    return u"%1 tabs: %2 rows, %3"_s.arg(tabs).arg(locale.toString(rows), locale.formattedDataSize(qint64(bytes), 1, QLocale::DataSizeSIFormat));
}

}  // namespace vf::ui
