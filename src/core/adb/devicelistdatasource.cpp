#include "core/adb/devicelistdatasource.h"

#include <QTimer>

#include "core/adb/hostquery.h"
#include "core/adb/devicetracker.h"
#include "core/adb/modelname.h"
#include "core/adb/shellcommandreader.h"
#include "core/support/logger.h"

namespace vf {

namespace {
// How long a lost tracking connection waits before the next one.
constexpr int kTrackingRetryMs = 2000;
}  // namespace

// The conversations, on the list's I/O thread. A new request replaces the
// conversation of its kind; results go back as queued signals.
class DeviceListWorker final : public QObject,
                               private HostQueryDelegate,
                               private ShellCommandDelegate,
                               private DeviceTrackerDelegate {
    Q_OBJECT
public:
    explicit DeviceListWorker(const AdbEndpoint& endpoint) : endpoint_(endpoint) {}

    void list() {
        delete listReader_;  // not inside its own report: this is a queued call
        listReader_ = new HostQuery(endpoint_, QStringLiteral("host:devices"), this);
        listReader_->setDelegate(this);
        listReader_->start();
    }
    void track() {
        delete tracker_;
        tracker_ = new DeviceTracker(endpoint_, this);
        tracker_->setDelegate(this);
        tracker_->start();
    }
    void lookUp(const QString& serial) {
        delete nameReader_;
        nameReader_ = new ShellCommandReader(endpoint_, modelLookupRequest(), ShellCommandReader::kDefaultMaxBytes, this);
        nameReader_->setReplyTimeout(kReplyTimeoutSeconds);
        nameReader_->setDeviceId(serial);
        nameReader_->setDelegate(this);
        nameReader_->start();
    }

Q_SIGNALS:
    void listed(const QByteArray& listing, const vf::AdbResult& result);
    void modelRead(const QString& serial, const QByteArray& output);
    void tracked(const QByteArray& listing);
    void trackingEnded(const vf::AdbResult& result);

private:
    void hostQueryFinished(const QString&, const QByteArray& listing, const AdbResult& result) override {
        Q_EMIT listed(listing, result);
    }
    void shellCommandFinished(const QString& deviceId, const QByteArray& output, const AdbResult&) override {
        Q_EMIT modelRead(deviceId, output);
    }
    void devicesTracked(const QByteArray& listing) override { Q_EMIT tracked(listing); }
    void trackingFinished(const AdbResult& result) override { Q_EMIT trackingEnded(result); }

    const AdbEndpoint endpoint_;
    HostQuery* listReader_ = nullptr;  // children
    ShellCommandReader* nameReader_ = nullptr;
    DeviceTracker* tracker_ = nullptr;
};

DeviceListDatasource::DeviceListDatasource(const AdbEndpoint& endpoint, QObject* parent)
    : QObject(parent), thread_(startOwnedThread(QStringLiteral("vf-devices"))),
      worker_(adoptWorker(*thread_, new DeviceListWorker(endpoint))) {
    QObject::connect(worker_, &DeviceListWorker::listed, this, &DeviceListDatasource::listFinished);
    QObject::connect(worker_, &DeviceListWorker::modelRead, this, &DeviceListDatasource::modelFinished);
    QObject::connect(worker_, &DeviceListWorker::tracked, this,
                     [this](const QByteArray& listing) { parseDeviceList(listing); });
    QObject::connect(worker_, &DeviceListWorker::trackingEnded, this, &DeviceListDatasource::trackingFinished);
}

DeviceListDatasource::~DeviceListDatasource() = default;

void DeviceListDatasource::loadDeviceList() {
    QMetaObject::invokeMethod(worker_, [worker = worker_] { worker->list(); }, Qt::QueuedConnection);
}

void DeviceListDatasource::trackDevices() {
    if (tracking_) return;
    tracking_ = true;
    startTracking();
}

void DeviceListDatasource::startTracking() {
    QMetaObject::invokeMethod(worker_, [worker = worker_] { worker->track(); }, Qt::QueuedConnection);
}

// The server went away (or never answered): its successor is followed as
// soon as it answers. The one-shot listing reports the failure itself.
void DeviceListDatasource::trackingFinished(const AdbResult& result) {
    VF_LOG("device tracking ended: {}", int(result.outcome));
    if (result.outcome == AdbOutcome::Stopped) return;
    QTimer::singleShot(kTrackingRetryMs, this, &DeviceListDatasource::startTracking);
}

void DeviceListDatasource::requestDeviceModel(const QString& serial) {
    VF_LOG("looking up device: {}", serial);
    QMetaObject::invokeMethod(worker_, [worker = worker_, serial] { worker->lookUp(serial); }, Qt::QueuedConnection);
}

void DeviceListDatasource::listFinished(const QByteArray& listing, const AdbResult& result) {
    DeviceListFailure failure = DeviceListFailure::NoDevice;
    switch (result.outcome) {
        case AdbOutcome::Done:
            if (!listing.isEmpty()) return parseDeviceList(listing);
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
    if (delegate_ != nullptr) delegate_->onDeviceListFailed(failure);
}

void DeviceListDatasource::parseDeviceList(QByteArrayView listing) {
    deviceList_ = parseDeviceListing(listing);
    for (const DeviceRecord& record : std::as_const(deviceList_)) {
        if (!record.name && !lookupList_.contains(record.id)) lookupList_.append(record.id);
    }
    if (delegate_ != nullptr) delegate_->onDevicesConnected(deviceList_);
    lookupNextDevice();
}

// One lookup at a time: a listing that comes while one is under way leaves
// it be.
void DeviceListDatasource::lookupNextDevice() {
    if (lookupList_.isEmpty() || !lookingUp_.isEmpty()) return;
    lookingUp_ = lookupList_.first();
    requestDeviceModel(lookingUp_);
}

void DeviceListDatasource::modelFinished(const QString& serial, const QByteArray& output) {
    // Any end without a name (refused transport, unauthorized or offline
    // device, broken or late reply, no such line) moves on to the next
    // device, so that its lookup is not held up.
    const std::optional<QString> name = modelNameFromLookupOutput(output);
    if (name) {
        for (DeviceRecord& record : deviceList_) {
            if (record.id == serial) {
                record.name = *name;
                break;
            }
        }
        if (delegate_ != nullptr) delegate_->onDeviceModel(serial, *name);
    } else {
        VF_LOG("no model name for {}", serial);
    }
    lookupList_.removeAll(serial);
    if (serial == lookingUp_) lookingUp_.clear();
    lookupNextDevice();
}

}  // namespace vf

#include "devicelistdatasource.moc"
