#include "cli/streamcommand.h"

#include <algorithm>

#include "cli/filters.h"
#include "cli/rowwriter.h"
#include "cli/signalwatcher.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

namespace {

// The default sink: rows printed as they come.
class RowPrinter final : public StreamRowSink {
public:
    explicit RowPrinter(std::unique_ptr<RowWriter> writer) : writer_(std::move(writer)) {}
    void takeRow(const RowPtr& row) override { writer_->write(row); }
    void streamStopped() override {}

private:
    std::unique_ptr<RowWriter> writer_;
};

}  // namespace

StreamCommand::StreamCommand(const CliOptions& options, StreamSettings settings, AdbSetup setup,
                             std::ostream& out, std::ostream& err, StreamRowSink* sink)
    : options_(options), settings_(settings), setup_(std::move(setup)), out_(out), err_(err), sink_(sink) {
    pollTimer_.setInterval(settings_.pollIntervalMs);
    QObject::connect(&pollTimer_, &QTimer::timeout, this, &StreamCommand::printNewRows);
}

StreamCommand::~StreamCommand() = default;

int StreamCommand::run() {
    if (const auto status = prepareFilter(options_, true, err_, filter_)) return *status;
    const QStringList serials = options_.serials.size() > 1 ? options_.serials : QStringList{options_.serial};
    const bool tagged = serials.size() > 1;
    for (const QString& serial : serials) {
        streams_.push_back(std::make_unique<DeviceStream>(options_, serial, settings_, setup_, filter_, *this));
        if (sink_ != nullptr && !tagged) continue;
        const std::string device = tagged ? serial.toStdString() : std::string();
        printers_.push_back(std::make_unique<RowPrinter>(
            makeRowWriter(options_.format, out_, settings_.color, settings_.terminal, device)));
    }
    for (const auto& stream : streams_)
        if (!stream->installFilter()) return status_;

    signals_ = std::make_unique<SignalWatcher>();
    QObject::connect(signals_.get(), &SignalWatcher::terminationRequested, this, [this] { finish(kExitOk); });
    pollTimer_.start();
    for (const auto& stream : streams_) stream->start();
    if (!done_) loop_.exec();

    pollTimer_.stop();
    for (const auto& stream : streams_) stream->stop();
    printNewRows();
    for (const auto& stream : streams_) sinkOf(*stream).streamStopped();
    signals_.reset();
    return status_;
}

StreamRowSink& StreamCommand::sinkOf(const DeviceStream& stream) {
    if (printers_.empty()) return *sink_;
    for (size_t i = 0; i < streams_.size(); ++i)
        if (streams_[i].get() == &stream) return *printers_[i];
    return *printers_.front();
}

void StreamCommand::printNewRows() {
    // The rows of every device collected now, merged by their time.
    struct Taken {
        RowPtr row;
        StreamRowSink* sink;
    };
    std::vector<Taken> taken;
    std::vector<RowPtr> rows;
    for (const auto& stream : streams_) {
        rows.clear();
        stream->takeNewRows(rows);
        StreamRowSink* sink = &sinkOf(*stream);
        for (RowPtr& row : rows) taken.push_back({std::move(row), sink});
    }
    if (streams_.size() > 1) {
        std::stable_sort(taken.begin(), taken.end(),
                         [](const Taken& a, const Taken& b) { return a.row->time() < b.row->time(); });
    }
    for (const Taken& t : taken) t.sink->takeRow(t.row);
    out_.flush();
}

void StreamCommand::flushRows(DeviceStream& stream, bool stopped) {
    printNewRows();
    if (stopped) sinkOf(stream).streamStopped();
}

void StreamCommand::deviceDone(DeviceStream&, int status) {
    status_ = std::max(status_, status);
    if (std::all_of(streams_.begin(), streams_.end(), [](const auto& s) { return s->isDone(); })) finish(status_);
}

void StreamCommand::finish(int status) {
    if (done_) return;
    done_ = true;
    status_ = status;
    loop_.quit();
}

void StreamCommand::message(const QString& text) {
    err_ << "vellumfox-cli: " << text.toStdString() << '\n';
    err_.flush();
}

}  // namespace vf::cli
