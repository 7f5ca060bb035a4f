#include "core/support/threads.h"

#include <QThreadPool>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace vf {

#if defined(__SANITIZE_THREAD__)
namespace {
char poolHandOver;  // what every start releases and every task acquires
}  // namespace

void startOnPool(std::function<void()> task) {
    std::function<void()> run = [task = std::move(task)] {
        __tsan_acquire(&poolHandOver);  // before the task's captures are read
        task();
    };
    __tsan_release(&poolHandOver);  // once the task is made
    QThreadPool::globalInstance()->start(std::move(run));
}
#else
void startOnPool(std::function<void()> task) { QThreadPool::globalInstance()->start(std::move(task)); }
#endif

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
