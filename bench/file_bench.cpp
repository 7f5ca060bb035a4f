// Opening a million-line log file (map, detect, parse on every core, rows
// ready) against two grep passes over the same file; opening a 1 GB file,
// with the anonymous memory that costs and how soon its first rows come;
// and the parse-only throughput of live threadtime lines on one core.
//
// Goals: open <= 1.0 x G (G = LC_ALL=C grep -c ' E ' FILE), peak anonymous
// memory opening 1 GB <= 0.5 x the file, first rows of the 1 GB file in
// < 0.5 s, live parsing >= 3,000,000 lines/s per core.
#include <benchmark/benchmark.h>

#include <QString>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <thread>
#include <map>
#include <mutex>
#include <unordered_map>

#include "benchdata.h"
#include "core/log/logdatasource.h"
#include "core/log/logparser.h"

namespace {

using vf::bench::Layout;

// Figures for the summary table, by name.
std::map<std::string, double>& figures() {
    static std::map<std::string, double> made;
    return made;
}

vf::bench::CommandTimes grepError(const std::string& path) {
    static std::map<std::string, vf::bench::CommandTimes> cache;
    auto [it, added] = cache.try_emplace(path);
    if (added) it->second = vf::bench::grepErrorLevelTimes(path);
    return it->second;
}

std::optional<vf::RowList> open(const std::string& path) {
    return vf::readTextFile(QString::fromStdString(path), vf::rowCounter());
}

// Runs first, in a fresh process, so that freed memory of other runs does
// not hide the growth.
void BM_OpenPeakMemory(benchmark::State& state) {
    const std::string path = vf::bench::benchLogFile(Layout::ThreadTime);
    const double fileBytes = double(vf::bench::fileSize(path));
    double growth = 0;
    for (auto _ : state) {
        vf::bench::resetPeakResident();
        const size_t before = vf::bench::residentBytes();
        auto rows = open(path);
        growth = double(vf::bench::peakResidentBytes() - before);
        benchmark::DoNotOptimize(rows);
    }
    state.counters["file_MB"] = fileBytes / 1e6;
    state.counters["growth_MB"] = growth / 1e6;
    state.counters["x_file"] = growth / fileBytes;
    figures()["peak RSS growth (MB)"] = growth / 1e6;
    figures()["peak RSS growth / file size"] = growth / fileBytes;
}

// About a gigabyte of threadtime lines (made on first use, then cached).
constexpr size_t kGigabyteLines = 7'500'000;

double processCpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

// Samples the process's anonymous memory every millisecond while it lives.
class AnonymousPeak final {
public:
    AnonymousPeak() : base_(vf::bench::anonymousBytes()), peak_(base_) {
        sampler_ = std::thread([this] {
            while (!done_) {
                peak_ = std::max(peak_.load(), vf::bench::anonymousBytes());
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    ~AnonymousPeak() { stop(); }
    // Growth over the process's anonymous memory when sampling began.
    double growth() {
        stop();
        return double(peak_ - base_);
    }

private:
    void stop() {
        done_ = true;
        if (sampler_.joinable()) sampler_.join();
        peak_ = std::max(peak_.load(), vf::bench::anonymousBytes());
    }
    const size_t base_;
    std::atomic<size_t> peak_;
    std::atomic<bool> done_{false};
    std::thread sampler_;
};

// Runs first, in a fresh process, so that freed memory of other runs does
// not hide the growth. The file opens into a store, as the viewer opens
// it, and the first rows count from when the store holds any.
void BM_OpenGigabyte(benchmark::State& state) {
    const std::string path = vf::bench::benchLogFile(Layout::ThreadTime, kGigabyteLines);
    const double fileBytes = double(vf::bench::fileSize(path));
    double growth = 0, firstRows = 0, total = 0;
    qsizetype count = 0;
    for (auto _ : state) {
        AnonymousPeak peak;
        vf::LogDatasource store;
        const auto start = std::chrono::steady_clock::now();
        const auto since = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
        std::atomic<bool> reading{true};
        std::thread watcher([&] {
            while (reading && store.logEventCount() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
            firstRows = since();
        });
        const vf::TextFileRead read = store.openTextFile(QString::fromStdString(path), {});
        total = since();
        reading = false;
        watcher.join();
        growth = peak.growth();
        count = store.logEventCount();
        benchmark::DoNotOptimize(read);
    }
    state.counters["file_MB"] = fileBytes / 1e6;
    state.counters["rows"] = double(count);
    state.counters["anon_MB"] = growth / 1e6;
    state.counters["x_file"] = growth / fileBytes;
    state.counters["first_ms"] = firstRows * 1e3;
    figures()["1 GB: file (MB)"] = fileBytes / 1e6;
    figures()["1 GB: open (ms)"] = total * 1e3;
    figures()["1 GB: peak anonymous growth (MB)"] = growth / 1e6;
    figures()["1 GB: peak anonymous growth / file"] = growth / fileBytes;
    figures()["1 GB: first rows (ms)"] = firstRows * 1e3;
}

void openFile(benchmark::State& state, Layout layout, const std::string& name) {
    const std::string path = vf::bench::benchLogFile(layout);
    const vf::bench::CommandTimes g = grepError(path);
    qsizetype rows = 0;
    double cpu = 0;
    for (auto _ : state) {
        const double cpuStart = processCpuSeconds();
        auto opened = open(path);
        cpu += processCpuSeconds() - cpuStart;
        rows = opened ? opened->size() : 0;
        benchmark::DoNotOptimize(opened);
        state.PauseTiming();  // freeing the rows is closing the file, not opening it
        opened.reset();
        state.ResumeTiming();
    }
    figures()["open " + name + ", every thread (CPU ms)"] = cpu * 1e3 / double(state.iterations());
    state.counters["rows"] = double(rows);
    state.counters["G_ms"] = g.wall * 1e3;
    state.counters["G_cpu_ms"] = g.cpu * 1e3;
    state.counters["lines/s"] = benchmark::Counter(double(rows) * double(state.iterations()), benchmark::Counter::kIsRate);
    figures()["G " + name + ": grep -c ' E ' (ms)"] = g.wall * 1e3;
    figures()["G " + name + ": grep -c ' E ' (CPU ms)"] = g.cpu * 1e3;
}

void BM_OpenThreadTimeFile(benchmark::State& state) { openFile(state, Layout::ThreadTime, "threadtime"); }
void BM_OpenBriefFile(benchmark::State& state) { openFile(state, Layout::Brief, "brief"); }

// The store's pid map: a hash map behind a lock, every pid known.
struct PidMap {
    std::mutex mutex;
    std::unordered_map<std::string, std::string> apps;
    PidMap() {
        for (int pid = 0; pid < 40000; ++pid) apps.emplace(std::to_string(pid), "com.example.app" + std::to_string(pid % 50));
    }
};

void BM_ParseLiveLines(benchmark::State& state) {
    constexpr size_t kLines = 200'000;
    static const std::vector<std::string> lines = vf::bench::liveLines(kLines);
    PidMap pids;
    const vf::AppNameLookup lookup = [&pids](const vf::RowFields& fields, std::string& out) {
        std::lock_guard lock(pids.mutex);
        const auto it = pids.apps.find(std::string(vf::fieldOf(fields, vf::RowKey::Pid)));
        if (it == pids.apps.end()) return false;
        out = it->second;
        return true;
    };
    const auto format = vf::LogLineFormat(state.range(0));
    const vf::RowIndexSource index = vf::rowCounter();
    for (auto _ : state) {
        // The stream copies each line into its arena before parsing: that is counted in.
        vf::RowArena arena;
        vf::RowList rows;
        rows.reserve(qsizetype(kLines));
        for (const std::string& text : lines)
            if (vf::RowPtr row = vf::parseThreadTimeLine(arena, arena.copyLine(text), format, index, lookup))
                rows.append(std::move(row));
        state.PauseTiming();  // freeing the rows is the store's pruning, not parsing
        rows.clear();
        state.ResumeTiming();
    }
    state.counters["lines/s"] = benchmark::Counter(double(state.iterations() * kLines), benchmark::Counter::kIsRate);
}

BENCHMARK(BM_OpenPeakMemory)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenGigabyte)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenThreadTimeFile)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();
BENCHMARK(BM_OpenBriefFile)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();
BENCHMARK(BM_ParseLiveLines)->Arg(int(vf::LogLineFormat::ThreadTimeLive))->Arg(int(vf::LogLineFormat::ThreadTime))
    ->Unit(benchmark::kMillisecond)->MinTime(1.0);

// Collects each run's time for the summary table.
class SummaryReporter final : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const std::string name = run.benchmark_name();
            const double ms = run.GetAdjustedRealTime();  // every benchmark here reports in ms
            const double cpuMs = run.GetAdjustedCPUTime();
            for (const char* layout : {"threadtime", "brief"}) {
                const std::string bench = std::string("BM_Open") + (layout[0] == 't' ? "ThreadTime" : "Brief") + "File";
                if (!name.starts_with(bench)) continue;
                figures()[std::string("open ") + layout + " (ms)"] = ms;
                figures()[std::string("open ") + layout + " (CPU ms)"] = cpuMs;
            }
            if (name.starts_with("BM_ParseLiveLines/1")) figures()["parse live threadtime, code 1 (lines/s)"] = run.counters.at("lines/s");
            if (name.starts_with("BM_ParseLiveLines/3")) figures()["parse threadtime, code 3 (lines/s)"] = run.counters.at("lines/s");
        }
    }
};

void printSummary() {
    const std::string path = vf::bench::benchLogFile(Layout::ThreadTime);
    auto& f = figures();
    const vf::bench::CommandTimes search = vf::bench::grepSearchTimes(path);
    f["S threadtime: grep -ciE 'timeout|error' (ms)"] = search.wall * 1e3;
    f["S threadtime: grep -ciE 'timeout|error' (CPU ms)"] = search.cpu * 1e3;
    for (const std::string layout : {"threadtime", "brief"}) {
        if (f.count("open " + layout + " (ms)") == 0) continue;
        const std::string open = "open " + layout, g = "G " + layout + ": grep -c ' E '";
        f[open + " / G, wall"] = f[open + " (ms)"] / f[g + " (ms)"];
        f[open + " / G, CPU"] = f[open + " (CPU ms)"] / f[g + " (CPU ms)"];
        if (layout == "threadtime") {
            f[open + " / S, wall"] = f[open + " (ms)"] / f["S threadtime: grep -ciE 'timeout|error' (ms)"];
            f[open + " / S, CPU"] = f[open + " (CPU ms)"] / f["S threadtime: grep -ciE 'timeout|error' (CPU ms)"];
        }
    }
    std::printf("\nSummary (file %s, %.1f MB)\n", path.c_str(), double(vf::bench::fileSize(path)) / 1e6);
    std::printf("%-55s %14s\n", "figure", "value");
    for (const auto& [name, value] : f) std::printf("%-55s %14.3f\n", name.c_str(), value);
    std::printf("\n");
    using vf::bench::printGoal;
    if (f.count("open threadtime (ms)") != 0) {
        printGoal("open 1M threadtime lines / G, wall", f["open threadtime / G, wall"], "<= 1.0");
        printGoal("  CPU of every thread / CPU of G", f["open threadtime, every thread (CPU ms)"] / f["G threadtime: grep -c ' E ' (CPU ms)"],
                  "(busy machine: the fairer measure)");
        printGoal("  cores busy while opening (CPU / wall)",
                  f["open threadtime, every thread (CPU ms)"] / f["open threadtime (ms)"], "every core");
    }
    if (f.count("1 GB: file (MB)") != 0) {
        printGoal("peak anonymous memory opening 1 GB / file", f["1 GB: peak anonymous growth / file"], "<= 0.5");
        printGoal("first rows visible while 1 GB opens (s)", f["1 GB: first rows (ms)"] / 1e3, "< 0.5");
    }
    if (f.count("parse live threadtime, code 1 (lines/s)") != 0)
        printGoal("live path, lines/s per core (M)", f["parse live threadtime, code 1 (lines/s)"] / 1e6, ">= 3");
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    printSummary();
    return 0;
}
