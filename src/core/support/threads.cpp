#include "core/support/threads.h"

#include <QEventLoop>
#include <QMutex>
#include <semaphore>

namespace vf {

namespace {
QMutex gIoMutex;
QThread* gIoThread = nullptr;
QObject* gIoContext = nullptr;  // lives on the I/O thread; target of queued calls
}  // namespace

void runOnMainThread(std::function<void()> fn) {
    QCoreApplication* app = QCoreApplication::instance();
    if (app == nullptr) return;
    QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

void runOnMainThreadBlocking(const std::function<void()>& fn) {
    QCoreApplication* app = QCoreApplication::instance();
    if (app == nullptr) return;
    if (QThread::currentThread() == app->thread()) {
        fn();
        return;
    }
    QMetaObject::invokeMethod(app, fn, Qt::BlockingQueuedConnection);
}

QThread* ioThread() {
    QMutexLocker lock(&gIoMutex);
    if (gIoThread == nullptr) {
        gIoThread = new QThread();
        gIoThread->setObjectName(QStringLiteral("vf-io"));
        gIoContext = new QObject();
        gIoContext->moveToThread(gIoThread);
        QObject::connect(gIoThread, &QThread::finished, gIoContext, &QObject::deleteLater);
        gIoThread->start();
    }
    return gIoThread;
}

void runOnIoThread(std::function<void()> fn) {
    ioThread();
    QObject* context = nullptr;
    {
        QMutexLocker lock(&gIoMutex);
        context = gIoContext;
    }
    QMetaObject::invokeMethod(context, std::move(fn), Qt::QueuedConnection);
}

void runOnIoThreadBlocking(const std::function<void()>& fn) {
    QThread* thread = ioThread();
    if (QThread::currentThread() == thread) {
        fn();
        return;
    }
    if (!isMainThread()) {
        std::binary_semaphore done{0};
        runOnIoThread([&fn, &done] {
            fn();
            done.release();
        });
        done.acquire();
        return;
    }
    // The main thread's events keep flowing while it waits: the work may in
    // turn wait for the main thread. The loop ends when the work has run.
    QEventLoop loop;
    runOnIoThread([&fn, &loop] {
        fn();
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec();
}

void shutdownIoThread() {
    QThread* thread = nullptr;
    {
        QMutexLocker lock(&gIoMutex);
        thread = gIoThread;
        gIoThread = nullptr;
        gIoContext = nullptr;  // deleted on the thread when it finishes
    }
    if (thread == nullptr) return;
    if (isMainThread()) {
        // Work still queued there may wait for the main thread: serve it.
        QEventLoop loop;
        QObject::connect(thread, &QThread::finished, &loop, &QEventLoop::quit, Qt::QueuedConnection);
        thread->quit();
        if (!thread->isFinished()) loop.exec();
    } else {
        thread->quit();
    }
    thread->wait();
    delete thread;
}

}  // namespace vf
