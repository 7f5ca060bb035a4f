#pragma once
// DeviceScreenDatasource: keeps a device's screen coming, and carries the
// taps and keys to it. With auto refresh each screenshot that arrives
// starts the next capture at once on a new connection (no timer: the
// cadence is the device's own round trip); without it one capture is taken.
// Each PNG is decoded off the GUI thread and handed to the delegate on the
// main thread. It also lists the device's displays (a capture may name one)
// and tells, when asked, whether the device is awake.
//
// Threads: construct, configure, start, stop and destroy on the main
// thread; the delegate is called there only. The source owns an I/O thread
// on which the capture conversation and the touch and type writers live
// (hand-overs are queued calls); decoding runs on a private one-thread
// pool. The destructor ends both.

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QVariant>
#include <functional>
#include <optional>

#include "core/adb/adbsocket.h"
#include "core/adb/endpoint.h"
#include "core/screen/screenfacts.h"
#include "core/support/threads.h"

namespace vf {

class CaptureWorker;
class TouchWriter;
class TypeWriter;

class DeviceScreenDatasourceDelegate {
public:
    virtual ~DeviceScreenDatasourceDelegate() = default;
    // Main thread. `screen` is what the image decoder made of the PNG.
    virtual void onScreenUpdate(const QString& deviceId, const QVariant& screen) = 0;
    // Main thread. Monitoring has already stopped.
    virtual void onScreenUpdateFailedWithError(const OptionalError& error, const QString& deviceId) = 0;
    // Main thread, after listDisplays(): the device's displays, empty when
    // the listing failed or named none.
    virtual void onDisplaysListed(const QString& deviceId, const QList<DisplayInfo>& displays) {
        Q_UNUSED(deviceId);
        Q_UNUSED(displays);
    }
    // Main thread, after checkAwake(): whether the device is awake, nullopt
    // when it could not be told.
    virtual void onDeviceAwake(const QString& deviceId, std::optional<bool> awake) {
        Q_UNUSED(deviceId);
        Q_UNUSED(awake);
    }
};

class DeviceScreenDatasource final : public QObject {
    Q_OBJECT
public:
    // Turns a PNG into the delegate's image; called on the decoding thread.
    // The default hands the PNG bytes on as they are.
    using ImageDecoder = std::function<QVariant(const QByteArray& png)>;

    // Counters since creation, for benchmarks and diagnostics. Any thread.
    struct Stats {
        qint64 frames = 0;        // screenshots decoded
        qint64 bytes = 0;         // PNG bytes of those screenshots
        qint64 decodeNanos = 0;   // time spent repairing and decoding them
        qint64 dropped = 0;       // screenshots replaced by a newer one before decoding
    };

    explicit DeviceScreenDatasource(const AdbEndpoint& endpoint, QObject* parent = nullptr);
    ~DeviceScreenDatasource() override;
    DeviceScreenDatasource(const DeviceScreenDatasource&) = delete;
    DeviceScreenDatasource& operator=(const DeviceScreenDatasource&) = delete;

    // Not owned; must outlive this object.
    void setDelegate(DeviceScreenDatasourceDelegate* delegate) { delegate_ = delegate; }
    void setImageDecoder(ImageDecoder decoder);

    QString deviceId() const { return deviceId_; }
    // Screenshots, taps and keys all go to this device (empty: any device).
    void setDeviceId(const QString& deviceId);

    QString displayId() const { return displayId_; }
    // The display captured from the next start on, and the one taps and
    // keys go to from as soon as the device has said how input names it
    // ("dumpsys display"; where it does not, they go to the default
    // display). Empty: the device's default.
    void setDisplayId(const QString& displayId);

    // Asks the device for its displays ("dumpsys SurfaceFlinger
    // --display-id"); the answer comes through onDisplaysListed.
    void listDisplays();
    // Asks the device whether it is awake ("dumpsys power"); the answer
    // comes through onDeviceAwake. A question still open is not asked twice.
    void checkAwake();

    // Starts capturing; false takes exactly one capture. Logs "already
    // running" and does nothing while running: a single capture leaves the
    // source running until stopMonitoring().
    void startMonitoring(bool autoRefresh);
    // No new capture starts; a screenshot in flight is dropped.
    void stopMonitoring();

    bool isRunning() const { return isRunning_; }
    bool autoRefresh() const { return autoRefresh_; }
    Stats stats() const;

    // The writers of taps and keys, on the source's I/O thread; their send
    // and add calls may be made from the main thread (they queue them).
    TouchWriter& touchWriter() { return *touchWriter_; }
    TypeWriter& typeWriter() { return *typeWriter_; }

private:
    friend class CaptureWorker;
    // A capture arrived (the capture thread): decode it, unless a newer one
    // replaces it first.
    void takeCapture(quint64 run, const QByteArray& data);
    void captureFailed(quint64 run, const OptionalError& error);
    void decodePending();
    void deliver(quint64 run, const QVariant& image);

    DeviceScreenDatasourceDelegate* delegate_ = nullptr;
    QString deviceId_;
    QString displayId_;
    bool askingAwake_ = false;
    bool isRunning_ = false;
    bool autoRefresh_ = true;
    quint64 run_ = 0;  // changes at every start and stop
    QThreadPool decoder_;

    mutable QMutex mutex_;  // guards the fields below (the capture thread and the decoder meet here)
    ImageDecoder decode_;
    QByteArray pending_;      // newest capture waiting for the decoder
    quint64 pendingRun_ = 0;
    bool decoding_ = false;   // a decode task is queued or running
    Stats stats_;

    OwnedThread thread_;
    CaptureWorker* capture_;        // these live on thread_ and are deleted there
    TouchWriter* touchWriter_;
    TypeWriter* typeWriter_;
};

}  // namespace vf
