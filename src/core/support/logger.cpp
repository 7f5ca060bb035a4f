// Placeholder implementation; replaced by the spdlog-backed logger.
#include "core/support/logger.h"

namespace vf {

struct Logger::Impl {};

Logger::Logger() : d(std::make_unique<Impl>()) {}
Logger::~Logger() = default;
Logger& Logger::getInstance() {
    static Logger instance;
    return instance;
}
void Logger::registerLogger() {}
bool Logger::isRegistered() const { return false; }
void Logger::shutdown() {}
QString Logger::logToString() { return QStringLiteral("no log found!"); }
QString Logger::logFilePath() const { return {}; }
QString Logger::logDirectory() { return {}; }
std::string Logger::formatLogMessage(const LogMessage& m) const { return m.text; }
std::string Logger::extractMethodName(std::string_view f) { return std::string(f); }
std::string Logger::stringFromDate(const QDateTime&) { return {}; }
std::string Logger::currentThreadId() { return {}; }
void Logger::write(LogFlag, const char*, const char*, int, std::string) {}
void Logger::writeSync(LogFlag, const char*, const char*, int, std::string) {}
bool Logger::enabled() const { return false; }

}  // namespace vf
