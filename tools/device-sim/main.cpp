// A simulated Android device that the real ADB server adopts as a network
// device, so the viewer can be run and tested without a phone.
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTextStream>

#include <csignal>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "device.h"
#include "options.h"
#include "simulator.h"

#ifndef VF_SAMPLE_LOG
#define VF_SAMPLE_LOG ""
#endif

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int number) {
    const char byte = static_cast<char>(number);
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

// Signals arrive on a pipe so that they are handled in the event loop.
void watchSignals(vf::sim::Simulator& simulator) {
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0) return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &simulator);
    QObject::connect(notifier, &QSocketNotifier::activated, &simulator, [&simulator] {
        char byte = 0;
        if (::read(signalPipe[0], &byte, 1) != 1) return;
        if (byte == SIGUSR1) simulator.unplug();
        else if (byte == SIGUSR2) simulator.replug();
        else QCoreApplication::quit();
    });
    for (int number : {SIGUSR1, SIGUSR2, SIGTERM, SIGINT, SIGHUP}) std::signal(number, onSignal);
}

}  // namespace

int main(int argc, char** argv) {
    // Screenshots are drawn off screen; no display is needed.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTextStream err(stderr);

    QString error;
    std::optional<vf::sim::Options> options = vf::sim::parseOptions(app.arguments().mid(1), error);
    if (app.arguments().contains(QStringLiteral("--help"))) {
        QTextStream(stdout) << vf::sim::usage();
        return 0;
    }
    if (!options) {
        err << "vellumfox-device-sim: " << error << "\n" << vf::sim::usage();
        return 2;
    }
    if (options->exitWithParent) ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (options->logFile.isEmpty()) options->logFile = QString::fromUtf8(VF_SAMPLE_LOG);

    vf::sim::Device device(*options);
    if (!device.start(error)) {
        err << "vellumfox-device-sim: " << error << Qt::endl;
        return 1;
    }
    vf::sim::Simulator simulator(device);
    watchSignals(simulator);
    if (!simulator.listen(error)) {
        err << "vellumfox-device-sim: cannot listen on 127.0.0.1:" << options->port << ": " << error << Qt::endl;
        return 1;
    }
    QTextStream(stdout) << "listening on 127.0.0.1:" << simulator.port() << Qt::endl;
    return app.exec();
}
