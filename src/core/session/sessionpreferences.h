#pragma once
// What a front end reads from the preferences for its logging session: the
// ADB server, the adb program and the stream's options, as they are now.
// Only the front ends (the viewer, the companion) call these; the sessions
// and conversations they make are handed the values. Any thread.

#include <QStringView>

#include "core/adb/endpoint.h"

namespace vf {

// "adbServer" (empty: 127.0.0.1), "adbPort" (empty: 5037; see adbPortFromText)
// and "adbPath" (the chosen adb program). The one place the preferences
// become an endpoint.
AdbEndpoint endpointFromPreferences();
// A port as the user wrote it: its leading integer, wrapped to 16 bits.
quint16 adbPortFromText(QStringView text);
// "adbLogTags", "clearLogOnStart" and "logBuffers" (empty: main, system
// and crash).
LogcatOptions logcatOptionsFromPreferences();

}  // namespace vf
