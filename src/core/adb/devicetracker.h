#pragma once
// DeviceTracker: follows the ADB server's device list on one long-lived
// connection ("host:track-devices-l"). The server sends the whole listing
// (the long form, see devicelisting.h) at once and again on every change:
// a device plugged in, changing state or leaving. Each listing goes to the
// delegate as it comes; the conversation lasts until stop() or until the
// server closes (which cuts the next listing short: UnexpectedReply), and
// ends in one finished report.
//
// Threads: a conversation (see core/adb/adbsocket.h).

#include "core/adb/adbsocket.h"

namespace vf {

class DeviceTrackerDelegate {
public:
    virtual ~DeviceTrackerDelegate() = default;
    // The listing as it stands now (empty: no device attached).
    virtual void devicesTracked(const QByteArray& listing) = 0;
    // Once per start(), when the conversation has ended.
    virtual void trackingFinished(const AdbResult& result) = 0;
};

class DeviceTracker final : public AdbSocket {
    Q_OBJECT
public:
    explicit DeviceTracker(const AdbEndpoint& endpoint, QObject* parent = nullptr) : AdbSocket(endpoint, parent) {}

    // Not owned; set before start().
    void setDelegate(DeviceTrackerDelegate* delegate) { delegate_ = delegate; }

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    void connected() override;
    void finished(const AdbResult& result) override;

    DeviceTrackerDelegate* delegate_ = nullptr;
};

}  // namespace vf
