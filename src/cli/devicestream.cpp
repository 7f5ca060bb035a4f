#include "cli/devicestream.h"

#include <QEventLoop>
#include <QTimer>

#include "cli/filters.h"
#include "core/adb/devicestate.h"
#include "core/adb/replyframing.h"

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

}  // namespace

DeviceStream::DeviceStream(const CliOptions& options, QString serial, const StreamSettings& settings,
                           const AdbSetup& setup, PredicatePtr filter, StreamHost& host)
    : options_(options), serial_(std::move(serial)), endpoint_(setup.endpoint), filter_(std::move(filter)),
      host_(host), store_(std::make_unique<LogDatasource>()) {
    store_->setDelegate(this);
    LogSession::Settings session;
    session.serial = serial_;
    session.reconnect = !options_.noReconnect;
    session.reconnectIntervalMs = settings.reconnectIntervalMs;
    const AdbEndpoint endpoint = endpoint_;
    session_ = std::make_unique<LogSession>(*store_, makeAdbSessionAdb([endpoint] { return endpoint; }),
                                            makeAdbConnector(endpoint_, setup.logcat), session);
    session_->setDelegate(this);
}

DeviceStream::~DeviceStream() {
    session_->setDelegate(nullptr);
    store_->setDelegate(nullptr);
}

QString DeviceStream::deviceName() const {
    return serial_.isEmpty() ? session_->lastDeviceId().value_or(QString()) : serial_;
}

bool DeviceStream::installFilter() {
    if (!filter_) return true;
    QEventLoop waiting;
    filterLanding_ = &waiting;
    QTimer::singleShot(10000, &waiting, [this, &waiting] {
        host_.message(u"the filter could not be installed"_s);
        finish(kExitFailure);
        waiting.quit();
    });
    store_->setLogDataFilter(filter_);
    waiting.exec();
    filterLanding_ = nullptr;
    return !done_;
}

void DeviceStream::start() { session_->startLogging(); }

void DeviceStream::stop() { session_->stopLogging(); }

void DeviceStream::takeNewRows(std::vector<RowPtr>& into) {
    const MarkedRows shown = filter_ ? store_->filteredRows() : store_->allRows();
    for (qsizetype i = firstNew(shown, shownMark_); i < shown.rows.size(); ++i) {
        const RowPtr& row = shown.rows.at(i);
        if (lastTaken_ && row->idx() <= *lastTaken_) continue;
        lastTaken_ = row->idx();
        if (isOfPackages(row->app(), options_.packages)) into.push_back(row);
    }
    if (!filter_) return;
    // Status rows never reach the filtered view; say them as messages.
    const MarkedRows all = store_->allRows();
    for (qsizetype i = firstNew(all, allMark_); i < all.rows.size(); ++i) {
        const Row& row = *all.rows.at(i);
        if (isStatusRow(row)) host_.message(QString::fromUtf8(row.text().data(), qsizetype(row.text().size())));
    }
}

// ---------------------------------------------------------------------------
// The session's reports

void DeviceStream::onLoggerStarted(const QString& deviceId) {
    if (!streamed_) host_.message(u"streaming from %1 (ADB server %2)"_s.arg(deviceId, endpoint_.display()));
    else host_.message(u"reconnecting to %1"_s.arg(deviceId));
    streamed_ = true;
    waitingNoticeShown_ = false;
}

void DeviceStream::onLoggerStopped() {
    host_.flushRows(*this, true);
    if (done_) return;
    const QString device = session_->lastDeviceId().value_or(QString());
    if (options_.noReconnect) {
        host_.message(u"device %1 disconnected"_s.arg(device));
        finish(kExitFailure);
        return;
    }
    if (session_->isWaiting() && !waitingNoticeShown_) {
        host_.message(u"device %1 disconnected; waiting for it to come back (Ctrl+C ends)"_s.arg(device));
        waitingNoticeShown_ = true;
    }
}

void DeviceStream::chooseDevice(const DeviceList& devices) {
    host_.message(u"more than one device/emulator; use -s SERIAL\n%1"_s.arg(deviceLines(devices)));
    finish(kExitFailure);
}

void DeviceStream::onDeviceModel(const QString&, const QString&) {}

void DeviceStream::onSessionNotice(const SessionNotice& notice) {
    if (done_) return;
    const QString& id = notice.deviceId;
    switch (notice.kind) {
        case SessionNotice::StartingAdb:
            return host_.message(
                u"no ADB server at %1; trying to start it (adb start-server)"_s.arg(endpoint_.display()));
        case SessionNotice::AdbStarted:
            return host_.message(u"ADB server started"_s);
        case SessionNotice::AdbNotRunning:
            host_.message(u"the ADB server does not answer at %1"_s.arg(endpoint_.display()));
            break;
        case SessionNotice::NoDevice:
            host_.message(u"no device attached"_s);
            break;
        case SessionNotice::SerialNotListed:
            host_.message(u"device '%1' not found; attached:\n%2"_s.arg(id, deviceLines(session_->devices())));
            break;
        case SessionNotice::DeviceNotFound:
            if (session_->isWaiting()) return;  // reconnecting: it may come back
            host_.message(u"device '%1' not found"_s.arg(id));
            break;
        case SessionNotice::NotAuthorized:
            host_.message(u"device %1 is not authorized; allow USB debugging on the device"_s.arg(id));
            break;
        case SessionNotice::NoPermissions:
        case SessionNotice::NotStreamable:
        case SessionNotice::DeviceOffline: {
            host_.message(deviceStateAdvice(id, notice.record));
            if (notice.kind == SessionNotice::DeviceOffline && session_->isWaiting()) return;
            break;
        }
        case SessionNotice::UnexpectedReply:
            host_.message(QString::fromLatin1(kUnexpectedReplyText));
            break;
    }
    finish(kExitFailure);
}

void DeviceStream::onLogUpdated(const LogUpdate&) {
    if (filterLanding_ != nullptr) {
        if (store_->logDataFilter() == filter_) filterLanding_->quit();
        return;
    }
    host_.flushRows(*this, false);
}

void DeviceStream::onFilterCorrupt(const QString& reason) {
    host_.message(u"the filter cannot be evaluated: %1"_s.arg(reason));
    finish(kExitUsage);
    if (filterLanding_ != nullptr) filterLanding_->quit();
}

void DeviceStream::finish(int status) {
    if (done_) return;
    done_ = true;
    // Not from inside the session's own report.
    QTimer::singleShot(0, this, [this] { session_->stopLogging(); });
    host_.deviceDone(*this, status);
}

}  // namespace vf::cli
