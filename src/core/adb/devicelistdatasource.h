#pragma once
// DeviceListDatasource: the device list model. It asks the ADB server for the
// attached devices, turns the reply into device records, tells its delegate
// (the controller), and then looks up each nameless device's model name, one
// device at a time.
//
// Threads: created, used and destroyed on the main thread. The conversations
// run on the shared I/O thread, where the replies are parsed; every
// notification hops to the main thread asynchronously. Destroy it before
// vf::shutdownIoThread().

#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <atomic>

#include "core/adb/delegates.h"
#include "core/adb/devicelistreader.h"
#include "core/adb/endpoint.h"
#include "core/adb/shellcommandreader.h"

namespace vf {

class DeviceListReader;
class ShellCommandReader;

class DeviceListDatasource final : public QObject,
                                   public DeviceListReaderDelegate,
                                   public ShellCommandDelegate {
    Q_OBJECT
public:
    // Every conversation it makes talks to `endpoint`.
    explicit DeviceListDatasource(const AdbEndpoint& endpoint, QObject* parent = nullptr);
    ~DeviceListDatasource() override;

    // Main thread. Not owned; must outlive this object (or be reset first).
    void setDelegate(DeviceListDelegate* delegate) { delegate_.store(delegate); }

    // Asks the server for the list; returns at once. Any thread.
    void loadDeviceList();
    // Looks up one device's model name on the I/O thread. Any thread.
    void requestDeviceModel(const QString& serial);

    // Snapshots. Any thread.
    DeviceList deviceList() const;
    QStringList lookupList() const;

    // Replaces the list with the records of a "host:devices" reply, notifies
    // the delegate and starts the next name lookup (on the calling thread).
    void parseDeviceList(QByteArrayView reply);

    // Conversation callbacks (the conversation's thread).
    void deviceListFinished(const QByteArray& listing, const AdbResult& result) override;
    // The model lookup's output for one device (build.prop, then getprop).
    void shellCommandFinished(const QString& deviceId, const QByteArray& output, const AdbResult& result) override;


private:
    void fetchDevices();
    void lookupNextDevice();
    void internalDeviceModel(const QString& serial);
    void notifyDevicesConneceted();
    void notifyDeviceModel(const QString& serial, const QString& model);
    void releaseReaders();

    const AdbEndpoint endpoint_;
    std::atomic<DeviceListDelegate*> delegate_{nullptr};
    mutable QMutex mutex_;  // guards deviceList_ and lookupList_ for the snapshots
    DeviceList deviceList_;
    QStringList lookupList_;
    // Conversations: touched only on the thread they live on.
    DeviceListReader* deviceListReader_ = nullptr;
    ShellCommandReader* deviceNameReader_ = nullptr;
    std::atomic<bool> usedIoThread_{false};
};

}  // namespace vf
