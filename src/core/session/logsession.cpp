#include "core/session/logsession.h"

#include "core/adb/devicelistdatasource.h"
#include "core/adb/devicestate.h"
#include "core/log/logdatasource.h"
#include "core/session/devicechoice.h"
#include "core/support/logger.h"
#include "core/support/utils.h"

namespace vf {

namespace {

class AdbSessionAdb final : public SessionAdb {
public:
    explicit AdbSessionAdb(std::function<AdbEndpoint()> endpoint) : endpoint_(std::move(endpoint)) {}
    ~AdbSessionAdb() override {
        if (devices_) devices_->setDelegate(nullptr);
    }

    void loadDeviceList(DeviceListDelegate* delegate) override {
        const AdbEndpoint endpoint = endpoint_();
        if (!devices_ || endpoint != current_) {
            if (devices_) devices_->setDelegate(nullptr);
            current_ = endpoint;
            devices_ = std::make_unique<DeviceListDatasource>(endpoint);
            if (tracked_ != nullptr) devices_->trackDevices();  // the new server is followed too
        }
        devices_->setDelegate(delegate);
        devices_->loadDeviceList();
    }
    void trackDevices(DeviceListDelegate* delegate) override {
        tracked_ = delegate;
        if (!devices_) return loadDeviceList(delegate);  // makes the list, which then tracks
        devices_->setDelegate(delegate);
        devices_->trackDevices();
    }
    void startAdb(std::function<void(bool)> completion) override {
        const AdbEndpoint endpoint = endpoint_();
        Utils::startAdb(endpoint.adbProgram, endpoint.port, std::move(completion));
    }

private:
    const std::function<AdbEndpoint()> endpoint_;
    AdbEndpoint current_;
    std::unique_ptr<DeviceListDatasource> devices_;
    DeviceListDelegate* tracked_ = nullptr;  // the delegate that follows the listing
};

QString describe(const DeviceList& devices) {
    QStringList parts;
    for (const DeviceRecord& record : devices)
        parts << deviceTitleWithState(record.id, record.name, record.product, record.state);
    return QStringLiteral("(") + parts.join(QStringLiteral(", ")) + QStringLiteral(")");
}

}  // namespace

std::unique_ptr<SessionAdb> makeAdbSessionAdb(std::function<AdbEndpoint()> endpoint) {
    return std::make_unique<AdbSessionAdb>(std::move(endpoint));
}

LogSession::LogSession(LogDatasource& store, std::unique_ptr<SessionAdb> adb, std::shared_ptr<StoreConnector> connector,
                       Settings settings, QObject* parent)
    : QObject(parent), store_(store), adb_(std::move(adb)), settings_(std::move(settings)),
      run_(store, std::move(connector)) {
    run_.setDelegate(this);
    reconnectTimer_.setInterval(settings_.reconnectIntervalMs);
    QObject::connect(&reconnectTimer_, &QTimer::timeout, this, [this] {
        if (autoReconnect_ && !run_.isLogging()) resume();
    });
}

LogSession::~LogSession() = default;

QString LogSession::deviceId() const { return run_.isLogging() ? run_.deviceId() : nextDevice_; }

std::optional<DeviceRecord> LogSession::device(const QString& deviceId) const {
    const auto it = devices_.constFind(deviceId);
    return it == devices_.cend() ? std::nullopt : std::optional<DeviceRecord>(*it);
}

// ---------------------------------------------------------------------------
// What the user does

void LogSession::startLogging() {
    VF_ASSERT_THREAD(this);
    // The user asks again: notices are said again, and a server that does
    // not answer is started again (once).
    lastNotice_.reset();
    adbStart_.again();
    seeking_ = true;
    if (settings_.trackDevices && !tracking_) {
        tracking_ = true;
        adb_->trackDevices(this);
    }
    resume();
}

void LogSession::resume() {
    if (!nextDevice_.isEmpty()) startRun(nextDevice_);
    else adb_->loadDeviceList(this);
}

void LogSession::stopLogging() {
    VF_ASSERT_THREAD(this);
    autoReconnect_ = false;
    seeking_ = false;
    reconnectTimer_.stop();
    run_.stop();
}

void LogSession::toggle() {
    VF_LOG("isLogging:{}, autoReconnect:{}", int(run_.isLogging()), int(autoReconnect_));
    if (run_.isLogging()) {
        stopLogging();
    } else if (autoReconnect_) {
        // Waiting to reconnect: the user gives up on the device.
        autoReconnect_ = false;
        seeking_ = false;
        reconnectTimer_.stop();
    } else {
        startLogging();
    }
}

void LogSession::useDevice(const QString& deviceId) {
    nextDevice_ = deviceId;
    startLogging();
}

void LogSession::startRun(const QString& deviceId) {
    nextDevice_ = deviceId;
    // The same device again (replugged, or Run again): its rows are still
    // here, so only what came after the last of them is asked for.
    run_.start(deviceId, lastDeviceId_ == deviceId ? store_.resumeTime() : QString());
}

// ---------------------------------------------------------------------------
// The listing

void LogSession::onDevicesConnected(const DeviceList& devices) {
    VF_ASSERT_THREAD(this);
    VF_LOG("Connected Devices: {}", describe(devices));
    adbDown_ = false;
    const QMap<QString, DeviceRecord> previous = std::exchange(devices_, {});
    for (DeviceRecord record : devices) {
        // A replugged device keeps the model name it was known by until it is
        // looked up again. The long listing writes the model with its blanks
        // as underscores: a name read from the device that differs only so
        // stays, or the tab's title would change when the device comes back.
        const std::optional<QString> known = previous.value(record.id).name;
        if (known && (!record.name || QString(*known).replace(u' ', u'_') == *record.name)) record.name = known;
        devices_.insert(record.id, record);
    }
    if (delegate_ != nullptr) delegate_->onDevicesChanged();
    // A tracked listing while nobody wants a device: news only.
    if (run_.isLogging() || (!seeking_ && !autoReconnect_)) return;
    const std::optional<QString> reconnectTo =
        autoReconnect_ ? std::optional<QString>(lastDeviceId_.value_or(QString())) : std::nullopt;
    const DeviceChoice choice = chooseDevice(devices_.values(), reconnectTo, settings_.serial);
    const QString id = choice.device ? choice.device->id : QString();
    switch (choice.decision) {
        case DeviceDecision::Start:
            return startRun(id);
        case DeviceDecision::Ask:
            if (delegate_ != nullptr) delegate_->chooseDevice(devices_.values());
            return;
        case DeviceDecision::NotAuthorized:
            return tell(SessionNotice::NotAuthorized, id);
        case DeviceDecision::NotReady:
            waitFor(id);
            return tell(SessionNotice::DeviceOffline, id);
        case DeviceDecision::NotStreamable:
            return tell(deviceStateFromWord(choice.device->state) == DeviceState::NoPermissions
                            ? SessionNotice::NoPermissions
                            : SessionNotice::NotStreamable,
                        id);
        case DeviceDecision::SerialNotListed:
            return tell(SessionNotice::SerialNotListed, settings_.serial);
        case DeviceDecision::NoDevice:  // the listing's failure code says it
        case DeviceDecision::WaitForRemembered:
            return;
    }
}

void LogSession::onDeviceModel(const QString& deviceId, const QString& model) {
    VF_ASSERT_THREAD(this);
    VF_LOG("DeviceID: {}, Model: {}", deviceId, model);
    const auto it = devices_.find(deviceId);
    if (it != devices_.end()) it->name = model;
    if (delegate_ != nullptr) delegate_->onDeviceModel(deviceId, model);
}

void LogSession::onDeviceListFailed(DeviceListFailure failure) {
    VF_ASSERT_THREAD(this);
    if (failure != DeviceListFailure::AdbNotRunning && std::exchange(adbDown_, false) && delegate_ != nullptr)
        delegate_->onDevicesChanged();
    switch (failure) {
        case DeviceListFailure::AdbNotRunning:
            return adbNotRunning();
        case DeviceListFailure::UnexpectedReply:
            return tell(SessionNotice::UnexpectedReply);
        case DeviceListFailure::NoDevice:
            if (!autoReconnect_) tell(SessionNotice::NoDevice);
            return;
    }
}

// A device that is listed but not ready is waited for like a lost one.
void LogSession::waitFor(const QString& deviceId) {
    if (!settings_.reconnect) return;
    autoReconnect_ = true;
    lastDeviceId_ = deviceId;
    keepWaiting();
}

void LogSession::keepWaiting() {
    if (autoReconnect_ && settings_.reconnect && !reconnectTimer_.isActive()) reconnectTimer_.start();
}

void LogSession::adbNotRunning() {
    const auto start = [this](std::function<void(bool)> done) { adb_->startAdb(std::move(done)); };
    adbStart_.notRunning(this, start, [this](AdbStartOnce::Step step) {
        switch (step) {
            case AdbStartOnce::Step::Starting:
                return tell(SessionNotice::StartingAdb);
            case AdbStartOnce::Step::Started:
                tell(SessionNotice::AdbStarted);
                return resume();
            case AdbStartOnce::Step::NotStarted:
            case AdbStartOnce::Step::StillNotRunning:
                adbDown_ = true;
                tell(SessionNotice::AdbNotRunning);
                return keepWaiting();
        }
    });
}

// ---------------------------------------------------------------------------
// The run

void LogSession::onRunStarted() {
    VF_ASSERT_THREAD(this);
    const QString deviceId = run_.deviceId();
    VF_LOG("connecting to: {}", deviceId);
    if (lastDeviceId_ != deviceId) {
        VF_LOG("different device: {} (was:{})", deviceId, lastDeviceId_.value_or(QString()));
        store_.clearLog();
    }
    autoReconnect_ = settings_.reconnect;
    seeking_ = false;
    reconnectTimer_.stop();
    adbStart_.again();
    lastNotice_.reset();
    lastDeviceId_ = deviceId;
    if (delegate_ != nullptr) delegate_->onLoggerStarted(deviceId);
}

void LogSession::onRunEnded(RunEnd how, const Error& error) {
    VF_ASSERT_THREAD(this);
    VF_LOG("end:{}, reason:{}", int(how), error.failureReason);
    const QString deviceId = run_.deviceId();
    nextDevice_.clear();
    if (!settings_.reconnect) autoReconnect_ = false;
    if (delegate_ != nullptr) delegate_->onLoggerStopped();
    switch (how) {
        case RunEnd::AdbNotRunning:
            return adbNotRunning();
        case RunEnd::MultipleDevices:
            adb_->loadDeviceList(this);  // the listing says which
            return;
        case RunEnd::DeviceNotFound:
            tell(SessionNotice::DeviceNotFound, deviceId);
            break;
        case RunEnd::Unauthorized:
            tell(SessionNotice::NotAuthorized, deviceId);
            break;
        case RunEnd::Offline:
            waitFor(deviceId);
            tell(SessionNotice::DeviceOffline, deviceId);
            break;
        case RunEnd::UnexpectedReply:
        case RunEnd::Closed:
        case RunEnd::Failed:
            break;
    }
    keepWaiting();
}

void LogSession::tell(SessionNotice::Kind kind, const QString& deviceId) {
    const std::pair<int, QString> notice{int(kind), deviceId};
    if (lastNotice_ == notice) return;
    lastNotice_ = notice;
    if (delegate_ != nullptr) delegate_->onSessionNotice(SessionNotice{kind, deviceId, device(deviceId)});
}

}  // namespace vf
