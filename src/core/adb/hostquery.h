#pragma once
// HostQuery: one request that the ADB server answers itself, without a
// device: "host:devices", "host:version", "host:connect:HOST:PORT",
// "host:pair:...", "host:mdns:services". The server replies "OKAY" and a
// length-prefixed text, or "FAIL" and its message; either way the delegate
// hears once how it went.
//
// Threads: a conversation (see core/adb/adbsocket.h).

#include <QString>
#include <functional>

#include "core/adb/adbsocket.h"

namespace vf {

class HostQueryDelegate {
public:
    virtual ~HostQueryDelegate() = default;
    // Once per start(): the request, the text that followed "OKAY" (empty
    // when the request failed: see `result`), and how it ended.
    virtual void hostQueryFinished(const QString& request, const QByteArray& reply, const AdbResult& result) = 0;
};

class HostQuery final : public AdbSocket {
    Q_OBJECT
public:
    // `request` is the whole service request, e.g. "host:devices". Replies
    // are awaited kReplyTimeoutSeconds unless setReplyTimeout() says else.
    HostQuery(const AdbEndpoint& endpoint, QString request, QObject* parent = nullptr);

    QString request() const { return request_; }
    // Not owned; set before start().
    void setDelegate(HostQueryDelegate* delegate) { delegate_ = delegate; }
    // Every read waits at most `seconds` (<= 0: for ever). Before start().
    using AdbSocket::setReplyTimeout;

    void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) override;

private:
    void connected() override;
    void finished(const AdbResult& result) override;

    const QString request_;
    HostQueryDelegate* delegate_ = nullptr;
    QByteArray reply_;
};

// One request with its answer handed to `done` (once, on the calling
// thread, which runs an event loop): the conversation is a child of
// `context`, goes away after `done` has run, and with `context` before then
// (`done` is then never called). `timeoutSeconds` <= 0: the usual reply
// timeout.
using HostQueryDone = std::function<void(const QByteArray& reply, const AdbResult& result)>;
void startHostQuery(const AdbEndpoint& endpoint, const QString& request, QObject* context, HostQueryDone done,
                    double timeoutSeconds = -1.0);

}  // namespace vf
