#include "cli/streamcommand.h"

#include <QCoreApplication>
#include <QPointer>

#include "cli/filters.h"
#include "cli/rowwriter.h"
#include "cli/signalwatcher.h"
#include "core/adb/devicelistdatasource.h"
#include "core/adb/replyframing.h"
#include "core/support/threads.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

// The store's own status rows ("Disconnected. ...", "ADB not running ...").
bool isStatusRow(const Row& row) {
    return row.app() == "Vellumfox" && row.pid() == "---" && row.tid() == "---" && row.name() == "---";
}

// Position of the first row appended since `seen`, which moves on.
qsizetype firstNew(const MarkedRows& list, ListMark& seen) {
    const StoreChange change = changeBetween(seen, list.mark);
    seen = list.mark;
    return change.reset ? 0 : qMax<qsizetype>(0, list.rows.size() - change.appended);
}

// The default sink: rows printed as they come.
class RowPrinter final : public StreamRowSink {
public:
    explicit RowPrinter(std::unique_ptr<RowWriter> writer) : writer_(std::move(writer)) {}
    void takeRow(const RowPtr& row) override { writer_->write(row); }
    void streamStopped() override {}

private:
    std::unique_ptr<RowWriter> writer_;
};

}  // namespace

StreamCommand::StreamCommand(const CliOptions& options, StreamSettings settings, AdbSetup setup,
                             std::ostream& out, std::ostream& err, StreamRowSink* sink)
    : options_(options), settings_(settings), endpoint_(setup.endpoint), logcat_(setup.logcat), out_(out), err_(err),
      sink_(sink) {
    pollTimer_.setInterval(settings_.pollIntervalMs);
    QObject::connect(&pollTimer_, &QTimer::timeout, this, &StreamCommand::printNewRows);
    reconnectTimer_.setInterval(settings_.reconnectIntervalMs);
    QObject::connect(&reconnectTimer_, &QTimer::timeout, this, [this] {
        if (autoReconnect_ && !done_) startLogging();
    });
}

StreamCommand::~StreamCommand() {
    if (store_) store_->setDelegate(nullptr);
    if (devices_) devices_->setDelegate(nullptr);
}

int StreamCommand::run() {
    FilterBuild build = buildFilter(options_.filters, options_.quick);
    if (build.problem) {
        reportFilterProblem(err_, *build.problem);
        return kExitUsage;
    }
    if (const auto problem = probeFilter(build.predicate)) {
        reportFilterProblem(err_, *problem);
        return kExitUsage;
    }
    filter_ = std::move(build.predicate);
    if (sink_ == nullptr) {
        printer_ = std::make_unique<RowPrinter>(
            makeRowWriter(options_.format, out_, settings_.color, settings_.terminal));
        sink_ = printer_.get();
    }

    store_ = std::make_unique<LogDatasource>(makeAdbConnector(endpoint_, logcat_));
    store_->setDelegate(this);
    devices_ = std::make_unique<DeviceListDatasource>(endpoint_);
    devices_->setDelegate(this);
    if (!installFilter()) return status_;

    signals_ = std::make_unique<SignalWatcher>();
    QObject::connect(signals_.get(), &SignalWatcher::terminationRequested, this, [this] { finish(kExitOk); });
    pollTimer_.start();
    startLogging();
    if (!done_) loop_.exec();

    pollTimer_.stop();
    reconnectTimer_.stop();
    if (store_->isLogging()) store_->stopLogger();
    printNewRows();
    sink_->streamStopped();
    signals_.reset();
    return status_;
}

bool StreamCommand::installFilter() {
    if (!filter_) return true;
    // The store tests each arriving row against the filter in force; a row
    // that came before the filter landed would never be shown. So wait for
    // the store's notice (or its report of a corrupt filter).
    QEventLoop waiting;
    filterLanding_ = &waiting;
    QTimer::singleShot(10000, &waiting, [this, &waiting] {
        message(u"the filter could not be installed"_s);
        finish(kExitFailure);
        waiting.quit();
    });
    store_->setLogDataFilter(filter_);
    waiting.exec();
    filterLanding_ = nullptr;
    return !done_;
}

void StreamCommand::startLogging() {
    // As the viewer: with a device in hand start at once, else list first.
    if (!store_->deviceId().isEmpty()) store_->startLogger();
    else devices_->loadDeviceList();
}

void StreamCommand::onDevicesConnected(const DeviceList& devices) {
    if (done_ || store_->isLogging()) return;
    const StreamDeviceChoice choice =
        chooseStreamDevice(devices, options_.serial, autoReconnect_ ? lastDeviceId_ : QString());
    if (!choice.device) {
        if (!choice.error.isEmpty()) {
            message(choice.error);
            finish(kExitFailure);
        }
        return;  // reconnecting: only the device we had will do
    }
    if (choice.device->state == u"unauthorized"_s) {
        message(u"device %1 is not authorized; allow USB debugging on the device"_s.arg(choice.device->id));
        finish(kExitFailure);
        return;
    }
    store_->setDeviceId(choice.device->id);
    store_->startLogger();
}

void StreamCommand::onDeviceModel(const QString&, const QString&) {}

void StreamCommand::onDeviceListFailed(int code) {
    if (code == 0) {
        handleAdbNotRunning();
    } else if (code == kDeviceListUnexpectedReply) {
        message(QString::fromLatin1(kUnexpectedReplyText));
        finish(kExitFailure);
    } else {
        handleNoDevice();
    }
}

void StreamCommand::onLoggerStarted() {
    const QString deviceId = store_->deviceId();
    if (deviceId.isEmpty()) {
        devices_->loadDeviceList();
        return;
    }
    if (!autoReconnect_) message(u"streaming from %1 (ADB server %2)"_s.arg(deviceId, endpoint_.display()));
    else message(u"reconnecting to %1"_s.arg(deviceId));
    autoReconnect_ = true;
    triedStartingAdb_ = false;
    waitingNoticeShown_ = false;
    reconnectTimer_.stop();
    lastDeviceId_ = deviceId;
}

void StreamCommand::onLoggerStopped() {
    printNewRows();
    if (sink_ != nullptr) sink_->streamStopped();
    store_->setDeviceId({});
    if (done_) return;
    if (options_.noReconnect) {
        message(u"device %1 disconnected"_s.arg(lastDeviceId_));
        finish(kExitFailure);
        return;
    }
    if (!autoReconnect_) return;
    if (!waitingNoticeShown_) {
        message(u"device %1 disconnected; waiting for it to come back (Ctrl+C ends)"_s.arg(lastDeviceId_));
        waitingNoticeShown_ = true;
    }
    reconnectTimer_.start();
}

void StreamCommand::onLogUpdated(const LogUpdate&) {
    if (filterLanding_ != nullptr) {
        if (store_->logDataFilter() == filter_) filterLanding_->quit();
        return;
    }
    printNewRows();
}

void StreamCommand::onMultipleDevicesConnected() {
    if (!done_) devices_->loadDeviceList();
}

void StreamCommand::onDeviceNotFound() { store_->setDeviceId({}); }

void StreamCommand::onFilterCorrupt(const QString& reason) {
    message(u"the filter cannot be evaluated: %1"_s.arg(reason));
    finish(kExitUsage);
    if (filterLanding_ != nullptr) filterLanding_->quit();
}

void StreamCommand::adbNotRunningError(const Error&) {
    runOnMainThread([self = QPointer<StreamCommand>(this)] {
        if (self) self->handleAdbNotRunning();
    });
}

void StreamCommand::adbDeviceNotFound(const Error&) {
    runOnMainThread([self = QPointer<StreamCommand>(this)] {
        if (self) self->handleNoDevice();
    });
}

void StreamCommand::handleAdbNotRunning() {
    if (done_) return;
    if (triedStartingAdb_) {
        message(u"the ADB server does not answer at %1"_s.arg(endpoint_.display()));
        finish(kExitFailure);
        return;
    }
    triedStartingAdb_ = true;
    message(u"no ADB server at %1; trying to start it (adb start-server)"_s.arg(endpoint_.display()));
    startAdbServer(endpoint_, [self = QPointer<StreamCommand>(this)](bool started) {
        if (!self || self->done_) return;
        if (!started) {
            self->message(u"could not start the ADB server"_s);
            self->finish(kExitFailure);
            return;
        }
        self->message(u"ADB server started"_s);
        self->startLogging();
    });
}

void StreamCommand::handleNoDevice() {
    if (done_) return;
    store_->setDeviceId({});
    if (autoReconnect_ && !options_.noReconnect) {
        if (!reconnectTimer_.isActive()) reconnectTimer_.start();
        return;
    }
    message(autoReconnect_ ? u"device %1 not found"_s.arg(lastDeviceId_) : u"no device attached"_s);
    finish(kExitFailure);
}

void StreamCommand::printNewRows() {
    if (!store_ || sink_ == nullptr) return;
    const MarkedRows shown = filter_ ? store_->filteredRows() : store_->allRows();
    for (qsizetype i = firstNew(shown, shownMark_); i < shown.rows.size(); ++i) {
        const RowPtr& row = shown.rows.at(i);
        if (lastPrinted_ && row->idx() <= *lastPrinted_) continue;
        sink_->takeRow(row);
        lastPrinted_ = row->idx();
    }
    if (filter_) {
        // Status rows never reach the filtered view; say them on stderr.
        const MarkedRows all = store_->allRows();
        for (qsizetype i = firstNew(all, allMark_); i < all.rows.size(); ++i) {
            const Row& row = *all.rows.at(i);
            if (isStatusRow(row)) message(QString::fromUtf8(row.text().data(), qsizetype(row.text().size())));
        }
    }
    out_.flush();
}

void StreamCommand::finish(int status) {
    if (done_) return;
    done_ = true;
    status_ = status;
    loop_.quit();
}

void StreamCommand::message(const QString& text) {
    err_ << "vellumfox-cli: " << text.toStdString() << '\n';
    err_.flush();
}

}  // namespace vf::cli
