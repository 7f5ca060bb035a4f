#pragma once
// AdbSocket: the base of every conversation with the ADB server. It opens the
// connection (to the endpoint it is given), frames requests,
// recognises "OKAY", decodes hexadecimal lengths and turns the two
// connection-level failures (no server, no device) into virtual calls that
// the concrete conversations extend.
//
// A conversation lives on the thread that calls connect(); every socket
// callback, and so every report to its delegate, arrives there, one at a
// time. Create it on that thread too (or moveToThread() it there before
// connect()), so that its QObject thread is the socket thread. Owners destroy
// a conversation on that thread, or hand it over with deleteLater() (any
// thread; call stop() first when it should end at once). Destroying it
// closes its connection without any further report.

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QString>
#include <atomic>
#include <cstdint>
#include <optional>

#include "core/adb/asyncsocket.h"
#include "core/adb/endpoint.h"
#include "core/support/error.h"

namespace vf {

class AdbSocket : public QObject, public AsyncSocketDelegate {
    Q_OBJECT
public:
    // Talks to the server at `endpoint`.
    explicit AdbSocket(const AdbEndpoint& endpoint, QObject* parent = nullptr);
    ~AdbSocket() override;
    AdbSocket(const AdbSocket&) = delete;
    AdbSocket& operator=(const AdbSocket&) = delete;

    // Opens a new connection on the calling thread, replacing (and silencing)
    // any earlier one.
    void connect();
    // Closes the connection; the subclass still sees its disconnection.
    // Any thread.
    void stop();
    // True while connecting, else whether the socket is connected. Any thread.
    bool isConnected() const;
    bool isConnecting() const { return isConnecting_.load(); }

    // Serial of the device to bind to; empty means any device. Any thread.
    QString deviceId() const;
    void setDeviceId(const QString& deviceId);

    // Wire helpers (pure).
    // A request on the wire: its UTF-8 byte count as "%.4lx", then the UTF-8 bytes.
    static QByteArray frame(const QString& text);
    static bool isOkay(const QByteArray& bytes);
    // nullopt when the bytes are not valid UTF-8.
    static std::optional<QString> stringFromData(const QByteArray& bytes);
    static uint32_t hexStringToInteger(const QString& text);
    static uint32_t hexDataToInteger(const QByteArray& bytes);
    // Leading decimal integer of `text` (white space and a sign allowed), 0 if none.
    static int64_t leadingInteger(const QString& text);
    // An error in the "logReader" domain carrying `message`; logged.
    static Error logReaderError(int code, const QString& message);

    // AsyncSocketDelegate; subclasses call these first and then go on.
    void socketDidConnect(AsyncSocket* socket) override;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) override;

protected:
    // Connection-level failures; subclasses call the base first, then report.
    virtual void adbNotRunningError(const Error& error);
    virtual void adbDeviceNotFound(const Error& error);
    // The server's reply broke the protocol (see core/adb/replyframing.h) or
    // did not come within the reply timeout; the connection is closed.
    // Subclasses call the base first, then report. Reported at most once per
    // connection.
    virtual void adbReplyFailed(const Error& error);

    // Socket thread.
    void send(const QString& text, double timeout, long tag);
    void sendExpectOkay(const QString& text, double timeout, long tag);
    void readWithTag(long tag);
    void readPNGWithTag(long tag);
    void readToLength(qsizetype length, long tag);
    // "host:transport:<serial>" or "host:transport-any", expecting "OKAY".
    void sendDeviceId(long tag);

    // True for "OKAY". Anything but "OKAY" or "FAIL" ends the conversation
    // through adbReplyFailed().
    bool checkStatus(const QByteArray& status);
    // The length of four hex digits, or nullopt after ending the
    // conversation through adbReplyFailed().
    std::optional<uint32_t> checkLength(const QByteArray& digits);
    // Every read of this conversation waits at most `seconds` (<= 0: for ever).
    void setReplyTimeout(double seconds) { replyTimeout_ = seconds; }
    bool replyFailed() const { return replyFailed_; }

    void logNotOkay(const QByteArray& status) const;
    static void logUnknownTag(long tag);

    // The socket of the current attempt (socket thread), may be null.
    AsyncSocket* socket() const { return socket_; }

private:
    void retireSocket(bool graceful);

    mutable QMutex mutex_;            // guards socket_ (for stop/isConnected) and deviceId_
    AsyncSocket* socket_ = nullptr;   // owned; lives on the conversation thread
    QString deviceId_;
    const AdbEndpoint endpoint_;
    std::atomic<bool> isConnecting_{false};
    double replyTimeout_ = -1.0;  // socket thread
    bool replyFailed_ = false;    // socket thread; reset by connect()
};

}  // namespace vf
