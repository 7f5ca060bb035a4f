#pragma once
// A logging run's ADB conversations as the run sees them: the log stream
// and one shell command at a time (the process table), opened through a
// connector so that tests can plug in their own.
//
// Threads: the connector is called on the run's I/O thread and the
// conversations it opens live there; their reports arrive there.

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

#include "core/adb/endpoint.h"
#include "core/adb/logreader.h"
#include "core/adb/shellcommandreader.h"

namespace vf {

// One running ADB conversation. Destroying it (also from inside one of its
// own reports) silences it at once and closes its connection.
class StoreConversation {
public:
    virtual ~StoreConversation() = default;
    // Ends it; its finished report follows.
    virtual void stop() = 0;
};

// Opens a run's conversations, started, reporting to `delegate`. The
// conversation's objects are children of `parent` (the run's worker), so
// they go with it when its thread ends. A stream given `since` (a device
// time, "MM-dd HH:mm:ss.SSS") asks only for the lines from then on.
class StoreConnector {
public:
    virtual ~StoreConnector() = default;
    virtual std::unique_ptr<StoreConversation> connectLogReader(LogReaderDelegate* delegate, const QString& deviceId,
                                                                const QString& since, QObject* parent) = 0;
    virtual std::unique_ptr<StoreConversation> connectShellCommand(ShellCommandDelegate* delegate,
                                                                   const QString& deviceId, const QString& service,
                                                                   QObject* parent) = 0;
};

// The real ADB conversations. Each is made with the endpoint (and a stream
// with the options) that the providers give at that moment, so a front end
// can follow its preferences; the providers are called on the I/O thread.
std::shared_ptr<StoreConnector> makeAdbConnector(std::function<AdbEndpoint()> endpoint,
                                                 std::function<LogcatOptions()> options);
// The same with fixed values.
std::shared_ptr<StoreConnector> makeAdbConnector(const AdbEndpoint& endpoint, const LogcatOptions& options = {});

}  // namespace vf
