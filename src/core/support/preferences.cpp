#include "core/support/preferences.h"

#include <QMutex>
#include <QSettings>
#include <memory>

namespace vf {

namespace {
QMutex gMutex;
QVariantMap gRegistered;
QString gStorageFile;

std::unique_ptr<QSettings> openSettings() {
    if (!gStorageFile.isEmpty()) return std::make_unique<QSettings>(gStorageFile, QSettings::IniFormat);
    return std::make_unique<QSettings>(QStringLiteral("vellumfox"), QStringLiteral("vellumfox"));
}
}  // namespace

QVariant Preferences::value(const QString& key, const QVariant& fallback) {
    QMutexLocker lock(&gMutex);
    auto settings = openSettings();
    if (settings->contains(key)) return settings->value(key);
    return gRegistered.value(key, fallback);
}

QString Preferences::string(const QString& key) { return value(key).toString(); }
bool Preferences::boolean(const QString& key) { return value(key).toBool(); }
double Preferences::number(const QString& key) { return value(key).toDouble(); }

bool Preferences::contains(const QString& key) {
    QMutexLocker lock(&gMutex);
    return openSettings()->contains(key) || gRegistered.contains(key);
}

void Preferences::setValue(const QString& key, const QVariant& value) {
    QMutexLocker lock(&gMutex);
    auto settings = openSettings();
    settings->setValue(key, value);
    settings->sync();
}

void Preferences::remove(const QString& key) {
    QMutexLocker lock(&gMutex);
    auto settings = openSettings();
    settings->remove(key);
    settings->sync();
}

void Preferences::registerDefaults(const QVariantMap& defaults) {
    QMutexLocker lock(&gMutex);
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it) gRegistered.insert(it.key(), it.value());
}

void Preferences::clearRegisteredDefaults() {
    QMutexLocker lock(&gMutex);
    gRegistered.clear();
}

void Preferences::setStorageFile(const QString& path) {
    QMutexLocker lock(&gMutex);
    gStorageFile = path;
}

QString Preferences::storageFile() {
    QMutexLocker lock(&gMutex);
    return gStorageFile.isEmpty() ? openSettings()->fileName() : gStorageFile;
}

}  // namespace vf
