#include "core/session/conversations.h"

#include <algorithm>
#include <map>

#include "core/adb/logreader.h"
#include "core/adb/logreader.h"
#include "core/adb/processtable.h"
#include "core/adb/shellcommandreader.h"
#include "core/support/threads.h"

namespace vf {

namespace {

// Destroying one on its own thread closes it without any further report.
template <class Reader, class Delegate>
class AdbConversation final : public StoreConversation {
public:
    AdbConversation(Delegate* delegate, const QString& deviceId, std::unique_ptr<Reader> reader)
        : reader_(std::move(reader)) {
        reader_->setDelegate(delegate);
        reader_->setDeviceId(deviceId);
        reader_->start();
    }
    void stop() override { reader_->stop(); }

private:
    std::unique_ptr<Reader> reader_;
};

// The process-table flavor learned per device, so that a device asked once
// is asked with the right request from then on. Any thread.
class PsFlavors final {
public:
    PsFlavor of(const QString& deviceId) const {
        std::lock_guard lock(mutex_);
        const auto it = flavors_.find(deviceId);
        return it == flavors_.end() ? PsFlavor::Unknown : it->second;
    }
    void learn(const QString& deviceId, PsFlavor flavor) {
        std::lock_guard lock(mutex_);
        flavors_[deviceId] = flavor;
    }

private:
    mutable std::mutex mutex_;
    std::map<QString, PsFlavor> flavors_;
};

// The process table: "ps -A" on devices of today, plain "ps" on those up to
// Android 7.1. A reply of the wrong shape is followed at once by the other
// request (once per lookup); the output is decoded for the store.
class PsConversation final : public StoreConversation, private ShellCommandDelegate {
public:
    PsConversation(PidReaderDelegate* delegate, const QString& deviceId, const AdbEndpoint& endpoint,
                   std::shared_ptr<PsFlavors> flavors)
        : delegate_(delegate), deviceId_(deviceId), endpoint_(endpoint), flavors_(std::move(flavors)) {
        ask(flavors_->of(deviceId_));
    }
    ~PsConversation() override { reader_->setDelegate(nullptr); }
    void stop() override {
        std::lock_guard lock(readerMutex_);
        stopped_ = true;
        reader_->stop();
    }

private:
    void ask(PsFlavor flavor) {
        asked_ = flavor;
        auto next = std::make_unique<ShellCommandReader>(endpoint_, processTableRequest(flavor));
        next->setDelegate(this);
        next->setDeviceId(deviceId_);
        std::lock_guard lock(readerMutex_);
        if (reader_) {
            // Its own callback is running: it goes once that has returned.
            reader_->setDelegate(nullptr);
            reader_.release()->deleteLater();
        }
        reader_ = std::move(next);
        reader_->start();
    }

    bool isStopped() {
        std::lock_guard lock(readerMutex_);
        return stopped_;
    }

    void shellCommandFinished(const QString&, const QByteArray& text, const AdbResult&) override {
        // A failed lookup reaches the store as an empty output: it still ends.
        if (!text.isEmpty()) {
            const PsNextStep step = psNextStep(asked_, text);
            flavors_->learn(deviceId_, step.flavor);
            if (step.askAgain && !askedAgain_ && !isStopped()) {
                askedAgain_ = true;
                ask(step.flavor);
                return;
            }
        }
        delegate_->pidReceived(text);
    }

    PidReaderDelegate* delegate_;
    const QString deviceId_;
    const AdbEndpoint endpoint_;
    const std::shared_ptr<PsFlavors> flavors_;
    std::mutex readerMutex_;  // reader_ is replaced on the I/O thread, stopped from any
    std::unique_ptr<ShellCommandReader> reader_;
    PsFlavor asked_ = PsFlavor::Unknown;  // I/O thread
    bool askedAgain_ = false;             // I/O thread
    bool stopped_ = false;                // under readerMutex_
};

class AdbConnector final : public StoreConnector {
public:
    AdbConnector(std::function<AdbEndpoint()> endpoint, std::function<LogcatOptions()> options)
        : endpoint_(std::move(endpoint)), options_(std::move(options)) {}
    std::unique_ptr<StoreConversation> connectLogReader(LogReaderDelegate* delegate,
                                                        const QString& deviceId) override {
        auto reader = std::make_unique<LogReader>(endpoint_(), options_());
        return std::make_unique<AdbConversation<LogReader, LogReaderDelegate>>(delegate, deviceId, std::move(reader));
    }
    std::unique_ptr<StoreConversation> connectPidReader(PidReaderDelegate* delegate,
                                                        const QString& deviceId) override {
        return std::make_unique<PsConversation>(delegate, deviceId, endpoint_(), flavors_);
    }

private:
    const std::function<AdbEndpoint()> endpoint_;
    const std::function<LogcatOptions()> options_;
    const std::shared_ptr<PsFlavors> flavors_ = std::make_shared<PsFlavors>();
};

// Conversations are deleted on the I/O thread only.
std::shared_ptr<StoreConversation> shareConversation(std::unique_ptr<StoreConversation> conversation) {
    return std::shared_ptr<StoreConversation>(conversation.release(), [](StoreConversation* c) {
        if (QThread::currentThread() == ioThread()) {
            delete c;
        } else {
            runOnIoThread([c] { delete c; });
        }
    });
}

}  // namespace

std::shared_ptr<StoreConnector> makeAdbConnector(std::function<AdbEndpoint()> endpoint,
                                                 std::function<LogcatOptions()> options) {
    return std::make_shared<AdbConnector>(std::move(endpoint), std::move(options));
}

std::shared_ptr<StoreConnector> makeAdbConnector(const AdbEndpoint& endpoint, const LogcatOptions& options) {
    return makeAdbConnector([endpoint] { return endpoint; }, [options] { return options; });
}

// Replaced conversations wait here until the I/O thread's queue gets to them.
struct ConversationSlots::Graveyard {
    std::mutex mutex;
    std::vector<std::shared_ptr<StoreConversation>> conversations;

    static void retire(const std::shared_ptr<Graveyard>& self, std::shared_ptr<StoreConversation> conversation) {
        StoreConversation* raw = conversation.get();
        {
            std::lock_guard lock(self->mutex);
            self->conversations.push_back(std::move(conversation));
        }
        runOnIoThread([self, raw] { self->bury(raw); });
    }
    void bury(StoreConversation* raw) {
        std::shared_ptr<StoreConversation> dead;  // deleted after the lock is released
        std::lock_guard lock(mutex);
        const auto it = std::find_if(conversations.begin(), conversations.end(),
                                     [raw](const auto& c) { return c.get() == raw; });
        if (it == conversations.end()) return;
        dead = std::move(*it);
        conversations.erase(it);
    }
};

void ConversationSlots::install(Slot slot, std::unique_ptr<StoreConversation> conversation) {
    std::shared_ptr<StoreConversation> old;
    std::shared_ptr<Graveyard> graveyard;
    {
        std::lock_guard lock(mutex_);
        if (!graveyard_) graveyard_ = std::make_shared<Graveyard>();
        graveyard = graveyard_;
        old = std::move(slots_[slot]);
        slots_[slot] = conversation ? shareConversation(std::move(conversation)) : nullptr;
    }
    if (old) Graveyard::retire(graveyard, std::move(old));
}

std::shared_ptr<StoreConversation> ConversationSlots::current(Slot slot) const {
    std::lock_guard lock(mutex_);
    return slots_[slot];
}

void ConversationSlots::closeAll() {
    std::shared_ptr<StoreConversation> taken[2];
    std::vector<std::shared_ptr<StoreConversation>> buried;
    {
        std::lock_guard lock(mutex_);
        taken[0] = std::move(slots_[0]);
        taken[1] = std::move(slots_[1]);
        if (graveyard_) {
            std::lock_guard graveLock(graveyard_->mutex);
            buried = std::exchange(graveyard_->conversations, {});
        }
    }
    for (const auto& conversation : taken)
        if (conversation) conversation->stop();
}

}  // namespace vf
