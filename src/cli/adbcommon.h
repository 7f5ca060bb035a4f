#pragma once
// What the ADB-facing commands share: the server they talk to, the device
// lines of their messages, and starting the server when it is not running.
//
// Main thread unless noted.

#include <QString>
#include <functional>
#include <optional>
#include <ostream>

#include "cli/options.h"
#include "core/adb/delegates.h"
#include "core/adb/endpoint.h"

namespace vf::cli {

// The server and the stream options of one run: the command line's choices
// over the viewer's preferences (which are only read, never changed).
struct AdbSetup {
    AdbEndpoint endpoint;
    LogcatOptions logcat;
};
AdbSetup adbSetupFor(const CliOptions& options);

// "  SERIAL" lines for the error messages, in the server's order.
QString deviceLines(const DeviceList& devices);

// Runs "adb start-server" (the endpoint's program, else the one found) with
// the core's helper; `done(success)` comes on the main thread.
void startAdbServer(const AdbEndpoint& endpoint, std::function<void(bool)> done);

}  // namespace vf::cli
