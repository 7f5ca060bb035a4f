#include "core/session/adbstart.h"

#include <QPointer>

namespace vf {

void AdbStartOnce::notRunning(QObject* context, const Starter& start, std::function<void(Step)> report) {
    if (tried_) {
        report(Step::StillNotRunning);
        return;
    }
    tried_ = true;
    report(Step::Starting);
    start([guard = QPointer<QObject>(context), report](bool started) {
        if (guard) report(started ? Step::Started : Step::NotStarted);
    });
}

}  // namespace vf
