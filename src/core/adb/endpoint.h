#pragma once
// AdbEndpoint: where the ADB server is and which adb program starts it, and
// LogcatOptions: what a log stream asks the device for. Every conversation
// and session is given them when it is made; only the front ends read them
// from the preferences (the two functions at the end). Plain values: copy
// them freely, any thread.

#include <QString>
#include <QtGlobal>

namespace vf {

struct AdbEndpoint {
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = 5037;
    // The adb program that starts the server; empty means "search the usual
    // places" when a server has to be started.
    QString adbProgram;

    friend bool operator==(const AdbEndpoint&, const AdbEndpoint&) = default;
    // "host:port", for messages.
    QString display() const { return host + u':' + QString::number(port); }
};

struct LogcatOptions {
    QString logTags;            // the tag expression, inserted verbatim
    bool clearOnStart = false;  // "logcat -c" before each stream
};

// For the front ends: "adbServer" (empty: 127.0.0.1) and "adbPort" (empty:
// 5037; read as a leading integer, wrapped to 16 bits) as they are now.
AdbEndpoint endpointFromPreferences();
// "adbLogTags" and "clearLogOnStart" as they are now.
LogcatOptions logcatOptionsFromPreferences();

}  // namespace vf
