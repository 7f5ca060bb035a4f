#include "core/session/sessionpreferences.h"

#include "core/support/preferences.h"
#include "core/support/strings.h"

namespace vf {

AdbEndpoint endpointFromPreferences() {
    AdbEndpoint endpoint;
    const QString server = Preferences::string(QString::fromLatin1(prefs::kAdbServer));
    if (!server.isEmpty()) endpoint.host = server;
    const QString port = Preferences::string(QString::fromLatin1(prefs::kAdbPort));
    if (!port.isEmpty()) endpoint.port = adbPortFromText(port);
    endpoint.adbProgram = Preferences::string(QString::fromLatin1(prefs::kAdbPath)).trimmed();
    return endpoint;
}

quint16 adbPortFromText(QStringView text) { return quint16(uint64_t(leadingInteger(text)) & 0xFFFFu); }

LogcatOptions logcatOptionsFromPreferences() {
    LogcatOptions options{Preferences::string(QString::fromLatin1(prefs::kAdbLogTags)),
                          Preferences::boolean(QString::fromLatin1(prefs::kClearLogOnStart))};
    const QStringList buffers =
        Preferences::string(QString::fromLatin1(prefs::kLogBuffers)).split(u',', Qt::SkipEmptyParts);
    if (!buffers.isEmpty()) options.buffers = buffers;
    return options;
}

}  // namespace vf
