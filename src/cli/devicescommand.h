#pragma once
// "devices": the device list as the viewer sees it: the core's device list
// model with its states and model-name look-ups.
//
// Main thread; run() spins a local event loop until the look-ups settle.
// Nothing here waits for another thread: the model reports by queued calls.

#include <QEventLoop>
#include <QObject>
#include <QTimer>
#include <memory>
#include <ostream>

#include "cli/adbcommon.h"
#include "cli/options.h"
#include "core/adb/delegates.h"
#include "core/session/adbstart.h"

namespace vf {
class DeviceListDatasource;
}  // namespace vf

namespace vf::cli {

class DevicesCommand final : public QObject, public DeviceListDelegate {
    Q_OBJECT
public:
    DevicesCommand(const CliOptions& options, AdbEndpoint endpoint, std::ostream& out, std::ostream& err);
    ~DevicesCommand() override;

    int run();

    // How long to wait for model names after the last one came in.
    static constexpr int kLookupSettleMs = 2000;

private:
    // DeviceListDelegate (main thread).
    void onDevicesConnected(const DeviceList& devices) override;
    void onDeviceModel(const QString& deviceId, const QString& model) override;
    void onDeviceListFailed(DeviceListFailure failure) override;

    void checkDone();
    void printAndFinish();
    void finish(int status);

    const CliOptions& options_;
    AdbEndpoint endpoint_;
    std::ostream& out_;
    std::ostream& err_;
    std::unique_ptr<DeviceListDatasource> model_;
    DeviceList devices_;
    bool listed_ = false;
    AdbStartOnce adbStart_;
    bool done_ = false;
    int status_ = kExitOk;
    QTimer settleTimer_;
    QEventLoop loop_;
};

}  // namespace vf::cli
