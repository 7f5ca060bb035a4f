#pragma once
// Starting the ADB server when none answers, once, and saying what became
// of it: one rule for the viewer's session and the companion's "devices".
// The first time no server answers, the server is started (Starting, then
// Started or NotStarted); every later time, until again(), it is only said
// that none answers (StillNotRunning).
//
// Main thread.

#include <QObject>
#include <functional>

namespace vf {

class AdbStartOnce final {
public:
    enum class Step { Starting, Started, NotStarted, StillNotRunning };
    // Runs "adb start-server" and calls its argument with whether it started.
    using Starter = std::function<void(std::function<void(bool)> done)>;

    // No server answered. `report` hears each step, the first at once;
    // nothing more is reported once `context` is gone.
    void notRunning(QObject* context, const Starter& start, std::function<void(Step)> report);
    // The user asks again (or a run started): the next notRunning() starts
    // the server again.
    void again() { tried_ = false; }

private:
    bool tried_ = false;
};

}  // namespace vf
