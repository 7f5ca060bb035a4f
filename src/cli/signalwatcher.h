#pragma once
// Turns SIGINT and SIGTERM into a Qt signal on the main thread: the handler
// only writes one byte to a pipe (async-signal-safe), a socket notifier on
// the main thread's event loop reads it.
//
// One instance at a time, created and destroyed on the main thread; the
// previous handlers are restored on destruction.

#include <QObject>
#include <csignal>

class QSocketNotifier;

namespace vf::cli {

class SignalWatcher final : public QObject {
    Q_OBJECT
public:
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

    bool isActive() const { return notifier_ != nullptr; }

Q_SIGNALS:
    void terminationRequested(int signalNumber);

private:
    void onReadable();

    int fds_[2] = {-1, -1};
    QSocketNotifier* notifier_ = nullptr;
    struct sigaction previousInt_ {};
    struct sigaction previousTerm_ {};
};

}  // namespace vf::cli
