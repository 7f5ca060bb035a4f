#include "cli/screencommands.h"

#include <QSaveFile>

#include "cli/rowwriter.h"
#include "core/adb/replyframing.h"
#include "core/screen/screenfacts.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {
constexpr char kPrefix[] = "vellumfox-cli: ";
}  // namespace

ScreenCommand::ScreenCommand(const CliOptions& options, AdbEndpoint endpoint, std::ostream& out, std::ostream& err,
                             bool stdoutIsTerminal)
    : options_(options), endpoint_(std::move(endpoint)), out_(out), err_(err), stdoutIsTerminal_(stdoutIsTerminal) {}

int ScreenCommand::run() {
    if (options_.command == Command::Screenshot) {
        if (options_.output == u"-" && stdoutIsTerminal_) {
            err_ << kPrefix << "not writing a PNG to a terminal: redirect standard output, or give -o FILE.png\n";
            return kExitUsage;
        }
        auto* reader = new ScreencapReader(endpoint_, this);
        reader->setDeviceId(options_.serial);
        reader->setDisplayId(options_.display);
        reader->setDelegate(this);
        reader->start();
    } else {
        auto* reader = new ShellCommandReader(endpoint_, QString::fromLatin1(kDisplayListingRequest),
                                              ShellCommandReader::kDefaultMaxBytes, this);
        reader->setDeviceId(options_.serial);
        reader->setDelegate(this);
        reader->setReplyTimeout(kReplyTimeoutSeconds);
        reader->start();
    }
    if (!done_) loop_.exec();
    return status_;
}

bool ScreenCommand::reportFailure(const AdbResult& result) {
    switch (result.outcome) {
        case AdbOutcome::Done: return false;
        case AdbOutcome::AdbNotRunning:
            err_ << kPrefix << "no ADB server at " << endpoint_.display().toStdString() << " (start it with \"adb start-server\")\n";
            break;
        case AdbOutcome::Refused:
            // The server's own words: "device 'X' not found", "more than one device/emulator".
            err_ << kPrefix << (result.error ? result.error->description : u"refused"_s).toStdString() << '\n';
            break;
        case AdbOutcome::Stopped:
        case AdbOutcome::UnexpectedReply:
            err_ << kPrefix << (result.error ? result.error->description : QString::fromLatin1(kUnexpectedReplyText)).toStdString() << '\n';
            break;
    }
    finish(kExitFailure);
    return true;
}

void ScreenCommand::screencapFinished(const QByteArray& data, const AdbResult& result) {
    if (reportFailure(result)) return;
    const QByteArray png = ScreencapReader::createImageFromData(data);
    if (ScreencapReader::pngStart(png) != 0) {
        // What screencap says without an image ("Display Id 'X' is not
        // valid.") ends with the stream, before any whole read: not kept.
        err_ << kPrefix << "the device sent no image"
             << (options_.display.isEmpty() ? "" : " (is the display one that \"vellumfox-cli displays\" lists?)") << '\n';
        return finish(kExitFailure);
    }
    finish(writePng(png));
}

int ScreenCommand::writePng(const QByteArray& png) {
    if (options_.output == u"-") {
        out_.write(png.constData(), png.size());
        out_.flush();
        return out_ ? kExitOk : kExitFailure;
    }
    QSaveFile file(options_.output);
    if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.commit()) {
        err_ << kPrefix << "cannot write " << options_.output.toStdString() << ": " << file.errorString().toStdString() << '\n';
        return kExitFailure;
    }
    return kExitOk;
}

void ScreenCommand::shellCommandFinished(const QString& /*deviceId*/, const QByteArray& output, const AdbResult& result) {
    if (reportFailure(result)) return;
    printDisplays(output);
    finish(kExitOk);
}

void ScreenCommand::printDisplays(const QByteArray& listing) {
    const QList<DisplayInfo> displays = parseDisplayListing(listing);
    if (displays.isEmpty())
        err_ << kPrefix << "the device lists no displays (one screen, or Android before 10): screenshot needs no -d\n";
    for (const DisplayInfo& display : displays) {
        std::string line;
        if (options_.format == OutputFormat::Json) {
            line = "{\"id\":";
            appendJsonString(line, display.id.toStdString());
            line += ",\"hwc\":" + std::to_string(display.hwcIndex) + ",\"name\":";
            appendJsonString(line, displayLabel(display).toStdString());
            line += "}\n";
        } else {
            line = QString(display.id + u'\t' + displayLabel(display)).toStdString() + '\n';
        }
        out_ << line;
    }
    out_.flush();
}

void ScreenCommand::finish(int status) {
    done_ = true;
    status_ = status;
    loop_.quit();
}

}  // namespace vf::cli
