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
            if (const auto length = checkLength(data)) readToLength(*length, kFailMessage);
            break;
        case kFailMessage:
            break;
        case kTransportStatus:
        case kCommandStatus:
            if (!checkStatus(data)) {
                // A FAIL (logged) or a broken status (already reported).
                if (!replyFailed()) logNotOkay(data);
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
            // A runaway output is cut: the lines read so far still arrive.
            if (output_.size() >= maxBytes_) {
                VF_LOG("output of {} cut after {} bytes", command_, output_.size());
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
    // A broken reply was already reported through adbReplyFailed().
    if (replyFailed()) return;
    report(std::exchange(output_, {}), std::nullopt);
}

void ShellCommandReader::adbReplyFailed(const Error& error) {
    AdbSocket::adbReplyFailed(error);
    output_.clear();
    report({}, error);
}

void ShellCommandReader::report(const QByteArray& output, const OptionalError& failure) {
    if (delegate_ == nullptr || reported_) return;
    reported_ = true;
    delegate_->shellCommandEnded(deviceId(), output, failure);
}

}  // namespace vf
