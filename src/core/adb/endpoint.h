#pragma once
// AdbEndpoint: where the ADB server is and which adb program starts it. Every
// conversation and session is given one when it is made; only the front ends
// read it from the preferences. A plain value: copy it freely, any thread.

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
};

}  // namespace vf
