#include "core/support/analytics.h"

#include "core/support/logger.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>
#include <mutex>

namespace vf {

namespace {

std::mutex gMutex;  // one read-modify-write of the file at a time
QString gStorageOverride;

QString storagePathLocked() {
    if (!gStorageOverride.isEmpty()) return gStorageOverride;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/vellumfox/usage.json";
}

QJsonObject readLocked(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

void increment(const QString& name) {
    std::lock_guard lock(gMutex);
    const QString path = storagePathLocked();
    QJsonObject root = readLocked(path);
    QJsonObject events = root.value(u"events").toObject();
    events.insert(name, events.value(name).toInteger() + 1);
    root.insert(u"events", events);

    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        VF_LOG("analytics: cannot write {}: {}", path, file.errorString());
        return;
    }
    file.write(QJsonDocument(root).toJson(QJsonDocument::Indented));
    if (!file.commit()) VF_LOG("analytics: cannot write {}: {}", path, file.errorString());
}

}  // namespace

void AnalyticsHelper::registerApp() {
    VF_LOG("analytics: counting locally in {}", storageFile());
    increment(QStringLiteral("app-register"));
}

void AnalyticsHelper::recordEvent(const QString& name) {
    VF_LOG("analytics event: {}", name);
    increment(name);
}

void AnalyticsHelper::recordStart() {
    recordEvent(QStringLiteral("app-start"));
}

void AnalyticsHelper::recordStop() {
    recordEvent(QStringLiteral("app-stop"));
}

QJsonObject AnalyticsHelper::counters() {
    std::lock_guard lock(gMutex);
    return readLocked(storagePathLocked());
}

QString AnalyticsHelper::storageFile() {
    std::lock_guard lock(gMutex);
    return storagePathLocked();
}

void AnalyticsHelper::setStorageFile(const QString& path) {
    std::lock_guard lock(gMutex);
    gStorageOverride = path;
}

}  // namespace vf
