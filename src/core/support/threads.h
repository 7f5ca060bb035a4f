#pragma once
// The program's threads. The GUI (main) thread holds the user interface,
// the sessions and the stores' notices. Every logging run, every remote
// screen and every device list owns an I/O thread of its own (OwnedThread),
// on which its conversations live; the store's filter runner has one thread;
// Qt's global pool runs filter chunks, file loading and "adb start-server".
//
// Hand-overs between threads are queued calls: nothing waits for another
// thread's event loop, except an OwnedThread's deleter, which waits for its
// own thread to end (and that thread never waits for the GUI thread).

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <functional>
#include <memory>

namespace vf {

inline bool isMainThread() {
    return QCoreApplication::instance() != nullptr &&
           QThread::currentThread() == QCoreApplication::instance()->thread();
}

// Queues `fn` on the main thread and returns at once ("asynchronously").
void runOnMainThread(std::function<void()> fn);

// Starts `task` on Qt's global pool. ThreadSanitizer cannot see that
// hand-over (Debian's Qt is not built with it), so under it the task says
// so itself: what the caller wrote before the start is seen by the task.
// (Calls queued to an event loop cannot be marked so: the queued object is
// read before the call runs.)
void startOnPool(std::function<void()> task);

// The deleter of an owned thread: quits its event loop, waits until it has
// ended (the objects adopted by it are deleted on it then), and deletes it.
struct QuitAndWait {
    void operator()(QThread* thread) const;
};
using OwnedThread = std::unique_ptr<QThread, QuitAndWait>;

// A started thread with its own event loop, named `name` (diagnostics).
// Owner's thread.
OwnedThread startOwnedThread(const QString& name);

// Moves `worker` (without a parent) to `thread` and deletes it there once
// the thread has finished. Call it on the worker's current thread.
template <class Worker>
Worker* adoptWorker(QThread& thread, Worker* worker) {
    worker->moveToThread(&thread);
    QObject::connect(&thread, &QThread::finished, worker, &QObject::deleteLater);
    return worker;
}

// Debug-only check that the caller runs on the object's thread.
#define VF_ASSERT_THREAD(object) Q_ASSERT(QThread::currentThread() == (object)->thread())

}  // namespace vf
