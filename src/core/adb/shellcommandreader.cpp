#include "core/adb/shellcommandreader.h"

#include <utility>

#include "core/support/logger.h"

namespace vf {

namespace {
enum Tag : long { kTransportStatus = 2, kCommandStatus = 3, kLine = 4 };
}  // namespace

ShellCommandReader::ShellCommandReader(const AdbEndpoint& endpoint, QString command, qsizetype maxBytes,
                                       QObject* parent)
    : AdbSocket(endpoint, parent), command_(std::move(command)), maxBytes_(maxBytes) {}

void ShellCommandReader::connected() {
    output_.clear();
    sendDeviceId(kTransportStatus);
}

void ShellCommandReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kTransportStatus:
            if (takeOkay(data)) sendExpectOkay(command_, kCommandStatus);
            break;
        case kCommandStatus:
            if (takeOkay(data)) readLine(kLine);
            break;
        case kLine:
            output_.append(data);
            // A runaway output is cut: the lines read so far still arrive.
            if (output_.size() >= maxBytes_) {
                VF_LOG("output of {} cut after {} bytes", command_, output_.size());
                end(AdbOutcome::Done);
                break;
            }
            readLine(kLine);
            break;
        default:
            logUnknownTag(tag);
            end(AdbOutcome::UnexpectedReply);
    }
}

void ShellCommandReader::finished(const AdbResult& result) {
    QByteArray output = std::exchange(output_, {});
    if (result.error) output.clear();  // refused, no server, or broken: nothing to read
    if (delegate_ != nullptr) delegate_->shellCommandFinished(deviceId(), output, result);
}

}  // namespace vf
