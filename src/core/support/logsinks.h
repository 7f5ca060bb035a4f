#pragma once
// The outputs behind the diagnostics logger: the line formatter shared by
// every output, the rolling log file, the recent-lines feed of the crash
// reporter and the flush barrier that lets a reader wait for queued lines.
//
// Sinks are called by spdlog's worker thread (and, for synchronous lines, by
// the writing thread); each guards itself with its own mutex.

#include <spdlog/details/file_helper.h>
#include <spdlog/formatter.h>
#include <spdlog/sinks/base_sink.h>

#include <QString>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace vf {

// Formats each message with Logger::formatLogMessage and ends it with a line
// feed. Marks the whole line as the coloured range for the console.
class LineFormatter final : public spdlog::formatter {
public:
    void format(const spdlog::details::log_msg& msg, spdlog::memory_buf_t& dest) override;
    std::unique_ptr<spdlog::formatter> clone() const override;
};

// A log file that rolls to a new file when the next line would take it past
// `maxBytes`, or when it is `maxAge` old, keeping `archived` older files.
// Files are named "vellumfox-<UTC creation time>.log", so their names sort by
// age; on start the newest file is continued while it is young and small.
class RollingFileSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
    using Clock = std::chrono::system_clock;

    RollingFileSink(QString directory, std::uint64_t maxBytes, std::chrono::seconds maxAge, int archived);
    ~RollingFileSink() override;

    // Path of the file being written (any thread).
    QString currentPath();

    // The newest log file of `directory`, empty when there is none.
    static QString newestLogFile(const QString& directory);
    // All log files of `directory`, newest first.
    static QStringList logFiles(const QString& directory);

protected:
    void sink_it_(const spdlog::details::log_msg& msg) override;
    void flush_() override;

private:
    void openNewest(Clock::time_point now);
    void roll(Clock::time_point now);
    void prune();

    QString directory_;
    std::uint64_t maxBytes_;
    std::chrono::seconds maxAge_;
    int archived_;
    spdlog::details::file_helper file_;
    QString path_;
    Clock::time_point created_;
    std::uint64_t size_ = 0;
    LineFormatter formatter_;
};

// Copies each formatted line into the crash reporter's in-memory ring.
class RecentLinesSink final : public spdlog::sinks::base_sink<std::mutex> {
protected:
    void sink_it_(const spdlog::details::log_msg& msg) override;
    void flush_() override {}

private:
    LineFormatter formatter_;
};

// Writes nothing; counts flushes so that a caller can wait until every line
// queued before its flush request has reached the other outputs.
class FlushBarrierSink final : public spdlog::sinks::base_sink<std::mutex> {
public:
    std::uint64_t flushCount();
    // Waits until more than `count` flushes happened, at most `timeout`.
    bool waitForFlushAfter(std::uint64_t count, std::chrono::milliseconds timeout);

protected:
    void sink_it_(const spdlog::details::log_msg&) override {}
    void flush_() override;

private:
    std::mutex countMutex_;
    std::condition_variable flushed_;
    std::uint64_t count_ = 0;
};

}  // namespace vf
