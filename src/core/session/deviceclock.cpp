#include "core/session/deviceclock.h"

#include <QDateTime>
#include <utility>

#include "core/adb/devicetime.h"
#include "core/support/logger.h"

using namespace Qt::StringLiterals;

namespace vf {

DeviceClockProbe::DeviceClockProbe(QObject* parent) : QObject(parent) {}

DeviceClockProbe::~DeviceClockProbe() {
    if (reader_ != nullptr) reader_->setDelegate(nullptr);
}

void DeviceClockProbe::measure(const AdbEndpoint& endpoint, const QString& deviceId, Done done) {
    if (reader_ != nullptr) {
        reader_->setDelegate(nullptr);
        reader_->stop();
        reader_->deleteLater();
    }
    done_ = std::move(done);
    reader_ = new ShellCommandReader(endpoint, u"shell:"_s + QLatin1String(kDeviceClockCommand), 4096, this);
    reader_->setDeviceId(deviceId);
    reader_->setReplyTimeout(10);
    reader_->setDelegate(this);
    sentMs_ = QDateTime::currentMSecsSinceEpoch();
    reader_->start();
}

void DeviceClockProbe::shellCommandFinished(const QString& deviceId, const QByteArray& output,
                                            const AdbResult& result) {
    (void)result;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const std::optional<int64_t> offset = deviceClockOffsetMs(std::string_view(output.data(), size_t(output.size())),
                                                              sentMs_, now);
    if (offset) VF_LOG("clock of {}: {} ms ahead of the host", deviceId, *offset);
    else VF_LOG("clock of {} not read: {}", deviceId, QString::fromUtf8(output.left(80)));
    if (reader_ != nullptr) reader_->deleteLater();
    if (done_) std::exchange(done_, {})(offset);
}

}  // namespace vf
