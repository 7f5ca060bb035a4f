#pragma once
// User preferences: persistent values in QSettings over an in-memory
// registration domain of defaults. There is no settings object: each reader
// asks for its key when it needs it. Safe to use from any thread.

#include <QString>
#include <QVariant>
#include <QVariantMap>

namespace vf {

namespace prefs {
inline constexpr char kAdbServer[] = "adbServer";
inline constexpr char kAdbPort[] = "adbPort";
inline constexpr char kAdbPath[] = "adbPath";  // the adb program chosen by the user; empty: searched for
inline constexpr char kAdbLogTags[] = "adbLogTags";
inline constexpr char kClearLogOnStart[] = "clearLogOnStart";
inline constexpr char kLogBuffers[] = "logBuffers";  // "main,system,crash" and any of events, radio, kernel
inline constexpr char kMyApps[] = "myApps";  // the user's own package names, separated by blanks or commas
inline constexpr char kDefaultFontSize[] = "defaultFontSize";
inline constexpr char kPredicates[] = "predicates";
inline constexpr char kPairedDevices[] = "pairedDevices";  // paired network devices: service name -> last address
inline constexpr char kConnectAddress[] = "connectAddress";  // the address last connected to by hand
inline constexpr char kQueryHistory[] = "queryHistory";  // the quick-filter field's last queries, newest last
inline constexpr char kLogFolder[] = "logFolder";  // where a log was last opened or saved
}  // namespace prefs

class Preferences final {
public:
    // The persistent value if set, else the registered default, else `fallback`.
    static QVariant value(const QString& key, const QVariant& fallback = {});
    static QString string(const QString& key);  // empty when absent
    static bool boolean(const QString& key);    // false when absent
    static double number(const QString& key);   // 0 when absent

    static bool contains(const QString& key);   // persistent or registered
    static void setValue(const QString& key, const QVariant& value);
    static void remove(const QString& key);

    // Registration domain: defaults that are never written to disk.
    static void registerDefaults(const QVariantMap& defaults);
    static void clearRegisteredDefaults();

    // Points the persistent store at an INI file (tests, the command-line
    // companion with its own settings). Empty path: the per-user default.
    static void setStorageFile(const QString& path);
    static QString storageFile();
};

}  // namespace vf
