#include "simulator.h"

#include <QTextStream>

namespace vf::sim {

namespace {

void note(const QString& text) {
    QTextStream(stderr) << "device-sim: " << text << Qt::endl;
}

}  // namespace

Simulator::Simulator(Device& device, QObject* parent) : QObject(parent), device_(device) {
    connect(&server_, &QTcpServer::newConnection, this, &Simulator::onNewConnection);
}

bool Simulator::listen(QString& error) {
    if (!server_.listen(QHostAddress::LocalHost, port_ != 0 ? port_ : device_.options().port)) {
        error = server_.errorString();
        return false;
    }
    port_ = server_.serverPort();
    askServerToConnect();
    return true;
}

void Simulator::onNewConnection() {
    while (QTcpSocket* socket = server_.nextPendingConnection()) {
        auto* transport = new Transport(socket, device_, this);
        transports_.append(transport);
        connect(transport, &Transport::closed, this, [this](Transport* t) {
            transports_.removeOne(t);
            t->deleteLater();
        });
    }
}

void Simulator::unplug() {
    note(QStringLiteral("unplugged"));
    awayFrom_ = device_.log().endSeq();
    server_.close();
    const QList<Transport*> open = transports_;
    transports_.clear();
    for (Transport* t : open) {
        t->drop();
        t->deleteLater();
    }
}

void Simulator::replug() {
    if (server_.isListening()) return;
    if (device_.options().wrapWhenAway) {
        // The device logged on while away, more than its buffer holds: gone
        // are the lines it had and the first half (at least one) of those since.
        const quint64 end = device_.log().endSeq();
        device_.log().dropBefore(awayFrom_ + 1 + (end - awayFrom_) / 2);
        note(QStringLiteral("the buffer wrapped while away: %1 lines kept").arg(end - device_.log().firstSeq()));
    }
    QString error;
    if (listen(error)) note(QStringLiteral("plugged in again on port %1").arg(port_));
    else note(QStringLiteral("cannot listen again on port %1: %2").arg(port_).arg(error));
}

void Simulator::askServerToConnect() {
    const quint16 serverPort = device_.options().connectServerPort;
    if (serverPort == 0) return;
    auto* socket = new QTcpSocket(this);
    const QByteArray request = "host:connect:127.0.0.1:" + QByteArray::number(port_);
    connect(socket, &QTcpSocket::connected, socket, [socket, request] {
        socket->write(QByteArray::number(request.size(), 16).rightJustified(4, '0') + request);
    });
    // The server answers OKAY (or FAIL), a hex length and a message, then closes.
    connect(socket, &QTcpSocket::disconnected, socket, [socket] {
        const QByteArray reply = socket->readAll();
        note(QStringLiteral("adb server: %1").arg(QString::fromUtf8(reply.size() > 8 ? reply.mid(8) : reply)));
        socket->deleteLater();
    });
    connect(socket, &QTcpSocket::errorOccurred, socket, [socket, serverPort](QAbstractSocket::SocketError error) {
        if (error == QAbstractSocket::RemoteHostClosedError) return;
        note(QStringLiteral("cannot reach the adb server on port %1: %2").arg(serverPort).arg(socket->errorString()));
        socket->deleteLater();
    });
    socket->connectToHost(QHostAddress::LocalHost, serverPort);
}

}  // namespace vf::sim
