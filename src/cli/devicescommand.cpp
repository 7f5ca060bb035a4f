#include "cli/devicescommand.h"

#include "cli/rowwriter.h"
#include "core/adb/devicelistdatasource.h"
#include "core/adb/replyframing.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

std::string utf8(const QString& s) { return s.toStdString(); }

void appendJsonValue(std::string& line, const std::optional<QString>& value) {
    if (value) appendJsonString(line, utf8(*value));
    else line += "null";
}

}  // namespace

DevicesCommand::DevicesCommand(const CliOptions& options, AdbEndpoint endpoint, std::ostream& out, std::ostream& err)
    : options_(options), endpoint_(std::move(endpoint)), out_(out), err_(err) {
    settleTimer_.setSingleShot(true);
    settleTimer_.setInterval(kLookupSettleMs);
    QObject::connect(&settleTimer_, &QTimer::timeout, this, &DevicesCommand::printAndFinish);
}

DevicesCommand::~DevicesCommand() = default;

int DevicesCommand::run() {
    model_ = std::make_unique<DeviceListDatasource>(endpoint_);
    model_->setDelegate(this);
    model_->loadDeviceList();
    if (!done_) loop_.exec();
    return status_;
}

void DevicesCommand::onDeviceListFailed(DeviceListFailure failure) {
    if (done_) return;
    if (failure == DeviceListFailure::UnexpectedReply) {
        err_ << "vellumfox-cli: " << kUnexpectedReplyText << '\n';
        finish(kExitFailure);
        return;
    }
    if (failure == DeviceListFailure::NoDevice) {
        err_ << "vellumfox-cli: no device attached\n";
        finish(kExitFailure);
        return;
    }
    const auto start = [this](std::function<void(bool)> done) { startAdbServer(endpoint_, std::move(done)); };
    adbStart_.notRunning(this, start, [this](AdbStartOnce::Step step) {
        if (done_) return;
        const std::string server = utf8(endpoint_.display());
        switch (step) {
            case AdbStartOnce::Step::Starting:
                err_ << "vellumfox-cli: no ADB server at " << server << "; trying to start it (adb start-server)\n";
                return;
            case AdbStartOnce::Step::Started:
                err_ << "vellumfox-cli: ADB server started\n";
                return model_->loadDeviceList();
            case AdbStartOnce::Step::NotStarted:
                err_ << "vellumfox-cli: could not start the ADB server\n";
                return finish(kExitFailure);
            case AdbStartOnce::Step::StillNotRunning:
                err_ << "vellumfox-cli: the ADB server still does not answer at " << server << '\n';
                return finish(kExitFailure);
        }
    });
}

void DevicesCommand::onDevicesConnected(const DeviceList& devices) {
    if (done_) return;
    devices_ = devices;
    listed_ = true;
    settleTimer_.start();
    checkDone();
}

void DevicesCommand::onDeviceModel(const QString& deviceId, const QString& model) {
    for (DeviceRecord& record : devices_)
        if (record.id == deviceId) record.name = model;
    if (done_ || !listed_) return;
    settleTimer_.start();
    checkDone();
}

void DevicesCommand::checkDone() {
    // Look-ups run one after another and stall at a device that does not
    // answer (unauthorized, offline): then the settle timer ends the wait.
    bool allNamed = true;
    for (const DeviceRecord& record : std::as_const(devices_)) allNamed = allNamed && record.name.has_value();
    if (allNamed || model_->lookupList().isEmpty()) printAndFinish();
}

void DevicesCommand::printAndFinish() {
    if (done_) return;
    for (const DeviceRecord& record : std::as_const(devices_)) {
        const QString& state = record.state;
        std::string line;
        if (options_.format == OutputFormat::Json) {
            line = "{\"id\":";
            appendJsonString(line, utf8(record.id));
            line += ",\"state\":";
            appendJsonString(line, utf8(state));
            line += ",\"name\":";
            appendJsonValue(line, record.name);
            line += ",\"product\":";
            appendJsonValue(line, record.product);
            line += "}\n";
        } else {
            line = utf8(record.id + u'\t' + state + u'\t' + record.name.value_or(u"-"_s)) + '\n';
        }
        out_ << line;
    }
    out_.flush();
    finish(kExitOk);
}

void DevicesCommand::finish(int status) {
    if (done_) return;
    done_ = true;
    status_ = status;
    settleTimer_.stop();
    loop_.quit();
}

}  // namespace vf::cli
