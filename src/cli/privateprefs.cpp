#include "cli/privateprefs.h"

#include "core/support/preferences.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

QString key(const char* name) { return QString::fromLatin1(name); }

QString orDefault(const QString& value, const QString& fallback) { return value.isEmpty() ? fallback : value; }

}  // namespace

PrivatePreferences::PrivatePreferences(const AdbOverrides& overrides) {
    // Seed from the viewer's settings before switching the storage.
    const QString server = Preferences::string(key(prefs::kAdbServer));
    const QString port = Preferences::string(key(prefs::kAdbPort));
    const QVariant tags = Preferences::value(key(prefs::kAdbLogTags));
    const bool clear = Preferences::boolean(key(prefs::kClearLogOnStart));

    host_ = orDefault(overrides.host, orDefault(server, u"127.0.0.1"_s));
    port_ = orDefault(overrides.port, orDefault(port, u"5037"_s));
    if (!dir_.isValid()) return;

    previousFile_ = Preferences::storageFile();
    Preferences::setStorageFile(dir_.filePath(u"vellumfox-cli.ini"_s));
    active_ = true;
    Preferences::setValue(key(prefs::kAdbServer), host_);
    Preferences::setValue(key(prefs::kAdbPort), port_);
    Preferences::setValue(key(prefs::kClearLogOnStart), overrides.clearLogOnStart.value_or(clear));
    if (overrides.logTags) Preferences::setValue(key(prefs::kAdbLogTags), *overrides.logTags);
    else if (tags.isValid()) Preferences::setValue(key(prefs::kAdbLogTags), tags);
}

PrivatePreferences::~PrivatePreferences() {
    if (active_) Preferences::setStorageFile(previousFile_);
}

}  // namespace vf::cli
