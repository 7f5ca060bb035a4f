#pragma once
// "devices": the device list as the viewer sees it (the core's device list
// model and its model-name look-ups), with each device's state parsed from
// the same "host:devices" reply.
//
// Main thread; run() spins a local event loop until the look-ups settle.

#include <QMutex>
#include <QObject>
#include <QEventLoop>
#include <QTimer>
#include <ostream>

#include "cli/adbcommon.h"
#include "cli/options.h"
#include "core/adb/delegates.h"

namespace vf {
class DeviceListDatasource;
class DeviceListReader;
}  // namespace vf

namespace vf::cli {

// The state column of every line of a "host:devices" reply, by serial.
QMap<QString, QString> deviceStatesFromReply(const QString& reply);

class DevicesCommand final : public QObject, public DeviceListDelegate, public DeviceListReaderDelegate {
    Q_OBJECT
public:
    DevicesCommand(const CliOptions& options, AdbEndpoint endpoint, std::ostream& out, std::ostream& err);
    ~DevicesCommand() override;

    int run();

    // How long to wait for model names after the last one came in.
    static constexpr int kLookupSettleMs = 2000;

private:
    // DeviceListDelegate (main thread; the failure from the I/O thread).
    void onDevicesConnected(const DeviceList& devices) override;
    void onDeviceModel(const QString& deviceId, const QString& model) override;
    void onDeviceListFailed(int code) override;
    // DeviceListReaderDelegate (I/O thread): our own list conversation, so
    // that the reply's text is seen here as well as by the model.
    void devicesReceived(const QByteArray& reply) override;
    void deviceListFailedWithError(int code) override;

    void requestList();
    void handleFailure(int code);
    void checkDone();
    void printAndFinish();
    void finish(int status);

    const CliOptions& options_;
    AdbEndpoint endpoint_;
    std::ostream& out_;
    std::ostream& err_;
    DeviceListDatasource* model_ = nullptr;
    DeviceListReader* reader_ = nullptr;  // lives on the I/O thread
    QMutex replyMutex_;
    QString reply_;
    DeviceList devices_;
    bool listed_ = false;
    bool triedStart_ = false;
    bool done_ = false;
    int status_ = kExitOk;
    QTimer settleTimer_;
    QEventLoop loop_;
};

}  // namespace vf::cli
