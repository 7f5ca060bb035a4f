#include "core/support/logger.h"
#include "core/support/logsinks.h"
#include "fixtures/files.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <thread>

using namespace Qt::StringLiterals;

inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace vf {
namespace {

using test::readFile;

class LoggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        Logger::getInstance().shutdown();
        Logger::setLogDirectory(dir_.path());
    }
    void TearDown() override {
        Logger::getInstance().shutdown();
        Logger::setLogDirectory({});
    }
    Logger& logger() { return Logger::getInstance(); }
    QTemporaryDir dir_;
};

TEST_F(LoggerTest, FormatsTheFixedLineLayout) {
    logger().registerLogger();
    LogMessage message;
    message.timestamp = QDateTime(QDate(2024, 3, 5), QTime(14, 3, 7, 456));
    message.threadId = Logger::currentThreadId();
    message.file = "Android/AdbSocket.m";
    message.function = "-[AdbSocket stop]";
    EXPECT_EQ(logger().formatLogMessage(message), "03-05 14:03:07 V [UI] AdbSocket:stop: ");

    message.threadId = "12345";
    message.function = "-[LogReader socket:didReadData:withTag:]";
    message.text = "text {}";
    EXPECT_EQ(logger().formatLogMessage(message), "03-05 14:03:07 V [12345] AdbSocket:socket: text {}");

    // The letter follows the level value, not the flag.
    const std::pair<int, char> letters[] = {{1, 'E'}, {3, 'W'}, {7, 'I'}, {15, 'D'}, {8, 'V'}, {31, 'V'}};
    for (const auto& [level, letter] : letters) {
        message.level = level;
        EXPECT_EQ(logger().formatLogMessage(message)[15], letter) << level;
    }
}

TEST(LoggerNamesTest, ExtractsTheMethodName) {
    // Without a blank only the cut at ":" or "]" applies; a last blank is no split point.
    const std::pair<const char*, const char*> cases[] = {
        {"-[AdbSocket connect]", "connect"}, {"+[Utils startAdb:]", "startAdb"}, {"parseLine", "parseLine"},
        {"helper:rest]", "helper"}, {"plain]", "plain"}, {"odd ", "odd"}, {"", ""}};
    for (const auto& [in, out] : cases) EXPECT_EQ(Logger::extractMethodName(in), out) << in;
}

TEST_F(LoggerTest, WritesLinesOfEveryThreadToTheFile) {
    logger().registerLogger();
    VF_LOG("hello {} {}", 42, u"wörld"_s);
    std::string workerId;
    std::thread worker([&] {
        workerId = Logger::currentThreadId();
        VF_LOG_ERROR("from a worker");
    });
    worker.join();
    logger().write(LogFlag::Verbose, __FILE__, __func__, __LINE__, "verbose lines are not written");
    logger().flush();

    const QString text = readFile(logger().logFilePath());
    static const QRegularExpression mainLine(
        uR"(^\d\d-\d\d \d\d:\d\d:\d\d V \[UI\] logger_test:TestBody: hello 42 wörld$)"_s,
        QRegularExpression::MultilineOption);
    EXPECT_TRUE(mainLine.match(text).hasMatch()) << text.toStdString();
    EXPECT_TRUE(text.contains(u" V ["_s + QString::fromStdString(workerId) + u"] logger_test:operator(): from a worker\n"))
        << text.toStdString();
    EXPECT_FALSE(text.contains(u"verbose lines"));
}

TEST_F(LoggerTest, RegisteringTwiceKeepsOneFileAndShutdownStopsIt) {
    logger().registerLogger();
    const QString path = logger().logFilePath();
    logger().registerLogger();
    EXPECT_EQ(logger().logFilePath(), path);
    EXPECT_TRUE(path.startsWith(dir_.path()));
    logger().flush();
    EXPECT_EQ(readFile(path).count(u"logging to file: "_s + path), 1);
    logger().shutdown();
    EXPECT_FALSE(logger().enabled());
    VF_LOG("after shutdown");
    EXPECT_FALSE(readFile(path).contains(u"after shutdown"));
}

// Builds a message for the file sink at a chosen time.
spdlog::details::log_msg messageAt(RollingFileSink::Clock::time_point time, std::string_view text) {
    spdlog::details::log_msg msg(spdlog::source_loc{"x.cpp", 1, "f"}, "t", spdlog::level::debug, text);
    msg.time = time;
    return msg;
}

TEST(RollingFileSinkTest, RollsBySizeAndAgeKeepingOneArchive) {
    QTemporaryDir dir;
    const auto start = RollingFileSink::Clock::now();
    const std::string line(60, 'a');  // about 100 bytes once formatted
    {
        RollingFileSink sink(dir.path(), 250, std::chrono::seconds(86400), 1);
        const QString first = sink.currentPath();
        sink.log(messageAt(start, line));
        sink.log(messageAt(start, line));
        EXPECT_EQ(sink.currentPath(), first);
        sink.log(messageAt(start, line));  // would pass 250 bytes
        const QString second = sink.currentPath();
        EXPECT_NE(second, first);
        EXPECT_EQ(RollingFileSink::logFiles(dir.path()), (QStringList{second, first}));

        // The first file was opened a moment after `start`: one day and a bit.
        sink.log(messageAt(start + std::chrono::hours(24) + std::chrono::seconds(1), "a day later"));
        const QString third = sink.currentPath();
        EXPECT_NE(third, second);
        EXPECT_EQ(RollingFileSink::logFiles(dir.path()), (QStringList{third, second}));
        EXPECT_EQ(RollingFileSink::newestLogFile(dir.path()), third);
        EXPECT_TRUE(readFile(third).endsWith(u"a day later\n"));
    }
    // A fresh sink goes on with the newest file while it is young and small.
    RollingFileSink again(dir.path(), 250, std::chrono::hours(48), 1);
    EXPECT_EQ(again.currentPath(), RollingFileSink::newestLogFile(dir.path()));
}

}  // namespace
}  // namespace vf
