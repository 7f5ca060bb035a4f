#include "core/adb/pidreader.h"

#include "core/adb/replyframing.h"
#include "core/support/logger.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
enum Tag : long { kFailLength = 0, kFailMessage = 1, kTransportStatus = 2, kCommandStatus = 3, kLine = 4 };
}  // namespace

void PidReader::socketDidConnect(AsyncSocket* socket) {
    AdbSocket::socketDidConnect(socket);
    sendDeviceId(kTransportStatus);
}

void PidReader::loadPids() {
    resultData_.clear();
    sendExpectOkay(u"shell:ps"_s, -1.0, kCommandStatus);
}

void PidReader::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kFailLength:
            if (const auto length = checkLength(data)) readToLength(*length, kFailMessage);
            break;
        case kFailMessage:
            break;
        case kTransportStatus:
            if (checkStatus(data)) {
                loadPids();
            } else {
                logNotOkay(data);
                stop();
            }
            break;
        case kCommandStatus:
            if (checkStatus(data)) {
                readWithTag(kLine);
            } else {
                logNotOkay(data);
                stop();
            }
            break;
        case kLine:
            resultData_.append(data);
            // A runaway table is cut: the rows read so far still name apps.
            if (resultData_.size() >= kMaxCommandOutputBytes) stop();
            else readWithTag(kLine);
            break;
        default:
            stop();
            logUnknownTag(tag);
    }
}

void PidReader::socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) {
    AdbSocket::socketDidDisconnect(socket, error);
    if (resultData_.isEmpty() || delegate_ == nullptr || replyFailed()) return;
    // Undecodable output reaches the store as an empty text, as if nothing
    // matched; it still lets the store finish its pending work.
    delegate_->pidReceived(stringFromData(resultData_).value_or(QString()));
    resultData_.clear();
}

void PidReader::adbReplyFailed(const Error& error) {
    AdbSocket::adbReplyFailed(error);
    if (delegate_ != nullptr) delegate_->pidFailedWithError(error);
}

}  // namespace vf
