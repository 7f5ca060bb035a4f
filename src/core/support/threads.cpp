#include "core/support/threads.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QSemaphore>
#include <atomic>
#include <memory>

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
    auto done = std::make_shared<std::atomic<bool>>(false);
    runOnIoThread([fn, done] {
        fn();
        done->store(true);
    });
    const bool onMain = isMainThread();
    while (!done->load()) {
        if (onMain) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(100);
    }
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
    thread->quit();
    const bool onMain = isMainThread();
    while (!thread->wait(QDeadlineTimer(5))) {
        if (onMain) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    delete thread;
}

}  // namespace vf
