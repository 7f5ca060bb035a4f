#include "core/screen/touchwriter.h"

#include <utility>

#include "core/screen/screenfacts.h"
#include "core/support/logger.h"

namespace vf {

using namespace Qt::StringLiterals;

namespace {
enum Tag : long { kTransportStatus = 0, kCommandStatus = 4 };
}  // namespace

QString TouchWriter::commandFor(const PointWrapper& item, const QString& inputDisplay) {
    const QString prefix = inputCommandPrefix(inputDisplay);
    if (!item.isSwipe) return prefix + QString::asprintf("tap %.0f %.0f", item.point.x(), item.point.y());
    return prefix + QString::asprintf("swipe %.0f %.0f %.0f %.0f %d", item.point.x(), item.point.y(),
                                      item.destPoint.x(), item.destPoint.y(), kSwipeMillis);
}

void TouchWriter::sendTouchForPoint(QPointF point) {
    VF_LOG("----- adb shell input tap {:.0f} {:.0f}", point.x(), point.y());
    const PointWrapper item = PointWrapper::tap(point);
    QMetaObject::invokeMethod(this, [this, item] { enqueue(item); });
}

void TouchWriter::sendSwipeFrom(QPointF from, QPointF to) {
    VF_LOG("----- shell:input swipe {:.0f} {:.0f} {:.0f} {:.0f} {}", from.x(), from.y(), to.x(), to.y(),
           kSwipeMillis);
    const PointWrapper item = PointWrapper::swipe(from, to);
    QMetaObject::invokeMethod(this, [this, item] { enqueue(item); });
}

void TouchWriter::enqueue(const PointWrapper& item) {
    pointQueue_.append(item);
    // A connection under way takes the newest gesture when the device is
    // bound; the others follow one connection each (socketDidDisconnect).
    if (!isConnected()) start();
}

void TouchWriter::connected() {
    tookGesture_ = false;
    sendDeviceId(kTransportStatus);
}

void TouchWriter::processTouchEvent(const PointWrapper& item) {
    const QString command = commandFor(item, inputDisplay_);
    VF_LOG("Sending: {}", command);
    sendExpectOkay(command, kCommandStatus);
}

void TouchWriter::socketDidReadData(AsyncSocket* /*socket*/, const QByteArray& data, long tag) {
    switch (tag) {
        case kTransportStatus:
            if (takeOkay(data) && !pointQueue_.isEmpty()) {
                tookGesture_ = true;
                processTouchEvent(pointQueue_.takeLast());
            }
            break;
        case kCommandStatus:
            (void)takeOkay(data);  // a refusal is logged; the gesture is gone
            break;
        default:
            logUnknownTag(tag);
    }
}

void TouchWriter::finished(const AdbResult& /*result*/) {
    VF_LOG("socketDidDisconnect");
    // Gestures that waited behind this one each get a connection; after a
    // failure they wait for the next gesture, so a dead server is not hammered.
    if (std::exchange(tookGesture_, false) && !pointQueue_.isEmpty()) start();
}

}  // namespace vf
