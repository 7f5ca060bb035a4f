#include "core/support/threads.h"

namespace vf {

void runOnMainThread(std::function<void()> fn) {
    QCoreApplication* app = QCoreApplication::instance();
    if (app == nullptr) return;
    QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

void QuitAndWait::operator()(QThread* thread) const {
    thread->quit();
    thread->wait();
    delete thread;
}

OwnedThread startOwnedThread(const QString& name) {
    OwnedThread thread(new QThread());
    thread->setObjectName(name);
    thread->start();
    return thread;
}

}  // namespace vf
