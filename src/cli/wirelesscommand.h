#pragma once
// "connect", "disconnect" and "pair": devices on the network, through the
// ADB server's own requests. Each prints what the server's answer means on
// standard output (or, when it failed, on standard error).
//
// Main thread; run() spins a local event loop until the request ends.

#include <QEventLoop>
#include <QObject>
#include <ostream>

#include "cli/options.h"
#include "core/adb/endpoint.h"
#include "core/adb/hostquery.h"

namespace vf::cli {

class WirelessCommand final : public QObject, private HostQueryDelegate {
    Q_OBJECT
public:
    WirelessCommand(const CliOptions& options, AdbEndpoint endpoint, std::ostream& out, std::ostream& err);

    int run();

private:
    void hostQueryFinished(const QString& request, const QByteArray& reply, const AdbResult& result) override;

    const CliOptions& options_;
    const AdbEndpoint endpoint_;
    std::ostream& out_;
    std::ostream& err_;
    int status_ = kExitOk;
    bool done_ = false;
    QEventLoop loop_;
};

// The help pages of the three commands, by name; empty for other names.
QString wirelessHelpText(const QString& topic);

}  // namespace vf::cli
