#pragma once
// A logging run's ADB conversations: the stream reader and the
// process-table reader, opened through a connector (tests plug in their
// own), kept in slots, and deleted only on the I/O thread and never inside
// one of their own callbacks.

#include <QString>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "core/adb/delegates.h"
#include "core/adb/logreader.h"
#include "core/adb/endpoint.h"

namespace vf {

// One running ADB conversation as a logging run sees it. Created, and destroyed,
// on the I/O thread; stop() may be called from any thread. Once destroyed it
// reports nothing more to its delegate.
class StoreConversation {
public:
    virtual ~StoreConversation() = default;
    virtual void stop() = 0;
};

// Opens a run's conversations. Both calls run on the I/O thread; the
// delegate outlives the returned conversation.
class StoreConnector {
public:
    virtual ~StoreConnector() = default;
    virtual std::unique_ptr<StoreConversation> connectLogReader(LogReaderDelegate* delegate,
                                                                const QString& deviceId) = 0;
    virtual std::unique_ptr<StoreConversation> connectPidReader(PidReaderDelegate* delegate,
                                                                const QString& deviceId) = 0;
};

// The real ADB conversations. Each is made with the endpoint (and a stream
// with the options) that the providers give at that moment, so a front end
// can follow its preferences; the providers run on the I/O thread.
std::shared_ptr<StoreConnector> makeAdbConnector(std::function<AdbEndpoint()> endpoint,
                                                 std::function<LogcatOptions()> options);
// The same with fixed values.
std::shared_ptr<StoreConnector> makeAdbConnector(const AdbEndpoint& endpoint, const LogcatOptions& options = {});

// The two slots. install() and current() any thread; closeAll() on the I/O
// thread (it stops and deletes every conversation at once).
class ConversationSlots final {
public:
    enum Slot { LogReaderSlot, PidReaderSlot };

    ConversationSlots() = default;
    ConversationSlots(const ConversationSlots&) = delete;
    ConversationSlots& operator=(const ConversationSlots&) = delete;

    // Puts `conversation` (or nothing) in `slot`; the one it replaces is
    // deleted later by the I/O thread's queue.
    void install(Slot slot, std::unique_ptr<StoreConversation> conversation);
    std::shared_ptr<StoreConversation> current(Slot slot) const;
    void closeAll();

private:
    struct Graveyard;
    mutable std::mutex mutex_;
    std::shared_ptr<StoreConversation> slots_[2];
    std::shared_ptr<Graveyard> graveyard_;
};

}  // namespace vf
