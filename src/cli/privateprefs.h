#pragma once
// Preferences for one run of the companion. The ADB server, port, tag
// expression and the clear-on-start switch are copied from the viewer's
// settings into a private temporary file, the command line's choices are
// written over them there, and the core reads that file for the rest of the
// run: the viewer's own settings are never changed.
//
// Main thread. Create before any conversation starts; on destruction the
// previous storage is restored and the file removed.

#include <QString>
#include <QTemporaryDir>
#include <optional>

namespace vf::cli {

struct AdbOverrides {
    QString host;  // empty: the viewer's "adbServer", else 127.0.0.1
    QString port;  // empty: the viewer's "adbPort", else 5037
    std::optional<bool> clearLogOnStart;
    std::optional<QString> logTags;
};

class PrivatePreferences final {
public:
    explicit PrivatePreferences(const AdbOverrides& overrides);
    ~PrivatePreferences();
    PrivatePreferences(const PrivatePreferences&) = delete;
    PrivatePreferences& operator=(const PrivatePreferences&) = delete;

    // False when no temporary file could be made (the run then leaves the
    // viewer's storage untouched and uses its values).
    bool isActive() const { return active_; }
    QString host() const { return host_; }
    QString port() const { return port_; }

private:
    QTemporaryDir dir_;
    QString previousFile_;
    bool active_ = false;
    QString host_;
    QString port_;
};

}  // namespace vf::cli
