#pragma once
// DeviceListDatasource: the device list model. It asks the ADB server for the
// attached devices, turns the reply into device records, tells its delegate
// (the controller), and then looks up each nameless device's model name, one
// device at a time. Once asked to, it also follows the server's listing as
// devices come and go (DeviceTracker), telling the delegate each new list,
// and follows it again after a lost server.
//
// Threads: created, used and destroyed on the main thread, where the lists
// live and every delegate call arrives. It owns an I/O thread on which its
// conversations run; their results come back as queued calls, and the
// destructor ends that thread.

#include <QByteArray>
#include <QObject>
#include <QStringList>

#include "core/adb/adbsocket.h"
#include "core/adb/delegates.h"
#include "core/adb/endpoint.h"
#include "core/support/threads.h"

namespace vf {

class DeviceListWorker;

class DeviceListDatasource final : public QObject {
    Q_OBJECT
public:
    // Every conversation it makes talks to `endpoint`.
    explicit DeviceListDatasource(const AdbEndpoint& endpoint, QObject* parent = nullptr);
    ~DeviceListDatasource() override;

    // Not owned; must outlive this object (or be reset first).
    void setDelegate(DeviceListDelegate* delegate) { delegate_ = delegate; }

    // Asks the server for the list; returns at once.
    void loadDeviceList();
    // From now on, every change of the server's listing is a new list for
    // the delegate (an empty one when the last device leaves).
    void trackDevices();
    bool isTracking() const { return tracking_; }

    DeviceList deviceList() const { return deviceList_; }
    // Devices still waiting for a model name, the next one first.
    QStringList lookupList() const { return lookupList_; }

    // Replaces the list with the records of a listing, notifies the
    // delegate and starts the next name lookup.
    void parseDeviceList(QByteArrayView listing);

private:
    void listFinished(const QByteArray& listing, const AdbResult& result);
    void trackingFinished(const AdbResult& result);
    void startTracking();
    void modelFinished(const QString& serial, const QByteArray& output);
    void lookupNextDevice();
    void requestDeviceModel(const QString& serial);

    DeviceListDelegate* delegate_ = nullptr;
    DeviceList deviceList_;
    QStringList lookupList_;
    QString lookingUp_;  // the serial of the lookup under way
    bool tracking_ = false;
    OwnedThread thread_;
    DeviceListWorker* worker_;  // lives on thread_, deleted there
};

}  // namespace vf
