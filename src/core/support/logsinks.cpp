#include "core/support/logsinks.h"

#include "core/support/crashreporter.h"
#include "core/support/logger.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>
#include <ctime>
#include <fmt/format.h>
#include <spdlog/details/os.h>

namespace vf {

namespace {

constexpr char kFilePrefix[] = "vellumfox-";
constexpr char kFileSuffix[] = ".log";
constexpr char kNameTimeFormat[] = "yyyy-MM-dd_HH-mm-ss-zzz";

// The date column changes once a second; the worker formats each line for
// three outputs, so the text of the current second is kept per thread.
std::string_view cachedDate(spdlog::log_clock::time_point time) {
    thread_local std::time_t cachedSecond = -1;
    thread_local char text[32] = {};
    const std::time_t second = spdlog::log_clock::to_time_t(time);
    if (second != cachedSecond) {
        std::tm local{};
        localtime_r(&second, &local);
        fmt::format_to_n(text, sizeof(text) - 1, "{:02}-{:02} {:02}:{:02}:{:02}", local.tm_mon + 1,
                         local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
        cachedSecond = second;
    }
    return std::string_view(text, 14);
}

QString fileNameFor(RollingFileSink::Clock::time_point time) {
    const qint64 ms = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const QDateTime utc = QDateTime::fromMSecsSinceEpoch(ms, QTimeZone::utc());
    return QString::fromLatin1(kFilePrefix) + utc.toString(QString::fromLatin1(kNameTimeFormat)) +
           QString::fromLatin1(kFileSuffix);
}

std::optional<RollingFileSink::Clock::time_point> creationTimeOf(const QString& fileName) {
    const qsizetype prefix = qsizetype(sizeof(kFilePrefix) - 1);
    const qsizetype suffix = qsizetype(sizeof(kFileSuffix) - 1);
    const QString stamp = fileName.mid(prefix, fileName.size() - prefix - suffix);
    QDateTime utc = QDateTime::fromString(stamp, QString::fromLatin1(kNameTimeFormat));
    if (!utc.isValid()) return std::nullopt;
    utc.setTimeZone(QTimeZone::utc());
    return RollingFileSink::Clock::time_point(std::chrono::milliseconds(utc.toMSecsSinceEpoch()));
}

}  // namespace

// Every output formats the same message in turn on the same thread; the
// line depends only on these inputs, so the previous result is reused when
// they are equal (which makes reuse correct even for distinct messages).
struct FormattedLine {
    std::time_t second = -1;
    std::size_t threadId = 0;
    bool fromMainThread = false;
    const char* file = nullptr;
    const char* function = nullptr;
    std::string payload;
    std::string line;

    bool matches(const spdlog::details::log_msg& msg, std::time_t msgSecond, bool msgFromMain) const {
        return second == msgSecond && threadId == msg.thread_id && fromMainThread == msgFromMain &&
               file == msg.source.filename &&
               function == msg.source.funcname &&
               std::string_view(payload) == std::string_view(msg.payload.data(), msg.payload.size());
    }
};

void LineFormatter::format(const spdlog::details::log_msg& msg, spdlog::memory_buf_t& dest) {
    thread_local FormattedLine last;
    const std::time_t second = spdlog::log_clock::to_time_t(msg.time);
    const Logger& logger = Logger::getInstance();
    const bool fromMain = logger.isMainThreadId(msg.thread_id);
    if (!last.matches(msg, second, fromMain)) {
        last.line = logger.formatLine(
            kLogLevelAll, cachedDate(msg.time), fmt::format_int(msg.thread_id).c_str(),
            msg.source.filename != nullptr ? msg.source.filename : "",
            msg.source.funcname != nullptr ? msg.source.funcname : "",
            std::string_view(msg.payload.data(), msg.payload.size()));
        last.second = second;
        last.threadId = msg.thread_id;
        last.fromMainThread = fromMain;
        last.file = msg.source.filename;
        last.function = msg.source.funcname;
        last.payload.assign(msg.payload.data(), msg.payload.size());
    }
    msg.color_range_start = dest.size();
    dest.append(last.line.data(), last.line.data() + last.line.size());
    msg.color_range_end = dest.size();
    dest.push_back('\n');
}

std::unique_ptr<spdlog::formatter> LineFormatter::clone() const {
    return std::make_unique<LineFormatter>();
}

RollingFileSink::RollingFileSink(QString directory, std::uint64_t maxBytes, std::chrono::seconds maxAge,
                                 int archived)
    : directory_(std::move(directory)), maxBytes_(maxBytes), maxAge_(maxAge), archived_(archived) {
    QDir().mkpath(directory_);
    openNewest(Clock::now());
}

RollingFileSink::~RollingFileSink() = default;

QString RollingFileSink::currentPath() {
    std::lock_guard<std::mutex> lock(mutex_);
    return path_;
}

QStringList RollingFileSink::logFiles(const QString& directory) {
    const QStringList names = QDir(directory).entryList(
        {QString::fromLatin1(kFilePrefix) + u'*' + QString::fromLatin1(kFileSuffix)}, QDir::Files,
        QDir::Name | QDir::Reversed);
    QStringList paths;
    for (const QString& name : names) paths.append(QDir(directory).filePath(name));
    return paths;
}

QString RollingFileSink::newestLogFile(const QString& directory) {
    const QStringList files = logFiles(directory);
    return files.isEmpty() ? QString() : files.first();
}

void RollingFileSink::openNewest(Clock::time_point now) {
    const QString newest = newestLogFile(directory_);
    if (!newest.isEmpty()) {
        const auto created = creationTimeOf(QFileInfo(newest).fileName());
        const QFileInfo info(newest);
        if (created && now - *created < maxAge_ && std::uint64_t(info.size()) < maxBytes_) {
            file_.open(newest.toStdString(), false);
            path_ = newest;
            created_ = *created;
            size_ = std::uint64_t(info.size());
            return;
        }
    }
    roll(now);
}

void RollingFileSink::roll(Clock::time_point now) {
    file_.close();
    // Two rolls within one millisecond would share a name: step the stamp on.
    Clock::time_point stamp = std::max(now, created_ + std::chrono::milliseconds(1));
    QString path = QDir(directory_).filePath(fileNameFor(stamp));
    while (QFileInfo::exists(path)) {
        stamp += std::chrono::milliseconds(1);
        path = QDir(directory_).filePath(fileNameFor(stamp));
    }
    file_.open(path.toStdString(), true);
    path_ = path;
    created_ = stamp;
    size_ = 0;
    prune();
}

void RollingFileSink::prune() {
    const QStringList files = logFiles(directory_);
    for (qsizetype i = archived_ + 1; i < files.size(); ++i) QFile::remove(files[i]);
}

void RollingFileSink::sink_it_(const spdlog::details::log_msg& msg) {
    spdlog::memory_buf_t line;
    formatter_.format(msg, line);
    const bool tooOld = msg.time - created_ >= maxAge_;
    const bool tooBig = size_ > 0 && size_ + line.size() > maxBytes_;
    if (tooOld || tooBig) roll(msg.time);
    file_.write(line);
    size_ += line.size();
    // Flushed line by line so that the file is complete when the program dies.
    file_.flush();
}

void RollingFileSink::flush_() {
    file_.flush();
}

void RecentLinesSink::sink_it_(const spdlog::details::log_msg& msg) {
    spdlog::memory_buf_t line;
    formatter_.format(msg, line);
    CrashReporter::noteLine(std::string_view(line.data(), line.size()));
}

std::uint64_t FlushBarrierSink::flushCount() {
    std::lock_guard<std::mutex> lock(countMutex_);
    return count_;
}

bool FlushBarrierSink::waitForFlushAfter(std::uint64_t count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(countMutex_);
    return flushed_.wait_for(lock, timeout, [&] { return count_ > count; });
}

void FlushBarrierSink::flush_() {
    {
        std::lock_guard<std::mutex> lock(countMutex_);
        ++count_;
    }
    flushed_.notify_all();
}

}  // namespace vf
