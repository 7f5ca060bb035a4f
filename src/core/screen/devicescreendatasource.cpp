#include "core/screen/devicescreendatasource.h"

#include <QElapsedTimer>
#include <utility>

#include "core/adb/replyframing.h"
#include "core/adb/shellcommandreader.h"
#include "core/screen/screencapreader.h"
#include "core/screen/touchwriter.h"
#include "core/screen/typewriter.h"
#include "core/support/logger.h"

namespace vf {

// The capture chain, on the source's I/O thread: one capture after another
// while auto refresh is on, each handed to the source's decoder.
class CaptureWorker final : public QObject, private ScreencapReaderDelegate {
    Q_OBJECT
public:
    CaptureWorker(const AdbEndpoint& endpoint, DeviceScreenDatasource& source)
        : endpoint_(endpoint), source_(source) {}

    void start(quint64 run, const QString& deviceId, const QString& displayId, bool autoRefresh) {
        run_ = run;
        running_ = true;
        autoRefresh_ = autoRefresh;
        delete reader_;  // a reader of an earlier run; silences it
        reader_ = new ScreencapReader(endpoint_, this);
        reader_->setDeviceId(deviceId);
        reader_->setDisplayId(displayId);
        reader_->setDelegate(this);
        reader_->start();
    }
    void stop() { running_ = false; }

    // Runs one shell request on the device; `done` gets its output (empty
    // when it failed) on this thread.
    void runShell(const QString& deviceId, const QString& request, std::function<void(const QByteArray&)> done) {
        auto* reader = new ShellCommandReader(endpoint_, request, ShellCommandReader::kDefaultMaxBytes, this);
        auto* call = new ShellCall(std::move(done), reader);
        reader->setDeviceId(deviceId);
        reader->setDelegate(call);
        reader->setReplyTimeout(kReplyTimeoutSeconds);
        reader->start();
    }

Q_SIGNALS:
    // Nothing was read: monitoring stops.
    void failed(quint64 run, const vf::OptionalError& error);

private:
    // Hands a shell command's output to a function, then lets the reader go.
    // A child of its reader: they go together.
    class ShellCall final : public QObject, public ShellCommandDelegate {
    public:
        ShellCall(std::function<void(const QByteArray&)> done, ShellCommandReader* reader)
            : QObject(reader), done_(std::move(done)), reader_(reader) {}
        void shellCommandFinished(const QString& /*deviceId*/, const QByteArray& output, const AdbResult& result) override {
            done_(result.outcome == AdbOutcome::Done ? output : QByteArray());
            reader_->deleteLater();
        }

    private:
        std::function<void(const QByteArray&)> done_;
        ShellCommandReader* reader_;
    };

    void screencapFinished(const QByteArray& data, const AdbResult& result) override {
        if (!running_) return;
        if (data.isEmpty()) {
            running_ = false;
            Q_EMIT failed(run_, result.error);
            return;
        }
        source_.takeCapture(run_, data);
        // The next capture travels while this one is decoded.
        if (autoRefresh_) reader_->start();
    }

    const AdbEndpoint endpoint_;
    DeviceScreenDatasource& source_;  // outlives this thread
    ScreencapReader* reader_ = nullptr;  // a child
    quint64 run_ = 0;
    bool running_ = false;
    bool autoRefresh_ = true;
};

DeviceScreenDatasource::DeviceScreenDatasource(const AdbEndpoint& endpoint, QObject* parent)
    : QObject(parent), thread_(startOwnedThread(QStringLiteral("vf-screen"))),
      capture_(adoptWorker(*thread_, new CaptureWorker(endpoint, *this))),
      touchWriter_(adoptWorker(*thread_, new TouchWriter(endpoint))),
      typeWriter_(adoptWorker(*thread_, new TypeWriter(endpoint))) {
    // One decoder thread keeps frames in order; a capture that arrives while
    // one is decoding replaces the one still waiting.
    decoder_.setMaxThreadCount(1);
    QObject::connect(capture_, &CaptureWorker::failed, this, &DeviceScreenDatasource::captureFailed);
}

DeviceScreenDatasource::~DeviceScreenDatasource() {
    // The capture thread hands frames to the decoder: it ends first.
    thread_.reset();
    decoder_.waitForDone();
}

void DeviceScreenDatasource::setImageDecoder(ImageDecoder decoder) {
    QMutexLocker lock(&mutex_);
    decode_ = std::move(decoder);
}

void DeviceScreenDatasource::setDeviceId(const QString& deviceId) {
    deviceId_ = deviceId;
    QMetaObject::invokeMethod(touchWriter_, [w = touchWriter_, deviceId] { w->setDeviceId(deviceId); });
    QMetaObject::invokeMethod(typeWriter_, [w = typeWriter_, deviceId] { w->setDeviceId(deviceId); });
}

void DeviceScreenDatasource::setDisplayId(const QString& displayId) {
    VF_ASSERT_THREAD(this);
    displayId_ = displayId;
    const auto useInputDisplay = [touch = touchWriter_, type = typeWriter_](const QString& inputDisplay) {
        touch->setInputDisplay(inputDisplay);
        type->setInputDisplay(inputDisplay);
    };
    QMetaObject::invokeMethod(capture_, [capture = capture_, deviceId = deviceId_, displayId, useInputDisplay] {
        if (displayId.isEmpty()) return useInputDisplay({});
        // The writers live on this thread too.
        capture->runShell(deviceId, QString::fromLatin1(kInputDisplayRequest), [displayId, useInputDisplay](const QByteArray& out) {
            const QString inputDisplay = inputDisplayFor(out, displayId);
            if (inputDisplay.isEmpty()) VF_LOG("no input display for display {}: input goes to the default one", displayId);
            useInputDisplay(inputDisplay);
        });
    });
}

DeviceScreenDatasource::Stats DeviceScreenDatasource::stats() const {
    QMutexLocker lock(&mutex_);
    return stats_;
}

void DeviceScreenDatasource::startMonitoring(bool autoRefresh) {
    VF_ASSERT_THREAD(this);
    if (isRunning_) {
        VF_LOG("already running");
        return;
    }
    isRunning_ = true;
    autoRefresh_ = autoRefresh;
    const quint64 run = ++run_;
    VF_LOG("start monitoring screen");
    QMetaObject::invokeMethod(capture_, [capture = capture_, run, deviceId = deviceId_, displayId = displayId_, autoRefresh] {
        capture->start(run, deviceId, displayId, autoRefresh);
    });
}

void DeviceScreenDatasource::listDisplays() {
    VF_ASSERT_THREAD(this);
    // The source outlives the capture thread, and a call queued to it goes
    // with it.
    QMetaObject::invokeMethod(capture_, [capture = capture_, self = this, deviceId = deviceId_] {
        capture->runShell(deviceId, QString::fromLatin1(kDisplayListingRequest), [self, deviceId](const QByteArray& out) {
            QMetaObject::invokeMethod(self, [self, deviceId, displays = parseDisplayListing(out)] {
                if (self->delegate_ != nullptr) self->delegate_->onDisplaysListed(deviceId, displays);
            });
        });
    });
}

void DeviceScreenDatasource::checkAwake() {
    VF_ASSERT_THREAD(this);
    if (std::exchange(askingAwake_, true)) return;
    QMetaObject::invokeMethod(capture_, [capture = capture_, self = this, deviceId = deviceId_] {
        capture->runShell(deviceId, QString::fromLatin1(kWakefulnessRequest), [self, deviceId](const QByteArray& out) {
            QMetaObject::invokeMethod(self, [self, deviceId, awake = parseWakefulness(out)] {
                self->askingAwake_ = false;
                if (self->delegate_ != nullptr) self->delegate_->onDeviceAwake(deviceId, awake);
            });
        });
    });
}

void DeviceScreenDatasource::stopMonitoring() {
    VF_ASSERT_THREAD(this);
    isRunning_ = false;
    ++run_;
    QMetaObject::invokeMethod(capture_, [capture = capture_] { capture->stop(); });
}

void DeviceScreenDatasource::captureFailed(quint64 run, const OptionalError& error) {
    if (!isRunning_ || run != run_) return;
    stopMonitoring();
    if (delegate_ != nullptr) delegate_->onScreenUpdateFailedWithError(error, deviceId_);
}

void DeviceScreenDatasource::takeCapture(quint64 run, const QByteArray& data) {
    bool startDecoder = false;
    {
        QMutexLocker lock(&mutex_);
        if (!pending_.isEmpty()) ++stats_.dropped;
        pending_ = data;
        pendingRun_ = run;
        startDecoder = !std::exchange(decoding_, true);
    }
    if (startDecoder) decoder_.start([this] { decodePending(); });
}

void DeviceScreenDatasource::decodePending() {
    for (;;) {
        QByteArray data;
        quint64 run = 0;
        ImageDecoder decode;
        {
            QMutexLocker lock(&mutex_);
            if (pending_.isEmpty()) {
                decoding_ = false;
                return;
            }
            data = std::exchange(pending_, QByteArray());
            run = pendingRun_;
            decode = decode_;
        }
        QElapsedTimer timer;
        timer.start();
        const QByteArray png = ScreencapReader::createImageFromData(data);
        QVariant image = decode ? decode(png) : QVariant(png);
        {
            QMutexLocker lock(&mutex_);
            ++stats_.frames;
            stats_.bytes += png.size();
            stats_.decodeNanos += timer.nsecsElapsed();
        }
        QMetaObject::invokeMethod(
            this, [this, run, image = std::move(image)] { deliver(run, image); }, Qt::QueuedConnection);
    }
}

void DeviceScreenDatasource::deliver(quint64 run, const QVariant& image) {
    if (!isRunning_ || run != run_ || delegate_ == nullptr) return;
    delegate_->onScreenUpdate(deviceId_, image);
}

}  // namespace vf

#include "devicescreendatasource.moc"
