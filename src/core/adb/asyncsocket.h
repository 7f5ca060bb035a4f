#pragma once
// AsyncSocket: the small asynchronous TCP socket under every ADB
// conversation. Reads and writes are queued and performed strictly in order,
// even when issued before the connection is up. A read completes when exactly
// N bytes, or the bytes up to and including a delimiter, have arrived,
// whatever the TCP segmentation. Callbacks arrive one at a time on the thread
// that created the socket (it must run a Qt event loop).
//
// Threads: every member except isConnected() must be called on the socket's
// own thread. The delegate is not owned; it must outlive the
// socket or be detached with setDelegate(nullptr) first, after which it is
// never called again.

#include <QByteArray>
#include <QByteArrayView>
#include <QObject>
#include <QString>
#include <atomic>
#include <deque>

#include "core/support/error.h"

class QTcpSocket;
class QTimer;

namespace vf {

class AsyncSocket;

class AsyncSocketDelegate {
public:
    virtual ~AsyncSocketDelegate() = default;
    virtual void socketDidConnect(AsyncSocket* socket) = 0;
    // One queued read completed; `data` is the read's bytes.
    virtual void socketDidReadData(AsyncSocket* socket, const QByteArray& data, long tag) = 0;
    // One queued write went out completely.
    virtual void socketDidWriteData(AsyncSocket* socket, long tag) {
        (void)socket;
        (void)tag;
    }
    // The connection closed (either side) or could not be made. Reported
    // exactly once per socket, never from inside a call into the socket.
    virtual void socketDidDisconnect(AsyncSocket* socket, const OptionalError& error) = 0;
};

// Code of the error reported when a read with a timeout expires.
inline constexpr int kReadTimeoutCode = ETIMEDOUT;

class AsyncSocket final : public QObject {
    Q_OBJECT
public:
    // Socket thread = the calling thread.
    explicit AsyncSocket(AsyncSocketDelegate* delegate, QObject* parent = nullptr);
    ~AsyncSocket() override;
    AsyncSocket(const AsyncSocket&) = delete;
    AsyncSocket& operator=(const AsyncSocket&) = delete;

    // Socket thread. Detaching (nullptr) is final for the pending callbacks:
    // nothing already queued reaches the old delegate.
    void setDelegate(AsyncSocketDelegate* delegate);
    AsyncSocketDelegate* delegate() const { return delegate_; }

    // Starts connecting; the outcome arrives as socketDidConnect or
    // socketDidDisconnect. Returns false with *error set when the request
    // cannot even start (no delegate, empty host, already used).
    bool connectToHost(const QString& host, quint16 port, Error* error = nullptr);

    // Queues bytes for sending. `timeout` is accepted for symmetry with reads
    // and not used: writes wait for ever.
    void writeData(const QByteArray& bytes, double timeout, long tag);
    // Queues a read of exactly `length` bytes. A zero-length read never
    // completes (and holds up the reads queued after it). A positive
    // `timeout` (seconds) disconnects with kReadTimeoutCode when the read has
    // not completed in time; zero or negative waits for ever.
    void readDataToLength(qsizetype length, double timeout, long tag);
    // Queues a read up to and including `delimiter` (non-empty). With a
    // positive `maxLength`, a read that has gathered that many bytes without
    // the delimiter completes with exactly those bytes (so the data does not
    // end with the delimiter: the reader can tell it was cut), and the rest
    // of that delimited record is dropped as it arrives, up to and including
    // its delimiter. The next read starts after it. Memory stays bounded by
    // `maxLength` whatever the peer sends.
    void readDataToData(const QByteArray& delimiter, double timeout, long tag, qsizetype maxLength = 0);
    // Queues a read that a stream parser frames. `framer` is given the bytes
    // received for this read so far and returns the length of the complete
    // record at their front (> 0), 0 while more is needed, or a negative
    // value when they can no longer begin a record: the read then completes
    // at once with what has arrived, for the caller to reject.
    using Framer = qsizetype (*)(QByteArrayView bytes);
    void readFramed(Framer framer, double timeout, long tag);

    // Bytes that arrive while no read is queued wait in a buffer; a peer
    // that sends more than 8 MiB of them is disconnected with EMSGSIZE.

    // Closes at once, dropping pending reads and writes. The disconnect is
    // reported later, once.
    void disconnect();
    // Any thread.
    bool isConnected() const { return connected_.load(); }
    // Socket thread. True once the peer closed the connection while an
    // exact-length or framed read still waited for bytes (a reply cut short).
    bool endedMidRead() const { return endedMidRead_; }

    // Detaches the delegate and lets a live connection end on its own (the
    // peer closes it; pending writes still go out, incoming bytes are
    // dropped), then deletes itself. Sockets that are not connected, or whose
    // peer keeps them open for longer than a grace period, are aborted.
    // Socket thread. The caller must not use the pointer afterwards.
    void dispose();

    static QByteArray LFData() { return QByteArrayLiteral("\n"); }

private:
    struct Read {
        qsizetype length = 0;  // exact-length read when delimiter is empty
        QByteArray delimiter;
        qsizetype maxLength = 0;  // delimiter reads: cut at this many bytes (0: no limit)
        Framer framer = nullptr;  // framed reads
        double timeout = -1.0;
        long tag = 0;
    };
    struct Write {
        qsizetype remaining = 0;
        long tag = 0;
    };

    void onConnected();
    void onReadyRead();
    void onBytesWritten(qint64 bytes);
    void onSocketError();
    void onSocketClosed();
    void onReadTimeout();

    void pumpReads();
    bool takeCompletedRead(QByteArray* data, long* tag);
    bool skipCutRecord();
    void armReadTimer();
    void closeWithError(const OptionalError& error);
    void scheduleDisconnectReport();
    void doDisconnect();
    void sendToPeer(const QByteArray& bytes);

    AsyncSocketDelegate* delegate_ = nullptr;
    QTcpSocket* socket_ = nullptr;
    QTimer* readTimer_ = nullptr;
    std::deque<Read> reads_;
    std::deque<Write> writes_;
    QByteArray pendingOut_;   // written before the connection was up
    QByteArray buffer_;       // received, not yet handed out (from bufferPos_)
    qsizetype bufferPos_ = 0;
    qsizetype searchFrom_ = 0;  // delimiter search resumes here (head read)
    QByteArray skipTo_;         // after a cut read: drop bytes through this delimiter
    OptionalError closeError_;
    std::atomic<bool> connected_{false};
    bool started_ = false;
    bool connectedOnce_ = false;
    bool closed_ = false;          // no more I/O: reads drain from the buffer only
    bool reported_ = false;        // socketDidDisconnect scheduled or sent
    bool pumping_ = false;
    bool endedMidRead_ = false;
    bool disposing_ = false;
};

}  // namespace vf
