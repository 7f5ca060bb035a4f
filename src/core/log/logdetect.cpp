// Layout detection for files and the joining of long-layout entries.
#include "core/log/logparser.h"

#include <array>

#include "core/log/utf8.h"
#include "core/support/logger.h"

namespace vf {

namespace {

using namespace std::string_view_literals;

// Detection stops looking after this line; files are judged by their start.
constexpr size_t kLastDetectedLine = 31;

// The first six blank-separated tokens of a line (fewer when it has fewer).
std::array<std::string_view, 6> firstTokens(std::string_view line) {
    std::array<std::string_view, 6> tokens;
    for (std::string_view& token : tokens) {
        const size_t start = line.find_first_not_of(' ');
        if (start == std::string_view::npos) break;
        line.remove_prefix(start);
        token = line.substr(0, std::min(line.find(' '), line.size()));
        line.remove_prefix(token.size());
    }
    return tokens;
}

// A saved log writes the main thread's tid as "-": that is no level.
bool isLevelToken(std::string_view token) {
    return token.size() == 1 && (token[0] < '0' || token[0] > '9') && token[0] != '-';
}

// Date, time, then "uid pid tid L" or "pid tid L" (the pid may be app(pid)).
LogLineFormat classifyThreadTime(std::string_view line) {
    const auto t = firstTokens(line);
    if (!isLevelToken(t[4]) && isLevelToken(t[5])) return LogLineFormat::ThreadTimeUid;
    return t[2].find('(') != std::string_view::npos ? LogLineFormat::ThreadTimeApp : LogLineFormat::ThreadTime;
}

LogLineFormat classify(std::string_view line) {
    using utf8::asciiAt16;
    if (asciiAt16(line, 0) == '[') return LogLineFormat::Long;
    if (asciiAt16(line, 1) == '/') return line.find("):"sv) != std::string_view::npos ? LogLineFormat::Brief : LogLineFormat::Tag;
    if (asciiAt16(line, 1) == '(') return LogLineFormat::Process;
    if (asciiAt16(line, 18) == ':') return LogLineFormat::Dated;
    if (asciiAt16(line, 20) == '/') return LogLineFormat::Time;
    if (asciiAt16(line, 2) == '-') return classifyThreadTime(line);
    return LogLineFormat::Raw;
}

}  // namespace

// A file is settled by five agreeing lines from its start, but after a change
// it takes the changing line and five more. The asymmetry is how files have
// always been judged, so it stays.
LogLineFormat determineLogType(const std::vector<std::string_view>& lines) {
    int previous = 0;
    int current = 0;
    int matches = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        const std::string_view line = lines[i];
        if (utf8::utf16Length(line, 2) < 2) continue;
        current = int(classify(line));
        if (current == int(LogLineFormat::Long)) i += 2;  // the message line and the blank line of the entry
        if (previous == 0) {
            matches = 1;
        } else if (current == previous) {
            if (matches > 3) {
                VF_LOG("GOT TYPE:{}", current);
                return LogLineFormat(current);
            }
            ++matches;
        } else {
            matches = 0;
            VF_LOG("type changed:{} to {}, line:{}", previous, current, i);
        }
        if (i >= kLastDetectedLine) {
            VF_LOG("UNKNOWN FILE TYPE! {}", line);
            break;
        }
        previous = current;
    }
    VF_LOG("UNKNOWN FILE TYPE! matches:{}, prevType:{}", matches, previous);
    return LogLineFormat(current);
}

std::vector<std::string> joinLongFormatArray(const std::vector<std::string_view>& lines) {
    std::vector<std::string> joined;
    size_t i = 0;
    const auto next = [&](std::string_view& line) {
        if (i == lines.size()) return false;
        line = lines[i++];
        return true;
    };
    joinLongEntries(next, [&](std::string_view header, std::string_view message) {
        joined.emplace_back(std::string(header).append(message));
    });
    return joined;
}

}  // namespace vf
