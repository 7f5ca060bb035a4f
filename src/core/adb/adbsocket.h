#pragma once
// AdbSocket: the base of every conversation with the ADB server, and the one
// lifecycle they all share. start() opens a connection (to the endpoint the
// conversation was given) and the conversation sends its requests; stop()
// ends it at any point, also while a read waits for a server that never
// answers; and every start() ends in exactly one finished() saying how it
// ended. Statuses ("OKAY", or "FAIL" and its message) and length-prefixed
// payloads are read whole through the parsers of core/adb/replyframing.h: a
// "FAIL" ends the conversation as Refused, a reply that breaks the protocol
// (or is cut short, or late) as UnexpectedReply.
//
// Threads: a conversation lives on one thread, the one it was created on or
// moved to, which runs an event loop. Every member is called there (owners
// elsewhere queue their calls) and every report arrives there, one at a
// time. Destroying it closes its connection without any further report; an
// owner that lets go of it from inside one of its reports uses deleteLater().

#include <QByteArray>
#include <QObject>
#include <QString>
#include <optional>

#include "core/adb/asyncsocket.h"
#include "core/adb/endpoint.h"
#include "core/support/error.h"

namespace vf {

// How a conversation ended.
enum class AdbOutcome {
    Done,             // it ran its course (the server closed, or it had all it needed)
    Stopped,          // stop() ended it
    AdbNotRunning,    // nothing listens at the endpoint
    Refused,          // the server answered "FAIL"; the error carries its message
    UnexpectedReply,  // a reply broke the protocol, was cut short or did not come in time
};

struct AdbResult {
    AdbOutcome outcome = AdbOutcome::Done;
    OptionalError error;  // AdbNotRunning, Refused and UnexpectedReply carry one
};

class AdbSocket : public QObject, public AsyncSocketDelegate {
    Q_OBJECT
public:
    // Talks to the server at `endpoint`.
    explicit AdbSocket(const AdbEndpoint& endpoint, QObject* parent = nullptr);
    ~AdbSocket() override;
    AdbSocket(const AdbSocket&) = delete;
    AdbSocket& operator=(const AdbSocket&) = delete;

    // Opens a new connection; finished() follows once it has ended. A
    // connection still open is closed first, without a report.
    void start();
    // Ends the conversation: finished() follows (Stopped, unless it had
    // ended otherwise already). Nothing happens when it is not running.
    void stop();
    // True from start() until the connection is up or has ended.
    bool isConnecting() const { return isConnecting_; }
    // True while connecting or connected.
    bool isConnected() const;

    // Serial of the device to bind to; empty means any device. Set it before
    // start().
    QString deviceId() const { return deviceId_; }
    void setDeviceId(const QString& deviceId) { deviceId_ = deviceId; }

    // A request on the wire: its UTF-8 byte count as "%.4lx", then the UTF-8
    // bytes. Pure.
    static QByteArray frame(const QString& text);

    // AsyncSocketDelegate.
    void socketDidConnect(AsyncSocket* socket) final;
    void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) final;

protected:
    // The connection is up: send the first request.
    virtual void connected() = 0;
    // Once per start(), after the connection has closed.
    virtual void finished(const AdbResult& result) = 0;

    // Conversation steps, on the conversation's thread.
    void send(const QString& text);
    // Sends a request and reads its status reply, waiting at most `timeout`
    // seconds (<= 0: the reply timeout); the reply arrives with `tag`.
    void sendExpectOkay(const QString& text, long tag, double timeout = -1.0);
    // "host:transport:<serial>" or "host:transport-any", expecting "OKAY".
    void sendDeviceId(long tag);
    // Reads a length-prefixed payload.
    void readPayload(long tag);
    // Reads one line, up to its LF (cut at 1 MiB, see replyframing.h).
    void readLine(long tag);
    // Reads up to and including the next "IEND" (at most 64 MiB).
    void readPng(long tag);
    // Closes this connection and opens another one for the same
    // conversation (finished() comes once, for the last one).
    void reconnect();

    // The status reply read for a sendExpectOkay(): true for "OKAY". Any
    // other reply ends the conversation (Refused or UnexpectedReply).
    bool takeOkay(const QByteArray& reply);
    // The payload read for a readPayload(); nullopt (the conversation ends
    // as UnexpectedReply) when the reply was broken.
    std::optional<QByteArray> takePayload(const QByteArray& reply);
    // Ends the conversation with `outcome` and closes the connection;
    // finished() follows. The first end recorded wins.
    void end(AdbOutcome outcome, const OptionalError& error = std::nullopt);
    // Every read waits at most `seconds` (<= 0: for ever).
    void setReplyTimeout(double seconds) { replyTimeout_ = seconds; }

    static void logUnknownTag(long tag);

private:
    void open();
    void retireSocket(bool graceful);

    AsyncSocket* socket_ = nullptr;  // owned; the connection of the current start
    QString deviceId_;
    const AdbEndpoint endpoint_;
    double replyTimeout_ = -1.0;
    std::optional<AdbResult> ending_;  // how it ends, once known
    bool isConnecting_ = false;
};

}  // namespace vf
