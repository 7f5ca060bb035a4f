#pragma once
// "displays" and "screenshot": the device's displays as the remote screen
// lists them, and one screenshot of a display written as a PNG file (or to
// standard output), through the remote screen's own conversations.
//
// Main thread; run() spins a local event loop until the conversation ends.

#include <QByteArray>
#include <QEventLoop>
#include <QObject>
#include <ostream>

#include "cli/options.h"
#include "core/adb/endpoint.h"
#include "core/adb/shellcommandreader.h"
#include "core/screen/screencapreader.h"

namespace vf::cli {

class ScreenCommand final : public QObject, private ScreencapReaderDelegate, private ShellCommandDelegate {
    Q_OBJECT
public:
    // `stdoutIsTerminal`: "-o -" refuses to write a PNG to a terminal.
    ScreenCommand(const CliOptions& options, AdbEndpoint endpoint, std::ostream& out, std::ostream& err,
                  bool stdoutIsTerminal);

    int run();

private:
    void screencapFinished(const QByteArray& data, const AdbResult& result) override;
    void shellCommandFinished(const QString& deviceId, const QByteArray& output, const AdbResult& result) override;

    // The message of a conversation that failed; false when it did not.
    bool reportFailure(const AdbResult& result);
    int writePng(const QByteArray& png);
    void printDisplays(const QByteArray& listing);
    void finish(int status);

    const CliOptions& options_;
    const AdbEndpoint endpoint_;
    std::ostream& out_;
    std::ostream& err_;
    const bool stdoutIsTerminal_;
    int status_ = kExitOk;
    bool done_ = false;
    QEventLoop loop_;
};

}  // namespace vf::cli
