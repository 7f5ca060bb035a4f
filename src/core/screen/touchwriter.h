#pragma once
// TouchWriter: taps and swipes on a device through "input tap" and "input
// swipe". Gestures wait in a queue taken from its end (the newest first);
// each connection carries exactly one gesture, and the next waiting gesture
// goes on a new connection once the previous one has ended.
//
// Threads: a conversation (see core/adb/adbsocket.h) living on its owner's
// chosen thread; sendTouchForPoint and sendSwipeFrom may be called from any
// thread and are queued to that thread. Each connection ends in its own
// finished(), which only starts the next gesture: nothing is reported back.

#include <QList>
#include <QPointF>
#include <QString>

#include "core/adb/adbsocket.h"

namespace vf {

// One gesture in device pixels.
struct PointWrapper {
    bool isSwipe = false;
    QPointF point;      // the tap, or where the swipe starts
    QPointF destPoint;  // where the swipe ends; zero for a tap

    static PointWrapper tap(QPointF p) { return {false, p, {}}; }
    static PointWrapper swipe(QPointF from, QPointF to) { return {true, from, to}; }
};

class TouchWriter final : public AdbSocket {
    Q_OBJECT
public:
    // Every swipe lasts this long on the device, whatever its length.
    static constexpr int kSwipeMillis = 100;

    explicit TouchWriter(const AdbEndpoint& endpoint, QObject* parent = nullptr)
        : AdbSocket(endpoint, parent) {}

    // Any thread.
    void sendTouchForPoint(QPointF point);
    void sendSwipeFrom(QPointF from, QPointF to);

    // The display, as input counts them, that gestures go to (empty: the
    // default display). The writer's thread.
    void setInputDisplay(const QString& inputDisplay) { inputDisplay_ = inputDisplay; }

    // The shell request of a gesture, coordinates rounded ("%.0f"), on
    // `inputDisplay` (see inputCommandPrefix). Pure.
    static QString commandFor(const PointWrapper& item, const QString& inputDisplay = {});

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    void connected() override;
    void finished(const AdbResult& result) override;
    void enqueue(const PointWrapper& item);
    void processTouchEvent(const PointWrapper& item);

    QList<PointWrapper> pointQueue_;  // writer's thread only
    QString inputDisplay_;
    bool tookGesture_ = false;  // the current connection has taken its gesture
};

}  // namespace vf
