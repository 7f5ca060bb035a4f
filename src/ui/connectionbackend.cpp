#include "ui/connectionbackend.h"

#include "core/adb/devicelistdatasource.h"
#include "core/log/logdatasource.h"
#include "core/support/analytics.h"
#include "core/support/utils.h"

namespace vf::ui {

namespace {

class AdbBackend final : public ConnectionBackend {
public:
    AdbBackend(LogDatasource& store, DeviceListDelegate& delegate) : store_(store) {
        devices_.setDelegate(&delegate);
    }
    ~AdbBackend() override { devices_.setDelegate(nullptr); }

    void loadDeviceList() override { devices_.loadDeviceList(); }
    void startLogger() override { store_.startLogger(); }
    void stopLogger() override { store_.stopLogger(); }
    bool isLogging() const override { return store_.isLogging(); }
    void startAdb(std::function<void(bool)> completion) override { Utils::startAdb(std::move(completion)); }
    void recordEvent(const QString& name) override { AnalyticsHelper::recordEvent(name); }

private:
    LogDatasource& store_;
    DeviceListDatasource devices_;
};

}  // namespace

std::unique_ptr<ConnectionBackend> makeAdbBackend(LogDatasource& store, DeviceListDelegate& delegate) {
    return std::make_unique<AdbBackend>(store, delegate);
}

}  // namespace vf::ui
