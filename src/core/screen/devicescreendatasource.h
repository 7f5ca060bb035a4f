#pragma once
// DeviceScreenDatasource: keeps a device's screen coming. With auto refresh
// each screenshot that arrives starts the next capture at once on a new
// connection (no timer: the cadence is the device's own round trip); without
// it one capture is taken. Each PNG is decoded off the GUI thread and handed
// to the delegate on the main thread.
//
// Threads: construct, configure, start, stop and destroy on the main thread.
// The capture conversation lives on the shared I/O thread; decoding runs on
// a private one-thread pool. The delegate is called on the main thread only.

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QVariant>
#include <atomic>
#include <functional>

#include "core/adb/endpoint.h"
#include "core/screen/screencapreader.h"

namespace vf {

class DeviceScreenDatasourceDelegate {
public:
    virtual ~DeviceScreenDatasourceDelegate() = default;
    // Main thread. `screen` is what the image decoder made of the PNG.
    virtual void onScreenUpdate(const QString& deviceId, const QVariant& screen) = 0;
    // Main thread. Monitoring has already stopped.
    virtual void onScreenUpdateFailedWithError(const OptionalError& error, const QString& deviceId) = 0;
};

class DeviceScreenDatasource final : public QObject, private ScreencapReaderDelegate {
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

    QString deviceId() const;
    void setDeviceId(const QString& deviceId);

    // Starts capturing; false takes exactly one capture. Logs "already
    // running" and does nothing while running: a single capture leaves the
    // source running until stopMonitoring().
    void startMonitoring(bool autoRefresh);
    // No new capture starts; a screenshot in flight is dropped.
    void stopMonitoring();

    bool isRunning() const { return isRunning_.load(); }
    bool autoRefresh() const { return autoRefresh_.load(); }
    Stats stats() const;

private:
    void internalStartMonitoring(quint64 run);
    // ScreencapReaderDelegate (I/O thread).
    void screencapFinished(const QByteArray& data, const AdbResult& result) override;
    void screencapReceived(const QByteArray& data);
    void screenapFailedWithError(const OptionalError& error);
    void decodePending();
    void deliver(quint64 run, const QVariant& image);

    const AdbEndpoint endpoint_;
    DeviceScreenDatasourceDelegate* delegate_ = nullptr;
    ScreencapReader* screencapReader_ = nullptr;  // I/O thread only
    QThreadPool decoder_;
    std::atomic<bool> isRunning_{false};
    std::atomic<bool> autoRefresh_{true};
    std::atomic<quint64> run_{0};  // changes at every start and stop

    mutable QMutex mutex_;  // guards the fields below
    QString deviceId_;
    ImageDecoder decode_;
    QByteArray pending_;      // newest capture waiting for the decoder
    quint64 pendingRun_ = 0;
    bool decoding_ = false;   // a decode task is queued or running
    Stats stats_;
};

}  // namespace vf
