#include "core/adb/pidreader.h"

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
            readToLength(hexDataToInteger(data), kFailMessage);
            break;
        case kFailMessage:
            break;
        case kTransportStatus:
            if (isOkay(data)) {
                loadPids();
            } else {
                logNotOkay(data);
                stop();
            }
            break;
        case kCommandStatus:
            if (isOkay(data)) {
                readWithTag(kLine);
            } else {
                logNotOkay(data);
                stop();
            }
            break;
        case kLine:
            resultData_.append(data);
            readWithTag(kLine);
            break;
        default:
            stop();
            logUnknownTag(tag);
    }
}

void PidReader::socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) {
    AdbSocket::socketDidDisconnect(socket, error);
    if (delegate_ == nullptr || reported_) return;
    reported_ = true;
    // Refused, failed or undecodable output reaches the store as an empty
    // text: the lookup still ends there.
    delegate_->pidReceived(stringFromData(resultData_).value_or(QString()));
    resultData_.clear();
}

}  // namespace vf
