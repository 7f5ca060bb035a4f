#pragma once
// DeviceClockProbe: measures how far a device's clock runs from the host's,
// once, by asking the device for its time ("date +%s.%N") and taking the
// host's clock before the request and after the reply. What several devices'
// rows are put on one time line by.
//
// Main thread (or any thread with an event loop: its conversation runs on
// the thread that calls measure()). The callback is called once per
// measure(), with nullopt when the device did not answer in that form; a
// destroyed probe calls nothing.

#include <QObject>
#include <QPointer>
#include <functional>
#include <optional>

#include "core/adb/endpoint.h"
#include "core/adb/shellcommandreader.h"

namespace vf {

class DeviceClockProbe final : public QObject, private ShellCommandDelegate {
    Q_OBJECT
public:
    using Done = std::function<void(std::optional<int64_t> offsetMs)>;

    explicit DeviceClockProbe(QObject* parent = nullptr);
    ~DeviceClockProbe() override;

    // Measures `deviceId`'s clock through `endpoint`; a measurement still
    // under way is dropped (its callback is not called).
    void measure(const AdbEndpoint& endpoint, const QString& deviceId, Done done);

private:
    void shellCommandFinished(const QString& deviceId, const QByteArray& output, const AdbResult& result) override;

    QPointer<ShellCommandReader> reader_;
    Done done_;
    qint64 sentMs_ = 0;
};

}  // namespace vf
