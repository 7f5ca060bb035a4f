#include "cli/streamcommand.h"

#include <QCoreApplication>
#include <QPointer>

#include "cli/filters.h"
#include "cli/rowwriter.h"
#include "cli/signalwatcher.h"
#include "core/adb/devicestate.h"
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
}

StreamCommand::~StreamCommand() {
    if (session_) session_->setDelegate(nullptr);
    if (store_) store_->setDelegate(nullptr);
}

int StreamCommand::run() {
    if (const auto status = prepareFilter(options_, true, err_, filter_)) return *status;
    if (sink_ == nullptr) {
        printer_ = std::make_unique<RowPrinter>(
            makeRowWriter(options_.format, out_, settings_.color, settings_.terminal));
        sink_ = printer_.get();
    }

    store_ = std::make_unique<LogDatasource>();
    store_->setDelegate(this);
    LogSession::Settings session;
    session.serial = options_.serial;
    session.reconnect = !options_.noReconnect;
    session.reconnectIntervalMs = settings_.reconnectIntervalMs;
    const AdbEndpoint endpoint = endpoint_;
    session_ = std::make_unique<LogSession>(*store_, makeAdbSessionAdb([endpoint] { return endpoint; }),
                                            makeAdbConnector(endpoint_, logcat_), session);
    session_->setDelegate(this);
    if (!installFilter()) return status_;

    signals_ = std::make_unique<SignalWatcher>();
    QObject::connect(signals_.get(), &SignalWatcher::terminationRequested, this, [this] { finish(kExitOk); });
    pollTimer_.start();
    session_->startLogging();
    if (!done_) loop_.exec();

    pollTimer_.stop();
    session_->stopLogging();
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

// ---------------------------------------------------------------------------
// The session's reports

void StreamCommand::onLoggerStarted(const QString& deviceId) {
    if (!streamed_) message(u"streaming from %1 (ADB server %2)"_s.arg(deviceId, endpoint_.display()));
    else message(u"reconnecting to %1"_s.arg(deviceId));
    streamed_ = true;
    waitingNoticeShown_ = false;
}

void StreamCommand::onLoggerStopped() {
    printNewRows();
    if (sink_ != nullptr) sink_->streamStopped();
    if (done_) return;
    const QString device = session_->lastDeviceId().value_or(QString());
    if (options_.noReconnect) {
        message(u"device %1 disconnected"_s.arg(device));
        finish(kExitFailure);
        return;
    }
    if (session_->isWaiting() && !waitingNoticeShown_) {
        message(u"device %1 disconnected; waiting for it to come back (Ctrl+C ends)"_s.arg(device));
        waitingNoticeShown_ = true;
    }
}

void StreamCommand::chooseDevice(const DeviceList& devices) {
    message(u"more than one device/emulator; use -s SERIAL\n%1"_s.arg(deviceLines(devices)));
    finish(kExitFailure);
}

void StreamCommand::onDeviceModel(const QString&, const QString&) {}

void StreamCommand::onSessionNotice(const SessionNotice& notice) {
    if (done_) return;
    const QString& id = notice.deviceId;
    switch (notice.kind) {
        case SessionNotice::StartingAdb:
            return message(u"no ADB server at %1; trying to start it (adb start-server)"_s.arg(endpoint_.display()));
        case SessionNotice::AdbStarted:
            return message(u"ADB server started"_s);
        case SessionNotice::AdbNotRunning:
            message(u"the ADB server does not answer at %1"_s.arg(endpoint_.display()));
            break;
        case SessionNotice::NoDevice:
            message(u"no device attached"_s);
            break;
        case SessionNotice::SerialNotListed:
            message(u"device '%1' not found; attached:\n%2"_s.arg(id, deviceLines(session_->devices())));
            break;
        case SessionNotice::DeviceNotFound:
            if (session_->isWaiting()) return;  // reconnecting: it may come back
            message(u"device '%1' not found"_s.arg(id));
            break;
        case SessionNotice::NotAuthorized:
            message(u"device %1 is not authorized; allow USB debugging on the device"_s.arg(id));
            break;
        case SessionNotice::NoPermissions:
        case SessionNotice::NotStreamable:
        case SessionNotice::DeviceOffline: {
            message(deviceStateAdvice(id, notice.record));
            if (notice.kind == SessionNotice::DeviceOffline && session_->isWaiting()) return;
            break;
        }
        case SessionNotice::UnexpectedReply:
            message(QString::fromLatin1(kUnexpectedReplyText));
            break;
    }
    finish(kExitFailure);
}

void StreamCommand::onLogUpdated(const LogUpdate&) {
    if (filterLanding_ != nullptr) {
        if (store_->logDataFilter() == filter_) filterLanding_->quit();
        return;
    }
    printNewRows();
}

void StreamCommand::onFilterCorrupt(const QString& reason) {
    message(u"the filter cannot be evaluated: %1"_s.arg(reason));
    finish(kExitUsage);
    if (filterLanding_ != nullptr) filterLanding_->quit();
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
