// Parse-only throughput of live threadtime lines (code 1, with the pid-map
// lookup the store does) and of file lines (code 3), in lines per second.
#include <benchmark/benchmark.h>

#include <mutex>
#include <string>
#include <unordered_map>

#include "benchdata.h"
#include "core/log/logparser.h"

namespace {

constexpr size_t kLines = 200'000;

const std::vector<std::string>& lines() {
    static const std::vector<std::string> made = vf::bench::liveLines(kLines);
    return made;
}

// The store's pid map: a hash map behind a lock, every pid known.
struct PidMap {
    std::mutex mutex;
    std::unordered_map<std::string, std::string> apps;
    PidMap() {
        for (int pid = 0; pid < 40000; ++pid) apps.emplace(std::to_string(pid), "com.example.app" + std::to_string(pid % 50));
    }
};

void parseAll(benchmark::State& state, vf::LogLineFormat format) {
    PidMap pids;
    const vf::AppNameLookup lookup = [&pids](std::string_view pid, std::string& out) {
        std::lock_guard lock(pids.mutex);
        const auto it = pids.apps.find(std::string(pid));
        if (it == pids.apps.end()) return false;
        out = it->second;
        return true;
    };
    uint64_t next = 0;
    const vf::RowIndexSource index = [&next] { return next++; };
    size_t rows = 0;
    for (auto _ : state) {
        // The stream copies each line into its arena before parsing: count it in.
        vf::RowArena arena;
        for (const std::string& text : lines()) {
            vf::RowPtr row = vf::parseThreadTimeLine(arena, arena.copyLine(text), format, index, lookup);
            rows += row ? 1 : 0;
            benchmark::DoNotOptimize(row);
        }
    }
    state.SetItemsProcessed(int64_t(state.iterations() * kLines));
    state.counters["lines/s"] = benchmark::Counter(double(state.iterations() * kLines), benchmark::Counter::kIsRate);
    state.counters["rows%"] = 100.0 * double(rows) / double(state.iterations() * kLines);
}

void BM_ParseLiveThreadTime(benchmark::State& state) { parseAll(state, vf::LogLineFormat::ThreadTimeLive); }
void BM_ParseFileThreadTime(benchmark::State& state) { parseAll(state, vf::LogLineFormat::ThreadTime); }

BENCHMARK(BM_ParseLiveThreadTime)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_ParseFileThreadTime)->Unit(benchmark::kMillisecond)->MinTime(1.0);

}  // namespace

BENCHMARK_MAIN();
