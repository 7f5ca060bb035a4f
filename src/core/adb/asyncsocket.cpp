#include "core/adb/asyncsocket.h"

#include <QAbstractSocket>
#include <QPointer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include "core/support/threads.h"

namespace vf {

namespace {

// How long a disposed socket waits for its peer to close before aborting.
constexpr int kDisposeGraceMs = 10000;
// Compact the receive buffer once this much of it has been handed out.
constexpr qsizetype kCompactThreshold = 64 * 1024;
// A peer that keeps sending while nobody reads is cut off past this much.
constexpr qsizetype kMaxUnrequestedBytes = 8 * 1024 * 1024;

Error socketError(int code, const QString& description) {
    Error error;
    error.domain = QString::fromLatin1(kSocketErrorDomain);
    error.code = code;
    error.description = description;
    error.failureReason = description;
    return error;
}

int posixCodeFor(QAbstractSocket::SocketError error) {
    switch (error) {
        case QAbstractSocket::ConnectionRefusedError: return ECONNREFUSED;
        case QAbstractSocket::HostNotFoundError: return EHOSTUNREACH;
        case QAbstractSocket::SocketTimeoutError: return ETIMEDOUT;
        case QAbstractSocket::NetworkError: return ENETDOWN;
        case QAbstractSocket::SocketAccessError: return EACCES;
        case QAbstractSocket::SocketResourceError: return EMFILE;
        case QAbstractSocket::AddressInUseError: return EADDRINUSE;
        default: return EIO;
    }
}

}  // namespace

AsyncSocket::AsyncSocket(AsyncSocketDelegate* delegate, QObject* parent)
    : QObject(parent), delegate_(delegate) {
    socket_ = new QTcpSocket(this);
    readTimer_ = new QTimer(this);
    readTimer_->setSingleShot(true);
    QObject::connect(socket_, &QTcpSocket::connected, this, &AsyncSocket::onConnected);
    QObject::connect(socket_, &QTcpSocket::readyRead, this, &AsyncSocket::onReadyRead);
    QObject::connect(socket_, &QTcpSocket::bytesWritten, this, &AsyncSocket::onBytesWritten);
    QObject::connect(socket_, &QTcpSocket::errorOccurred, this, &AsyncSocket::onSocketError);
    QObject::connect(socket_, &QTcpSocket::disconnected, this, &AsyncSocket::onSocketClosed);
    QObject::connect(readTimer_, &QTimer::timeout, this, &AsyncSocket::onReadTimeout);
}

AsyncSocket::~AsyncSocket() {
    delegate_ = nullptr;
    closed_ = true;
    QObject::disconnect(socket_, nullptr, this, nullptr);
    socket_->abort();
}

void AsyncSocket::setDelegate(AsyncSocketDelegate* delegate) {
    // A finished thread runs no callbacks any more: detaching from elsewhere is safe then.
    Q_ASSERT(QThread::currentThread() == thread() || !thread()->isRunning());
    delegate_ = delegate;
}

bool AsyncSocket::connectToHost(const QString& host, quint16 port, Error* error) {
    VF_ASSERT_THREAD(this);
    QString problem;
    if (delegate_ == nullptr) problem = QStringLiteral("Attempting to connect without a delegate.");
    else if (started_) problem = QStringLiteral("Attempting to connect while connected or connecting.");
    else if (host.isEmpty()) problem = QStringLiteral("Invalid host parameter (empty).");
    if (!problem.isEmpty()) {
        if (error != nullptr) *error = socketError(EINVAL, problem);
        return false;
    }
    started_ = true;
    socket_->connectToHost(host, port);
    return true;
}

void AsyncSocket::writeData(const QByteArray& bytes, double /*timeout*/, long tag) {
    VF_ASSERT_THREAD(this);
    if (closed_ || bytes.isEmpty()) return;
    writes_.push_back(Write{bytes.size(), tag});
    if (connectedOnce_) sendToPeer(bytes);
    else pendingOut_.append(bytes);
}

void AsyncSocket::readDataToLength(qsizetype length, double timeout, long tag) {
    VF_ASSERT_THREAD(this);
    if (reported_) return;
    reads_.push_back(Read{length, {}, 0, nullptr, timeout, tag});
    pumpReads();
}

void AsyncSocket::readFramed(Framer framer, double timeout, long tag) {
    VF_ASSERT_THREAD(this);
    if (reported_ || framer == nullptr) return;
    reads_.push_back(Read{0, {}, 0, framer, timeout, tag});
    pumpReads();
}

void AsyncSocket::readDataToData(const QByteArray& delimiter, double timeout, long tag, qsizetype maxLength) {
    VF_ASSERT_THREAD(this);
    if (reported_ || delimiter.isEmpty()) return;
    reads_.push_back(Read{0, delimiter, qMax<qsizetype>(0, maxLength), nullptr, timeout, tag});
    pumpReads();
}

void AsyncSocket::disconnect() {
    VF_ASSERT_THREAD(this);
    doDisconnect();
}

void AsyncSocket::dispose() {
    VF_ASSERT_THREAD(this);
    delegate_ = nullptr;
    disposing_ = true;
    reads_.clear();
    readTimer_->stop();
    if (!connected_.load() || closed_) {
        doDisconnect();
        return;
    }
    QTimer::singleShot(kDisposeGraceMs, this, [this] { doDisconnect(); });
}

void AsyncSocket::doDisconnect() {
    if (closed_) {
        if (disposing_) deleteLater();
        return;
    }
    closed_ = true;
    connected_.store(false);
    reads_.clear();
    writes_.clear();
    pendingOut_.clear();
    readTimer_->stop();
    socket_->abort();
    scheduleDisconnectReport();
    if (disposing_) deleteLater();
}

void AsyncSocket::onConnected() {
    if (closed_) return;
    connectedOnce_ = true;
    connected_.store(true);
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (!pendingOut_.isEmpty()) {
        sendToPeer(pendingOut_);
        pendingOut_.clear();
    }
    if (delegate_ != nullptr) delegate_->socketDidConnect(this);
    if (!closed_) pumpReads();  // a read may wait on nothing more than the connection
}

void AsyncSocket::sendToPeer(const QByteArray& bytes) { socket_->write(bytes); }

void AsyncSocket::onReadyRead() {
    if (closed_) return;
    const QByteArray incoming = socket_->readAll();
    if (disposing_) return;  // nobody wants it any more
    buffer_.append(incoming);
    pumpReads();
    if (!closed_ && reads_.empty() && buffer_.size() - bufferPos_ > kMaxUnrequestedBytes)
        closeWithError(socketError(EMSGSIZE, QStringLiteral("The peer sent more than was asked for")));
}

void AsyncSocket::onBytesWritten(qint64 bytes) {
    while (bytes > 0 && !writes_.empty()) {
        Write& head = writes_.front();
        const qsizetype used = qMin<qsizetype>(head.remaining, bytes);
        head.remaining -= used;
        bytes -= used;
        if (head.remaining > 0) break;
        const long tag = head.tag;
        writes_.pop_front();
        if (delegate_ != nullptr) delegate_->socketDidWriteData(this, tag);
        if (closed_) return;
    }
}

void AsyncSocket::onSocketError() {
    const QAbstractSocket::SocketError code = socket_->error();
    if (code == QAbstractSocket::RemoteHostClosedError) {
        onSocketClosed();
        return;
    }
    closeWithError(socketError(posixCodeFor(code), socket_->errorString()));
}

void AsyncSocket::onSocketClosed() { closeWithError(std::nullopt); }

void AsyncSocket::onReadTimeout() {
    closeWithError(socketError(kReadTimeoutCode, QStringLiteral("Read operation timed out")));
}

// The peer or the network ended the connection: hand out what the buffered
// bytes can still satisfy (the delegate may queue further reads from inside
// its callbacks), then report the end once.
void AsyncSocket::closeWithError(const OptionalError& error) {
    if (closed_) return;
    if (!disposing_ && socket_->bytesAvailable() > 0) buffer_.append(socket_->readAll());
    closed_ = true;
    connected_.store(false);
    closeError_ = error;
    writes_.clear();
    pendingOut_.clear();
    readTimer_->stop();
    pumpReads();
    endedMidRead_ = !reads_.empty() && reads_.front().delimiter.isEmpty() &&
                    (reads_.front().length > 0 || reads_.front().framer != nullptr);
    reads_.clear();
    scheduleDisconnectReport();
    if (disposing_) deleteLater();
}

void AsyncSocket::scheduleDisconnectReport() {
    if (reported_) return;
    reported_ = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            AsyncSocketDelegate* target = delegate_;
            if (target != nullptr) target->socketDidDisconnect(this, closeError_);
        },
        Qt::QueuedConnection);
}

// Completes queued reads, head first, for as long as the buffer allows. Not
// re-entered: reads queued from inside a callback are picked up by the loop.
void AsyncSocket::pumpReads() {
    if (pumping_) return;
    pumping_ = true;
    QPointer<AsyncSocket> guard(this);
    QByteArray data;
    long tag = 0;
    while (takeCompletedRead(&data, &tag)) {
        if (delegate_ != nullptr) delegate_->socketDidReadData(this, data, tag);
        if (guard.isNull()) return;
        if (delegate_ == nullptr || (closed_ && reads_.empty())) break;
    }
    pumping_ = false;
    if (bufferPos_ >= kCompactThreshold || (bufferPos_ > 0 && bufferPos_ == buffer_.size())) {
        buffer_.remove(0, bufferPos_);
        searchFrom_ = qMax<qsizetype>(0, searchFrom_ - bufferPos_);
        bufferPos_ = 0;
    }
    armReadTimer();
}

// Drops the remainder of a record that a bounded read cut; true once its
// delimiter has gone by.
bool AsyncSocket::skipCutRecord() {
    if (skipTo_.isEmpty()) return true;
    // A delimiter may straddle the cut: search from just before it.
    const qsizetype found = buffer_.indexOf(skipTo_, qMax<qsizetype>(0, bufferPos_ - skipTo_.size() + 1));
    if (found >= 0) {
        bufferPos_ = found + skipTo_.size();
        skipTo_.clear();
        return true;
    }
    // Keep only what could be the start of the delimiter.
    bufferPos_ = qMax(bufferPos_, buffer_.size() - skipTo_.size() + 1);
    return false;
}

bool AsyncSocket::takeCompletedRead(QByteArray* data, long* tag) {
    if (!skipCutRecord()) return false;
    if (reads_.empty()) return false;
    if (!closed_ && !connectedOnce_) return false;
    const Read& head = reads_.front();
    const qsizetype available = buffer_.size() - bufferPos_;
    qsizetype take = 0;
    if (head.framer != nullptr) {
        take = head.framer(QByteArrayView(buffer_).sliced(bufferPos_));
        if (take == 0) return false;
        if (take < 0 || take > available) take = available;
    } else if (head.delimiter.isEmpty()) {
        if (head.length <= 0 || available < head.length) return false;
        take = head.length;
    } else {
        const qsizetype from = qMax(searchFrom_, bufferPos_);
        const qsizetype found = buffer_.indexOf(head.delimiter, from);
        take = found < 0 ? -1 : found + head.delimiter.size() - bufferPos_;
        if (head.maxLength > 0 && (found < 0 ? available : take) > head.maxLength) {
            take = head.maxLength;
            skipTo_ = head.delimiter;  // the rest of this record goes unread
        } else if (found < 0) {
            searchFrom_ = qMax(bufferPos_, buffer_.size() - head.delimiter.size() + 1);
            return false;
        }
    }
    *data = buffer_.mid(bufferPos_, take);
    *tag = head.tag;
    bufferPos_ += take;
    searchFrom_ = bufferPos_;
    reads_.pop_front();
    readTimer_->stop();
    return true;
}

void AsyncSocket::armReadTimer() {
    if (closed_ || reads_.empty() || readTimer_->isActive()) return;
    const double timeout = reads_.front().timeout;
    if (timeout > 0) readTimer_->start(qMax(1, int(timeout * 1000.0)));
}

}  // namespace vf
