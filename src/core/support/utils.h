#pragma once
// Finding the adb program and starting the ADB server when it is not running.

#include <QString>
#include <functional>
#include <optional>

namespace vf {

class Utils final {
public:
    // Path of the adb program: `chosen` (the user's choice, e.g. a
    // preference) when it names an executable file; else the first existing
    // file among
    //   ~/android-sdks/platform-tools/adb, ~/Library/Android/sdk/platform-tools/adb,
    //   ~/Android/Sdk/platform-tools/adb, $ANDROID_HOME/platform-tools/adb,
    //   $ANDROID_SDK_ROOT/platform-tools/adb, then adb on the PATH.
    // nullopt when none exists. Any thread.
    static std::optional<QString> getAdbPath(const QString& chosen = {});

    // Runs "<adb> -P <port> start-server" with getAdbPath(adbProgram) on a
    // pool thread and calls `completion` with whether the output said the
    // daemon started. Without `port`, no -P. Without adb, `completion` runs at
    // once on the calling thread with false; otherwise it runs later on the
    // main thread (never when there is no application object).
    static void startAdb(const QString& adbProgram, std::optional<quint16> port,
                         std::function<void(bool)> completion);

    // Runs "<adbPath> [-P port] start-server" and waits: the success flag as
    // above. Blocking; any thread except the main one should call it.
    static bool runStartServer(const QString& adbPath, std::optional<quint16> port = std::nullopt);

    Utils() = delete;
};

}  // namespace vf
