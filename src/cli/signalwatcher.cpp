#include "cli/signalwatcher.h"

#include <QSocketNotifier>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace vf::cli {

namespace {

// The write end of the current watcher's pipe: the program's one global,
// because a signal handler can reach nothing else.
std::atomic<int> gSignalPipe{-1};

void onSignal(int signalNumber) {
    const int savedErrno = errno;
    const int fd = gSignalPipe.load();
    if (fd >= 0) {
        const unsigned char byte = static_cast<unsigned char>(signalNumber);
        [[maybe_unused]] const ssize_t written = ::write(fd, &byte, 1);
    }
    errno = savedErrno;
}

}  // namespace

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent) {
    if (::pipe2(fds_, O_CLOEXEC | O_NONBLOCK) != 0) return;
    gSignalPipe.store(fds_[1]);
    notifier_ = new QSocketNotifier(fds_[0], QSocketNotifier::Read, this);
    QObject::connect(notifier_, &QSocketNotifier::activated, this, &SignalWatcher::onReadable);

    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &previousInt_);
    ::sigaction(SIGTERM, &action, &previousTerm_);
}

SignalWatcher::~SignalWatcher() {
    if (!notifier_) return;
    ::sigaction(SIGINT, &previousInt_, nullptr);
    ::sigaction(SIGTERM, &previousTerm_, nullptr);
    gSignalPipe.store(-1);
    delete notifier_;
    ::close(fds_[0]);
    ::close(fds_[1]);
}

void SignalWatcher::onReadable() {
    unsigned char byte = 0;
    int last = 0;
    while (::read(fds_[0], &byte, 1) == 1) last = byte;
    if (last != 0) Q_EMIT terminationRequested(last);
}

}  // namespace vf::cli
