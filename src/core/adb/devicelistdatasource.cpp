#include "core/adb/devicelistdatasource.h"

#include <QThread>

#include "core/adb/devicelistreader.h"
#include "core/adb/modelname.h"
#include "core/support/logger.h"
#include "core/support/text.h"
#include "core/support/threads.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {

// Detaches a conversation and deletes it on its own thread.
template <typename Reader>
void releaseReader(Reader* reader) {
    if (reader == nullptr) return;
    auto release = [reader] {
        reader->setDelegate(nullptr);
        delete reader;
    };
    QThread* home = reader->thread();
    if (home == QThread::currentThread() || !home->isRunning()) {
        release();
    } else {
        QMetaObject::invokeMethod(reader, release, Qt::BlockingQueuedConnection);
    }
}

}  // namespace

DeviceListDatasource::DeviceListDatasource(const AdbEndpoint& endpoint, QObject* parent)
    : QObject(parent), endpoint_(endpoint) {}

DeviceListDatasource::~DeviceListDatasource() {
    // Queued work on the I/O thread runs before this, so no conversation is
    // created behind our back once it returns.
    if (usedIoThread_.load()) runOnIoThreadBlocking([this] { releaseReaders(); });
    releaseReaders();
}

void DeviceListDatasource::releaseReaders() {
    releaseReader(deviceListReader_);
    releaseReader(deviceNameReader_);
    deviceListReader_ = nullptr;
    deviceNameReader_ = nullptr;
}

void DeviceListDatasource::loadDeviceList() {
    usedIoThread_.store(true);
    QPointer<DeviceListDatasource> self(this);
    runOnIoThread([self] {
        if (self) self->fetchDevices();
    });
}

void DeviceListDatasource::requestDeviceModel(const QString& serial) {
    usedIoThread_.store(true);
    QPointer<DeviceListDatasource> self(this);
    runOnIoThread([self, serial] {
        if (self) self->internalDeviceModel(serial);
    });
}

// A replaced conversation is silenced at once and deleted later: it may be
// the one whose callback is running right now.
void DeviceListDatasource::fetchDevices() {
    if (deviceListReader_ != nullptr) {
        deviceListReader_->setDelegate(nullptr);
        deviceListReader_->deleteLater();
    }
    deviceListReader_ = new DeviceListReader(endpoint_);
    deviceListReader_->setDelegate(this);
    deviceListReader_->start();
}

void DeviceListDatasource::deviceListFinished(const QByteArray& listing, const AdbResult& result) {
    std::optional<DeviceListFailure> failure;
    switch (result.outcome) {
        case AdbOutcome::Done:
            if (!listing.isEmpty()) return parseDeviceList(listing);
            failure = DeviceListFailure::NoDevice;
            break;
        case AdbOutcome::AdbNotRunning:
            failure = DeviceListFailure::AdbNotRunning;
            break;
        case AdbOutcome::UnexpectedReply:
            failure = DeviceListFailure::UnexpectedReply;
            break;
        case AdbOutcome::Refused:  // logged by the reader; nothing to tell
        case AdbOutcome::Stopped:
            return;
    }
    QPointer<DeviceListDatasource> self(this);
    runOnMainThread([self, failure = *failure] {
        if (!self) return;
        if (DeviceListDelegate* delegate = self->delegate_.load()) delegate->onDeviceListFailed(failure);
    });
}

void DeviceListDatasource::parseDeviceList(QByteArrayView reply) {
    const DeviceList devices = parseDeviceListing(reply);
    QStringList queued;
    for (const DeviceRecord& record : devices) {
        if (!record.name) queued.append(record.id);
    }
    {
        QMutexLocker lock(&mutex_);
        deviceList_ = devices;
        for (const QString& serial : queued) {
            if (!lookupList_.contains(serial)) lookupList_.append(serial);
        }
    }
    notifyDevicesConneceted();
    lookupNextDevice();
}

void DeviceListDatasource::lookupNextDevice() {
    QString next;
    {
        QMutexLocker lock(&mutex_);
        if (lookupList_.isEmpty()) return;
        next = lookupList_.first();
    }
    internalDeviceModel(next);
}

void DeviceListDatasource::internalDeviceModel(const QString& serial) {
    VF_LOG("looking up device: {}", serial);
    if (deviceNameReader_ != nullptr) {
        deviceNameReader_->setDelegate(nullptr);
        deviceNameReader_->deleteLater();
    }
    deviceNameReader_ = new ShellCommandReader(endpoint_, modelLookupRequest());
    deviceNameReader_->setReplyTimeout(kReplyTimeoutSeconds);
    deviceNameReader_->setDeviceId(serial);
    deviceNameReader_->setDelegate(this);
    deviceNameReader_->start();
}

void DeviceListDatasource::shellCommandFinished(const QString& deviceId, const QByteArray& output,
                                                const AdbResult& /*result*/) {
    const std::optional<QString> name = modelNameFromLookupOutput(output);
    if (!name) {
        // Any end without a name (refused transport, unauthorized or offline
        // device, broken or late reply, no such line) is a failure: on to the
        // next device, so that its lookup is not held up.
        VF_LOG("no model name for {}", deviceId);
        {
            QMutexLocker lock(&mutex_);
            lookupList_.removeAll(deviceId);
        }
        lookupNextDevice();
        return;
    }
    {
        QMutexLocker lock(&mutex_);
        for (DeviceRecord& record : deviceList_) {
            if (record.id == deviceId) {
                record.name = *name;
                break;
            }
        }
    }
    notifyDeviceModel(deviceId, *name);
    {
        QMutexLocker lock(&mutex_);
        lookupList_.removeAll(deviceId);
    }
    lookupNextDevice();
}

void DeviceListDatasource::notifyDevicesConneceted() {
    const DeviceList devices = deviceList();
    QPointer<DeviceListDatasource> self(this);
    runOnMainThread([self, devices] {
        if (!self) return;
        if (DeviceListDelegate* delegate = self->delegate_.load()) delegate->onDevicesConnected(devices);
    });
}

void DeviceListDatasource::notifyDeviceModel(const QString& serial, const QString& model) {
    QPointer<DeviceListDatasource> self(this);
    runOnMainThread([self, serial, model] {
        if (!self) return;
        if (DeviceListDelegate* delegate = self->delegate_.load()) delegate->onDeviceModel(serial, model);
    });
}

DeviceList DeviceListDatasource::deviceList() const {
    QMutexLocker lock(&mutex_);
    return deviceList_;
}

QStringList DeviceListDatasource::lookupList() const {
    QMutexLocker lock(&mutex_);
    return lookupList_;
}

}  // namespace vf
