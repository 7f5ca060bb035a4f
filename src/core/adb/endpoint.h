#pragma once
// AdbEndpoint: where the ADB server is and which adb program starts it, and
// LogcatOptions: what a log stream asks the device for. Every conversation
// and session is given them when it is made; only the front ends read them
// from the preferences (core/session/sessionpreferences.h). Plain values:
// copy them freely, any thread.

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include "core/adb/logbuffer.h"

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
    // The buffers to read ("-b NAME" each), in logcat's words; empty: the
    // device's own default.
    QStringList buffers = defaultLogBuffers();
};

}  // namespace vf
