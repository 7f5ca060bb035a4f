#pragma once
// Usage counts kept on this machine only: each recorded event writes a
// diagnostics line and adds one to its counter in a small JSON file
// ($XDG_DATA_HOME/vellumfox/usage.json). Nothing is ever sent anywhere.

#include <QJsonObject>
#include <QString>

namespace vf {

class AnalyticsHelper final {
public:
    // Called once at start-up (main thread); counts the registration.
    static void registerApp();
    // Adds one to the counter of `name`, e.g. "error-adb-not-running". Any thread.
    static void recordEvent(const QString& name);
    // Start and stop of the program ("app-start", "app-stop"). Any thread.
    static void recordStart();
    static void recordStop();

    // The counters as stored: {"events": {name: count, ...}}. Any thread.
    static QJsonObject counters();
    // The file written; setStorageFile() redirects it (tests), empty
    // restores the default. Any thread.
    static QString storageFile();
    static void setStorageFile(const QString& path);

    AnalyticsHelper() = delete;
};

}  // namespace vf
