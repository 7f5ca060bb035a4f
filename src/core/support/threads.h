#pragma once
// The program's few threads: the GUI (main) thread, one I/O thread on which
// conversations started off the GUI thread live, and Qt's global pool for
// filter passes and file loading.

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <functional>

namespace vf {

inline bool isMainThread() {
    return QCoreApplication::instance() != nullptr &&
           QThread::currentThread() == QCoreApplication::instance()->thread();
}

// Queues `fn` on the main thread and returns at once ("asynchronously").
void runOnMainThread(std::function<void()> fn);

// Runs `fn` on the main thread and waits for it ("on the main thread,
// waiting"). Runs it directly when already on the main thread. Returns
// without running it when there is no application object.
void runOnMainThreadBlocking(const std::function<void()>& fn);

// The shared I/O thread with its own event loop, started on first use and
// stopped by shutdownIoThread(). Conversations that are started
// "on a worker thread" are created and connected on this thread.
QThread* ioThread();

// Queues `fn` on the I/O thread.
void runOnIoThread(std::function<void()> fn);
// Runs `fn` on the I/O thread and waits; keeps the main thread's events
// flowing while it waits so that a blocking call back to it cannot deadlock.
void runOnIoThreadBlocking(const std::function<void()>& fn);

// Stops the I/O thread (end of the program). Safe to call more than once.
void shutdownIoThread();

// Debug-only check that the caller runs on the object's thread.
#define VF_ASSERT_THREAD(object) Q_ASSERT(QThread::currentThread() == (object)->thread())

}  // namespace vf
