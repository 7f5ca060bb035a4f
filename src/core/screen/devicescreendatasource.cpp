#include "core/screen/devicescreendatasource.h"

#include <QElapsedTimer>
#include <utility>

#include "core/support/logger.h"
#include "core/support/threads.h"

namespace vf {

DeviceScreenDatasource::DeviceScreenDatasource(const AdbEndpoint& endpoint, QObject* parent)
    : QObject(parent), endpoint_(endpoint) {
    // One decoder thread keeps frames in order; a capture that arrives while
    // one is decoding replaces the one still waiting.
    decoder_.setMaxThreadCount(1);
}

DeviceScreenDatasource::~DeviceScreenDatasource() {
    isRunning_.store(false);
    ++run_;
    // The reader lives on the I/O thread and calls back into this object
    // there: delete it there, after any callback it is in the middle of.
    runOnIoThreadBlocking([this] {
        delete screencapReader_;
        screencapReader_ = nullptr;
    });
    decoder_.waitForDone();
}

void DeviceScreenDatasource::setImageDecoder(ImageDecoder decoder) {
    QMutexLocker lock(&mutex_);
    decode_ = std::move(decoder);
}

QString DeviceScreenDatasource::deviceId() const {
    QMutexLocker lock(&mutex_);
    return deviceId_;
}

void DeviceScreenDatasource::setDeviceId(const QString& deviceId) {
    QMutexLocker lock(&mutex_);
    deviceId_ = deviceId;
}

DeviceScreenDatasource::Stats DeviceScreenDatasource::stats() const {
    QMutexLocker lock(&mutex_);
    return stats_;
}

void DeviceScreenDatasource::startMonitoring(bool autoRefresh) {
    if (isRunning_.load()) {
        VF_LOG("already running");
        return;
    }
    isRunning_.store(true);
    autoRefresh_.store(autoRefresh);
    const quint64 run = ++run_;
    VF_LOG("start monitoring screen");
    runOnIoThread([this, run] { internalStartMonitoring(run); });
}

void DeviceScreenDatasource::stopMonitoring() {
    isRunning_.store(false);
    ++run_;
}

void DeviceScreenDatasource::internalStartMonitoring(quint64 run) {
    if (!isRunning_.load() || run != run_.load()) return;
    delete screencapReader_;  // a reader of an earlier run; silences it
    screencapReader_ = new ScreencapReader(endpoint_);
    screencapReader_->setDeviceId(deviceId());
    screencapReader_->setDelegate(this);
    screencapReader_->start();
}

void DeviceScreenDatasource::screencapFinished(const QByteArray& data, const AdbResult& result) {
    if (!data.isEmpty()) screencapReceived(data);
    else screenapFailedWithError(result.error);
}

void DeviceScreenDatasource::screencapReceived(const QByteArray& data) {
    if (!isRunning_.load()) return;
    const quint64 run = run_.load();
    bool startDecoder = false;
    {
        QMutexLocker lock(&mutex_);
        if (!pending_.isEmpty()) ++stats_.dropped;
        pending_ = data;
        pendingRun_ = run;
        startDecoder = !std::exchange(decoding_, true);
    }
    if (startDecoder) decoder_.start([this] { decodePending(); });
    // The next capture travels while this one is decoded.
    if (autoRefresh_.load() && screencapReader_ != nullptr) screencapReader_->start();
}

void DeviceScreenDatasource::decodePending() {
    for (;;) {
        QByteArray data;
        quint64 run = 0;
        ImageDecoder decode;
        {
            QMutexLocker lock(&mutex_);
            if (pending_.isEmpty()) {
                decoding_ = false;
                return;
            }
            data = std::exchange(pending_, QByteArray());
            run = pendingRun_;
            decode = decode_;
        }
        QElapsedTimer timer;
        timer.start();
        const QByteArray png = ScreencapReader::createImageFromData(data);
        QVariant image = decode ? decode(png) : QVariant(png);
        {
            QMutexLocker lock(&mutex_);
            ++stats_.frames;
            stats_.bytes += png.size();
            stats_.decodeNanos += timer.nsecsElapsed();
        }
        QMetaObject::invokeMethod(
            this, [this, run, image = std::move(image)] { deliver(run, image); }, Qt::QueuedConnection);
    }
}

void DeviceScreenDatasource::deliver(quint64 run, const QVariant& image) {
    if (!isRunning_.load() || run != run_.load() || delegate_ == nullptr) return;
    delegate_->onScreenUpdate(deviceId(), image);
}

void DeviceScreenDatasource::screenapFailedWithError(const OptionalError& error) {
    if (!isRunning_.load()) return;
    stopMonitoring();
    QMetaObject::invokeMethod(
        this,
        [this, error] {
            if (delegate_ != nullptr) delegate_->onScreenUpdateFailedWithError(error, deviceId());
        },
        Qt::QueuedConnection);
}

}  // namespace vf
