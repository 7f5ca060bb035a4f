// What the crash detector costs: on the live path (a million lines through
// the store, the detector fed from the store's rows in the batches the
// viewer takes them, about every 5,000 lines) and on opening the
// million-line files (every row fed once after the file is read).
//
// Goal: the detector adds under 10 % to the live path and to opening a file.
// Figures are thread CPU seconds, best of the runs: the machine is shared.
// "visiting the rows only" is the floor of any pass over a million rows that
// have gone cold in the cache since they were parsed.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>

#include "benchdata.h"
#include "core/log/crashdetector.h"
#include "core/log/logdatasource.h"
#include "core/log/logparser.h"

namespace {

using vf::bench::Layout;

std::map<std::string, double>& figures() {
    static std::map<std::string, double> made;
    return made;
}

double cpuSeconds(clockid_t clock) {
    timespec ts{};
    clock_gettime(clock, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}
double threadCpuSeconds() { return cpuSeconds(CLOCK_THREAD_CPUTIME_ID); }
// Every thread's: the file is parsed on the pool as well.
double processCpuSeconds() { return cpuSeconds(CLOCK_PROCESS_CPUTIME_ID); }


const std::vector<std::string>& liveLines() {
    static const std::vector<std::string> lines = [] {
        std::vector<std::string> made = vf::bench::liveLines(vf::bench::kDefaultLines);
        for (std::string& line : made) line += '\n';
        return made;
    }();
    return lines;
}

// Feeds the rows appended since `fed`, as the Crashes panel does on each table update.
void feedNew(vf::CrashDetector& detector, const vf::MarkedRows& all, vf::ListMark& fed) {
    const vf::StoreChange change = vf::changeBetween(fed, all.mark);
    fed = all.mark;
    const qsizetype count = change.reset ? all.rows.size() : std::min(change.appended, all.rows.size());
    for (qsizetype i = all.rows.size() - count; i < all.rows.size(); ++i) detector.feed(*all.rows.at(i));
}

// range(0): 0 = the store alone, 1 = the store and the detector.
void BM_LiveWithDetector(benchmark::State& state) {
    constexpr size_t kBatch = 5000;  // about 0.25 s of a busy device's lines at 20,000 lines/s
    const bool detect = state.range(0) == 1;
    const std::vector<std::string>& lines = liveLines();
    double best = 1e9, bestDetector = 1e9;
    size_t found = 0;
    for (auto _ : state) {
        vf::LogDatasource store;
        vf::CrashDetector detector;
        vf::ListMark fed;
        double detectorCpu = 0;
        const double start = threadCpuSeconds();
        for (size_t i = 0; i < lines.size(); ++i) {
            store.addLiveLine(lines[i]);
            if (detect && (i + 1) % kBatch == 0) {
                const double before = threadCpuSeconds();
                feedNew(detector, store.allRows(), fed);
                detectorCpu += threadCpuSeconds() - before;
            }
        }
        best = std::min(best, threadCpuSeconds() - start);
        bestDetector = std::min(bestDetector, detectorCpu);
        found = detector.detectedCount();
        QCoreApplication::processEvents();
    }
    state.counters["crashes"] = double(found);
    if (detect) {
        figures()["live, store + detector, CPU (ms)"] = best * 1e3;
        figures()["live, detector share, CPU (ms)"] = bestDetector * 1e3;
        figures()["live, crashes found"] = double(found);
    } else {
        figures()["live, store alone, CPU (ms)"] = best * 1e3;
    }
}

void openWithDetector(benchmark::State& state, Layout layout, const std::string& name) {
    const std::string path = vf::bench::benchLogFile(layout);
    double bestOpen = 1e9, bestFeed = 1e9, bestVisit = 1e9;
    size_t found = 0;
    for (auto _ : state) {
        const double start = processCpuSeconds();
        auto rows = vf::readTextFile(QString::fromStdString(path), vf::rowCounter());
        const double opened = processCpuSeconds();
        // The floor: visiting every row once, reading its level.
        size_t errors = 0;
        for (const vf::RowPtr& row : rows.value_or(vf::RowList())) errors += row->type() == "E";
        benchmark::DoNotOptimize(errors);
        const double visited = processCpuSeconds();
        bestVisit = std::min(bestVisit, visited - opened);
        vf::CrashDetector detector;
        for (const vf::RowPtr& row : rows.value_or(vf::RowList())) detector.feed(*row);
        detector.finish();
        bestFeed = std::min(bestFeed, processCpuSeconds() - visited);
        bestOpen = std::min(bestOpen, opened - start);
        found = detector.detectedCount();
        benchmark::DoNotOptimize(rows);
    }
    state.counters["crashes"] = double(found);
    figures()["open " + name + ", read + parse, CPU (ms)"] = bestOpen * 1e3;
    figures()["open " + name + ", detector, CPU (ms)"] = bestFeed * 1e3;
    figures()["open " + name + ", visiting the rows only, CPU (ms)"] = bestVisit * 1e3;
    figures()["open " + name + ", detector / open (goal < 0.10)"] = bestFeed / bestOpen;
    figures()["open " + name + ", crashes found"] = double(found);
}

void BM_OpenThreadTimeWithDetector(benchmark::State& state) { openWithDetector(state, Layout::ThreadTime, "threadtime"); }
void BM_OpenBriefWithDetector(benchmark::State& state) { openWithDetector(state, Layout::Brief, "brief"); }

BENCHMARK(BM_LiveWithDetector)->Arg(0)->Arg(1)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenThreadTimeWithDetector)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenBriefWithDetector)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();

void printSummary() {
    auto& f = figures();
    if (f.count("live, store alone, CPU (ms)") && f.count("live, detector share, CPU (ms)")) {
        f["live, detector / store (goal < 0.10)"] = f["live, detector share, CPU (ms)"] / f["live, store alone, CPU (ms)"];
        f["live, (store + detector) / store - 1"] =
            f["live, store + detector, CPU (ms)"] / f["live, store alone, CPU (ms)"] - 1;
    }
    std::printf("\nSummary (%zu lines)\n", vf::bench::kDefaultLines);
    for (const auto& [name, value] : f) std::printf("%-60s %14.3f\n", name.c_str(), value);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    printSummary();
    benchmark::Shutdown();
    return 0;
}
