#include "ui/connectionbackend.h"

#include "core/adb/devicelistdatasource.h"
#include "core/log/logdatasource.h"
#include "core/support/analytics.h"
#include "core/support/utils.h"

namespace vf::ui {

namespace {

class AdbBackend final : public ConnectionBackend {
public:
    AdbBackend(LogDatasource& store, DeviceListDelegate& delegate) : store_(store), delegate_(delegate) {}
    ~AdbBackend() override {
        if (devices_) devices_->setDelegate(nullptr);
    }

    // The preferences are read at each listing: a changed server or port
    // takes effect at the next connection.
    void loadDeviceList() override {
        const AdbEndpoint endpoint = endpointFromPreferences();
        if (!devices_ || endpoint != endpoint_) {
            if (devices_) devices_->setDelegate(nullptr);
            endpoint_ = endpoint;
            devices_ = std::make_unique<DeviceListDatasource>(endpoint);
            devices_->setDelegate(&delegate_);
        }
        devices_->loadDeviceList();
    }
    void startLogger() override { store_.startLogger(); }
    void stopLogger() override { store_.stopLogger(); }
    bool isLogging() const override { return store_.isLogging(); }
    void startAdb(std::function<void(bool)> completion) override {
        Utils::startAdb(endpointFromPreferences().adbProgram, std::nullopt, std::move(completion));
    }
    void recordEvent(const QString& name) override { AnalyticsHelper::recordEvent(name); }

private:
    LogDatasource& store_;
    DeviceListDelegate& delegate_;
    AdbEndpoint endpoint_;
    std::unique_ptr<DeviceListDatasource> devices_;
};

}  // namespace

std::unique_ptr<ConnectionBackend> makeAdbBackend(LogDatasource& store, DeviceListDelegate& delegate) {
    return std::make_unique<AdbBackend>(store, delegate);
}

}  // namespace vf::ui
