#pragma once
// The simulated device's state that outlives connections: its properties,
// processes, log buffer, the last touch and the input record.

#include <QByteArray>
#include <QObject>
#include <QPointF>
#include <QString>
#include <optional>

#include "devicelog.h"
#include "options.h"
#include "processes.h"

namespace vf::sim {

class Device final : public QObject {
    Q_OBJECT
public:
    explicit Device(const Options& options, QObject* parent = nullptr);

    const Options& options() const { return options_; }
    ProcessTable& processes() { return processes_; }
    DeviceLog& log() { return log_; }

    // Loads the log file and starts the device's clock. Returns false (with
    // `error`) when the file cannot be read.
    bool start(QString& error);

    // The text of /system/build.prop.
    QByteArray buildProp() const;
    // "getprop" with no name lists all in "[name]: [value]" form.
    QByteArray getprop(const QString& name) const;

    // The banner of the connection message: "device::ro.product.name=...;".
    QByteArray banner() const;

    // Runs one "input ..." command: records it and moves the touch marker.
    // Returns the command's output (empty when it succeeded).
    QByteArray input(const QStringList& argv, const QString& commandLine);
    // Appends a command line to the --record file, when there is one.
    void record(const QString& commandLine);

    // A PNG of display `display` (0: the main one): model name, clock and
    // the last touch; all black with --secure-window.
    QByteArray screenshot(int display = 0) const;
    // The size of a display: the others are smaller than the main one.
    QSize displaySize(int display) const;
    // The id "screencap -d" takes for a display.
    static QString displayId(int display);
    // "dumpsys SurfaceFlinger --display-id".
    QByteArray displayListing() const;
    // How input numbers display `display` ("input -d"): 0, then 2, 3 ...
    static int inputDisplay(int display);
    // "dumpsys display": each display's input number beside its id.
    QByteArray displayDump() const;

private:
    QList<QPair<QString, QString>> properties() const;

    Options options_;
    ProcessTable processes_;
    DeviceLog log_;
    std::optional<QPointF> lastTouch_;
};

}  // namespace vf::sim
