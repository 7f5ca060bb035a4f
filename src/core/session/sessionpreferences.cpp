#include "core/session/sessionpreferences.h"

#include "core/adb/adbsocket.h"
#include "core/support/preferences.h"

namespace vf {

AdbEndpoint endpointFromPreferences() {
    AdbEndpoint endpoint;
    const QString server = Preferences::string(QString::fromLatin1(prefs::kAdbServer));
    if (!server.isEmpty()) endpoint.host = server;
    const QString port = Preferences::string(QString::fromLatin1(prefs::kAdbPort));
    if (!port.isEmpty()) endpoint.port = quint16(uint64_t(AdbSocket::leadingInteger(port)) & 0xFFFFu);
    endpoint.adbProgram = Preferences::string(QString::fromLatin1(prefs::kAdbPath)).trimmed();
    return endpoint;
}

LogcatOptions logcatOptionsFromPreferences() {
    return {Preferences::string(QString::fromLatin1(prefs::kAdbLogTags)),
            Preferences::boolean(QString::fromLatin1(prefs::kClearLogOnStart))};
}

}  // namespace vf
