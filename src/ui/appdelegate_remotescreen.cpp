// The controller's remote screen toggle: one window, created on first use,
// shown for the device the log store follows.
#include "core/session/sessionpreferences.h"
#include "core/adb/endpoint.h"
#include "core/support/logger.h"
#include "ui/mainwindow.h"
#include "ui/remotescreenmonitorsheet.h"
#include "ui/vellumfoxappdelegate.h"

namespace vf::ui {

RemoteScreenMonitorSheet* VellumfoxAppDelegate::remoteScreen() const { return remoteScreen_; }

void VellumfoxAppDelegate::remoteScreenMonitor() {
    if (remoteScreen_ == nullptr) {
        const AdbEndpoint endpoint = endpointFromPreferences();  // the store's server too
        // A child of the main window (still a window of its own), gone with it.
        remoteScreen_ = new RemoteScreenMonitorSheet(endpoint, window_.get());
    }
    if (remoteScreen_->isVisible()) {
        VF_LOG("closing mirror window: {}", remoteScreen_->deviceId());
        remoteScreen_->close();
        return;
    }
    VF_LOG("opening mirror window: {}", session_->deviceId());
    remoteScreen_->setDeviceId(session_->deviceId());
    remoteScreen_->showWindow();
}

}  // namespace vf::ui
