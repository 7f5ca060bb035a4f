#include "core/adb/shellcommandreader.h"

#include "core/support/logger.h"

namespace vf {

namespace {
enum Tag : long { kFailLength = 0, kFailMessage = 1, kTransportStatus = 2, kCommandStatus = 3, kLine = 4 };
}  // namespace

ShellCommandReader::ShellCommandReader(const AdbEndpoint& endpoint, QString command, qsizetype maxBytes,
                                       QObject* parent)
    : AdbSocket(endpoint, parent), command_(std::move(command)), maxBytes_(maxBytes) {}

void ShellCommandReader::socketDidConnect(AsyncSocket* socket) {
    AdbSocket::socketDidConnect(socket);
    sendDeviceId(kTransportStatus);
}

void ShellCommandReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kFailLength:
            readToLength(hexDataToInteger(data), kFailMessage);
            break;
        case kFailMessage:
            break;
        case kTransportStatus:
        case kCommandStatus:
            if (!isOkay(data)) {
                logNotOkay(data);
                stop();
            } else if (tag == kTransportStatus) {
                output_.clear();
                sendExpectOkay(command_, -1.0, kCommandStatus);
            } else {
                readWithTag(kLine);
            }
            break;
        case kLine:
            output_.append(data);
            if (output_.size() > maxBytes_) {
                VF_LOG("output of {} cut at {} bytes", command_, maxBytes_);
                output_.truncate(maxBytes_);
                stop();
                break;
            }
            readWithTag(kLine);
            break;
        default:
            stop();
            logUnknownTag(tag);
    }
}

void ShellCommandReader::socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) {
    AdbSocket::socketDidDisconnect(socket, error);
    if (delegate_ == nullptr || reported_) return;
    reported_ = true;
    const QByteArray output = std::exchange(output_, {});
    delegate_->shellCommandEnded(deviceId(), output);
}

}  // namespace vf
