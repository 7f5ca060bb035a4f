#include "core/support/utils.h"

#include "core/support/logger.h"
#include "core/support/threads.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QThreadPool>

namespace vf {

namespace {

QStringList candidatePaths() {
    const QString home = QDir::homePath();
    QStringList paths = {
        home + u"/android-sdks/platform-tools/adb",
        home + u"/Library/Android/sdk/platform-tools/adb",
        home + u"/Android/Sdk/platform-tools/adb",
    };
    for (const char* variable : {"ANDROID_HOME", "ANDROID_SDK_ROOT"}) {
        const QString sdk = qEnvironmentVariable(variable);
        if (!sdk.isEmpty()) paths.append(sdk + u"/platform-tools/adb");
    }
    return paths;
}

}  // namespace

std::optional<QString> Utils::getAdbPath(const QString& choice) {
    const QString chosen = choice.trimmed();
    if (!chosen.isEmpty()) {
        const QFileInfo info(chosen);
        if (info.isFile() && info.isExecutable()) {
            VF_LOG("chosen:{}", chosen);
            return chosen;
        }
        VF_LOG("chosen adb is no program, searching instead:{}", chosen);
    }
    for (const QString& path : candidatePaths()) {
        const QFileInfo info(path);
        if (info.exists() && !info.isDir()) {
            VF_LOG("found:{}", path);
            return path;
        }
        VF_LOG("not found:{}", path);
    }
    const QString onPath = QStandardPaths::findExecutable(QStringLiteral("adb"));
    if (!onPath.isEmpty()) {
        VF_LOG("found:{}", onPath);
        return onPath;
    }
    VF_LOG("not found:{}", "adb");
    return std::nullopt;
}

bool Utils::runStartServer(const QString& adbPath, std::optional<quint16> port) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    QStringList arguments;
    if (port) arguments << QStringLiteral("-P") << QString::number(*port);
    arguments << QStringLiteral("start-server");
    // Standard input stays an open pipe that is never written.
    process.start(adbPath, arguments, QIODevice::ReadWrite);
    if (!process.waitForStarted(-1)) {
        VF_LOG("NSException: {}", process.errorString());
        return false;
    }
    QByteArray output;
    // Read to the end of the output, not just to the child's exit.
    while (process.waitForReadyRead(-1)) output += process.readAll();
    output += process.readAll();
    process.closeWriteChannel();
    process.waitForFinished(-1);

    const QString text = QString::fromUtf8(output);
    VF_LOG("GOT: {}", text);
    return text.contains(QStringLiteral("daemon started successfully"), Qt::CaseInsensitive);
}

void Utils::startAdb(const QString& adbProgram, std::optional<quint16> port,
                     std::function<void(bool)> completion) {
    const std::optional<QString> path = getAdbPath(adbProgram);
    if (!path) {
        VF_LOG("adb not found");
        if (completion) completion(false);
        return;
    }
    QThreadPool::globalInstance()->start([adb = *path, chosen = port,
                                           completion = std::move(completion)] {
        const bool success = runStartServer(adb, chosen);
        if (completion) runOnMainThread([completion, success] { completion(success); });
    });
}

}  // namespace vf
