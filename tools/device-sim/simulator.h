#pragma once
// The device's "USB cable": a loopback listener that the ADB server connects
// to. Unplugging drops every connection and stops listening; plugging back
// listens on the same port again.

#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>

#include "device.h"
#include "transport.h"

namespace vf::sim {

class Simulator final : public QObject {
    Q_OBJECT
public:
    Simulator(Device& device, QObject* parent = nullptr);

    // Binds 127.0.0.1 on the configured port (0: any). Returns false with
    // `error` when the port is taken.
    bool listen(QString& error);
    quint16 port() const { return port_; }

    void unplug();
    void replug();

private:
    void onNewConnection();
    // Asks the ADB server to connect to this device (--connect-server).
    void askServerToConnect();

    Device& device_;
    QTcpServer server_;
    quint16 port_ = 0;
    QList<Transport*> transports_;
    quint64 awayFrom_ = 0;  // the first line logged since the last unplug
};

}  // namespace vf::sim
