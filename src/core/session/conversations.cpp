#include "core/session/conversations.h"

#include <QPointer>

namespace vf {

namespace {

template <class Reader, class Delegate>
class AdbConversation final : public StoreConversation {
public:
    AdbConversation(Reader* reader, Delegate* delegate, const QString& deviceId) : reader_(reader) {
        reader_->setDelegate(delegate);
        reader_->setDeviceId(deviceId);
        reader_->start();
    }
    ~AdbConversation() override {
        if (!reader_) return;
        // Its own report may be running: it goes once that has returned (or
        // with its parent).
        reader_->setDelegate(nullptr);
        reader_->deleteLater();
    }
    void stop() override {
        if (reader_) reader_->stop();
    }

private:
    QPointer<Reader> reader_;
};

class AdbConnector final : public StoreConnector {
public:
    AdbConnector(std::function<AdbEndpoint()> endpoint, std::function<LogcatOptions()> options)
        : endpoint_(std::move(endpoint)), options_(std::move(options)) {}

    std::unique_ptr<StoreConversation> connectLogReader(LogReaderDelegate* delegate, const QString& deviceId,
                                                        const QString& since, QObject* parent) override {
        auto* reader = new LogReader(endpoint_(), options_(), since, parent);
        return std::make_unique<AdbConversation<LogReader, LogReaderDelegate>>(reader, delegate, deviceId);
    }
    std::unique_ptr<StoreConversation> connectShellCommand(ShellCommandDelegate* delegate, const QString& deviceId,
                                                           const QString& service, QObject* parent) override {
        auto* reader = new ShellCommandReader(endpoint_(), service, ShellCommandReader::kDefaultMaxBytes, parent);
        return std::make_unique<AdbConversation<ShellCommandReader, ShellCommandDelegate>>(reader, delegate, deviceId);
    }

private:
    const std::function<AdbEndpoint()> endpoint_;
    const std::function<LogcatOptions()> options_;
};

}  // namespace

std::shared_ptr<StoreConnector> makeAdbConnector(std::function<AdbEndpoint()> endpoint,
                                                 std::function<LogcatOptions()> options) {
    return std::make_shared<AdbConnector>(std::move(endpoint), std::move(options));
}

std::shared_ptr<StoreConnector> makeAdbConnector(const AdbEndpoint& endpoint, const LogcatOptions& options) {
    return makeAdbConnector([endpoint] { return endpoint; }, [options] { return options; });
}

}  // namespace vf
