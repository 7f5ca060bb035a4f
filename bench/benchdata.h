#pragma once
// Shared data for the benchmarks: a large realistic log file made from the
// sample device log (generated once and cached under /tmp), the live lines
// of that log, the reference timings of two grep commands over the file,
// and the process's memory figures.
//
// Everything here runs on the benchmark's own thread; nothing is thread-safe.

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#ifndef VF_SAMPLE_LOG
#error "VF_SAMPLE_LOG must name the sample device log"
#endif

namespace vf::bench {

inline constexpr size_t kDefaultLines = 1'000'000;
inline const std::string kCacheDir = "/tmp/vellumfox-bench";

enum class Layout { ThreadTime, Brief };

// One message of the sample log.
struct SampleRecord {
    char level = 'I';
    std::string tag;
    std::string message;
};

// Level, tag and message of every line of the sample device log (read now,
// by path; the sample is never copied anywhere).
inline std::vector<SampleRecord> sampleRecords() {
    std::ifstream in(VF_SAMPLE_LOG, std::ios::binary);
    if (!in) throw std::runtime_error("sample device log not found");
    std::vector<SampleRecord> records;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        // "MM-dd HH:mm:ss.SSS  pid  tid L Tag: message"
        std::istringstream fields(line);
        std::string date, time, pid, tid, level;
        if (!(fields >> date >> time >> pid >> tid >> level) || level.size() != 1) continue;
        const size_t tagStart = size_t(fields.tellg()) + 1;
        const size_t colon = line.find(':', tagStart);
        if (colon == std::string::npos) continue;
        std::string tag = line.substr(tagStart, colon - tagStart);
        while (!tag.empty() && tag.back() == ' ') tag.pop_back();
        const size_t text = std::min(line.size(), colon + 2);
        records.push_back({level[0], tag, line.substr(text)});
    }
    return records;
}

// Makes lines that vary times, pids, tags and text the way a busy device
// does: tags padded to eight columns, a few per cent non-ASCII text, and
// now and then an app crash with its stack trace.
class LineMaker final {
public:
    explicit LineMaker(Layout layout) : layout_(layout), records_(sampleRecords()) {
        for (int i = 0; i < 40; ++i) pids_.push_back(int(rng_() % 30000) + 100);
    }

    // The next record's line without the line feed.
    std::string next() {
        if (!crash_.empty()) {
            std::string line = format('E', "AndroidRuntime", crashPid_, crashPid_, crash_.back());
            crash_.pop_back();
            return line;
        }
        ++count_;
        millis_ += rng_() % 7;
        if (count_ % 25000 == 0) startCrash();
        const SampleRecord& record = records_[rng_() % records_.size()];
        const int pid = pids_[rng_() % pids_.size()];
        const int tid = rng_() % 3 == 0 ? pid : pid + int(rng_() % 400);
        std::string text = record.message;
        if (rng_() % 100 < 3) text += " \xE2\x80\x94 caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E \xF0\x9F\x93\xB1";
        return format(record.level, record.tag, pid, tid, text);
    }

private:
    std::string format(char level, const std::string& tag, int pid, int tid, const std::string& text) const {
        char head[96];
        const long long ms = millis_;
        const int h = int(ms / 3600000 % 24), m = int(ms / 60000 % 60), s = int(ms / 1000 % 60), f = int(ms % 1000);
        if (layout_ == Layout::ThreadTime) {
            std::snprintf(head, sizeof head, "03-17 %02d:%02d:%02d.%03d %5d %5d %c ", h, m, s, f, pid, tid, level);
            std::string line(head);
            line += tag;
            if (tag.size() < 8) line.append(8 - tag.size(), ' ');
            return line + ": " + text;
        }
        std::snprintf(head, sizeof head, "(%5d): ", pid);
        std::string line(1, level);
        line += '/';
        line += tag;
        if (tag.size() < 8) line.append(8 - tag.size(), ' ');
        return line + head + text;
    }

    void startCrash() {
        crashPid_ = pids_[rng_() % pids_.size()];
        std::vector<std::string> block{
            "FATAL EXCEPTION: main",
            "Process: com.example.bench, PID: " + std::to_string(crashPid_),
            "java.lang.IllegalStateException: Could not execute method for android:onClick",
            "\tat android.view.View$DeclaredOnClickListener.onClick(View.java:4725)",
            "\tat android.view.View.performClick(View.java:5637)",
            "\tat android.os.Handler.handleCallback(Handler.java:751)",
            "\tat android.os.Looper.loop(Looper.java:154)",
            "\tat android.app.ActivityThread.main(ActivityThread.java:6119)",
            "Caused by: java.lang.NullPointerException: Attempt to invoke virtual method on a null object reference",
            "\tat com.example.bench.MainActivity.onSend(MainActivity.java:88)",
            "\t... 11 more"};
        crash_.assign(block.rbegin(), block.rend());
    }

    Layout layout_;
    std::vector<SampleRecord> records_;
    std::vector<int> pids_;
    std::vector<std::string> crash_;
    int crashPid_ = 0;
    long long millis_ = (16LL * 3600 + 13 * 60 + 38) * 1000 + 811;
    size_t count_ = 0;
    std::mt19937 rng_{20240317};
};

// `count` live threadtime lines (no line feeds), as the stream delivers them.
inline std::vector<std::string> liveLines(size_t count) {
    LineMaker maker(Layout::ThreadTime);
    std::vector<std::string> lines;
    lines.reserve(count);
    for (size_t i = 0; i < count; ++i) lines.push_back(maker.next());
    return lines;
}

inline size_t fileSize(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? size_t(st.st_size) : 0;
}

// Path of a log file of `lines` records in `layout` (LF endings, a
// beginning-of-buffer banner first). Made on first use, then reused.
inline std::string benchLogFile(Layout layout = Layout::ThreadTime, size_t lines = kDefaultLines) {
    const std::string path = kCacheDir + (layout == Layout::ThreadTime ? "/threadtime-" : "/brief-") +
                             std::to_string(lines) + ".log";
    if (fileSize(path) > 0) return path;
    std::system(("mkdir -p " + kCacheDir).c_str());
    const std::string partial = path + ".part" + std::to_string(::getpid());
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        LineMaker maker(layout);
        out << "--------- beginning of main\n";
        for (size_t i = 1; i < lines; ++i) out << maker.next() << '\n';
        if (!out) throw std::runtime_error("cannot write " + partial);
    }
    std::rename(partial.c_str(), path.c_str());
    return path;
}

// Wall-clock and CPU seconds (user + system) of a command. On a busy
// machine the CPU figure is the fairer one to compare with.
struct CommandTimes {
    double wall = 0;
    double cpu = 0;
};

inline double childCpuSeconds() {
    struct rusage usage {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The fastest of `runs` runs of a shell command (after one warm-up run that
// also brings the file into the page cache), in each measure.
inline CommandTimes timeCommandTimes(const std::string& command, int runs = 3) {
    std::system(command.c_str());
    CommandTimes best{1e9, 1e9};
    for (int i = 0; i < runs; ++i) {
        const double cpuBefore = childCpuSeconds();
        const auto start = std::chrono::steady_clock::now();
        std::system(command.c_str());
        best.wall = std::min(best.wall, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        best.cpu = std::min(best.cpu, childCpuSeconds() - cpuBefore);
    }
    return best;
}

inline double timeCommand(const std::string& command, int runs = 3) { return timeCommandTimes(command, runs).wall; }

// Where this process puts a command's output (several benchmarks may run at once).
inline std::string outputFile(const char* name) {
    return kCacheDir + "/" + name + "." + std::to_string(::getpid()) + ".out";
}

// G: counting error-level lines, the cheapest useful pass over the file.
inline CommandTimes grepErrorLevelTimes(const std::string& path) {
    return timeCommandTimes("LC_ALL=C grep -c ' E ' '" + path + "' > " + outputFile("grep-g"));
}
inline double timeGrepErrorLevel(const std::string& path) { return grepErrorLevelTimes(path).wall; }

// S: a case-insensitive search with alternatives, as a user would type it.
inline CommandTimes grepSearchTimes(const std::string& path) {
    return timeCommandTimes("grep -ciE 'timeout|error' '" + path + "' > " + outputFile("grep-s"));
}
inline double timeGrepSearch(const std::string& path) { return grepSearchTimes(path).wall; }

// Memory of this process, from /proc/self/status.
inline size_t statusBytes(const char* key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    const std::string prefix = std::string(key) + ":";
    while (std::getline(in, line))
        if (line.compare(0, prefix.size(), prefix) == 0) return size_t(std::strtoull(line.c_str() + prefix.size(), nullptr, 10)) * 1024;
    return 0;
}
inline size_t residentBytes() { return statusBytes("VmRSS"); }
// Anonymous memory only: the pages of a mapped file are the page cache's.
inline size_t anonymousBytes() { return statusBytes("RssAnon"); }

// The figures of the performance goals, one line each, prefixed so that
// scripts/bench gathers them from every benchmark into one table.
inline void printGoal(const std::string& figure, double value, const std::string& goal) {
    std::printf("goal | %-58s | %14.3f | %s\n", figure.c_str(), value, goal.c_str());
}
inline size_t peakResidentBytes() { return statusBytes("VmHWM"); }

// Sets the peak (VmHWM) back to the current resident size.
inline void resetPeakResident() {
    std::ofstream out("/proc/self/clear_refs");
    out << "5";
}

}  // namespace vf::bench
