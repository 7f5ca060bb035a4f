// Queries over a million rows: compiling one, and the re-filter the store
// makes (a full pass) by a query against the same filter written in the
// filter language, and against grep -ciE over the file.
//
// Goals: compiling < 1 ms; query / predicate <= 1.1 for "tag:X level:W"
// and for a regex. The grep ratios are printed for reference.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QString>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>

#include "benchdata.h"
#include "core/filter/query.h"
#include "core/log/filterpass.h"
#include "core/log/logparser.h"

namespace {

std::map<std::string, double>& figures() {
    static std::map<std::string, double> made;
    return made;
}

const vf::RowList& rows() {
    static const vf::RowList loaded = [] {
        return vf::readTextFile(QString::fromStdString(vf::bench::benchLogFile()), vf::rowCounter())
            .value_or(vf::RowList());
    }();
    return loaded;
}

vf::bench::CommandTimes grepTimes(const std::string& pattern) {
    return vf::bench::timeCommandTimes("grep -ciE '" + pattern + "' '" + vf::bench::benchLogFile() + "' > " +
                                       vf::bench::outputFile("grep-q"));
}

double processCpuSeconds() {
    struct rusage usage {};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The best wall and CPU time (every thread of the process) of full passes,
// as the store runs one after a filter change.
struct PassTimes {
    double wall = 1e9;
    double cpu = 1e9;
    qsizetype accepted = 0;

    void run(const vf::PredicatePtr& filter) {
        const std::atomic<bool> cancelled{false};
        const double cpuStart = processCpuSeconds();
        const auto start = std::chrono::steady_clock::now();
        const vf::FullPassResult result = vf::runFullPass(rows(), *filter, cancelled);
        wall = std::min(wall, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        cpu = std::min(cpu, processCpuSeconds() - cpuStart);
        accepted = result.accepted.size();
    }
};

struct Pair {
    const char* name;
    const char* query;
    const char* predicate;  // the same filter in the filter language
    const char* grep;       // a grep -ciE pattern for about the same rows
};
constexpr Pair kPairs[] = {
    {"tag:X level:W", "tag:Manager level:W", "type IN[cd] 'W,E,F,A' AND name CONTAINS[c] 'Manager'",
     " [wefa] [^:]*manager"},
    {"regex", "msg~:\"(?i)timeout|error\"", "text CONTAINS[c] 'timeout' OR text CONTAINS[c] 'error'", "timeout|error"},
};

// The query and its predicate take turns, so that a busy machine slows both alike.
void BM_Refilter(benchmark::State& state) {
    const Pair& pair = kPairs[state.range(0)];
    const vf::PredicatePtr query = vf::compileQuery(QString::fromUtf8(pair.query)).predicate;
    const vf::PredicatePtr predicate = vf::Predicate::parse(QString::fromUtf8(pair.predicate)).predicate;
    PassTimes byQuery, byPredicate;
    for (auto _ : state) {
        byPredicate.run(predicate);
        byQuery.run(query);
    }
    state.counters["rows"] = double(rows().size());
    state.counters["accepted"] = double(byQuery.accepted);
    const std::string name = "re-filter " + std::string(pair.name);
    const vf::bench::CommandTimes grep = grepTimes(pair.grep);
    figures()[name + ", query (ms)"] = byQuery.wall * 1e3;
    figures()[name + ", predicate (ms)"] = byPredicate.wall * 1e3;
    figures()[name + ", query CPU (ms)"] = byQuery.cpu * 1e3;
    figures()[name + ", predicate CPU (ms)"] = byPredicate.cpu * 1e3;
    figures()[name + ": query / predicate (goal <= 1.1)"] = byQuery.wall / byPredicate.wall;
    figures()[name + ": query / predicate, CPU"] = byQuery.cpu / byPredicate.cpu;
    figures()["grep -ciE '" + std::string(pair.grep) + "' (ms)"] = grep.wall * 1e3;
    figures()["grep -ciE '" + std::string(pair.grep) + "' CPU (ms)"] = grep.cpu * 1e3;
    figures()[name + ": query / grep -ciE"] = byQuery.wall / grep.wall;
    figures()[name + ": query / grep -ciE, CPU"] = byQuery.cpu / grep.cpu;
    if (byQuery.accepted != byPredicate.accepted) state.SkipWithError("the query and the predicate disagree");
}

void BM_Compile(benchmark::State& state) {
    const QString text = QStringLiteral(
        "package:com.example level:warn -msg:heartbeat (tag:Net | tag:Http) \"connection reset\" "
        "msg~:\"took \\d+ ms\" age:5m");
    double total = 0;
    int64_t count = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const vf::QueryResult result = vf::compileQuery(text);
        total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ++count;
        benchmark::DoNotOptimize(result.predicate);
    }
    figures()["compile a query of 7 terms with a regex (ms, goal < 1)"] = total / double(count) * 1e3;
}

BENCHMARK(BM_Compile)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_Refilter)->Arg(0)->Arg(1)->Iterations(7)->Unit(benchmark::kMillisecond)->UseRealTime();

void printSummary() {
    std::printf("\nSummary (file %s, %zu rows)\n", vf::bench::benchLogFile().c_str(), size_t(rows().size()));
    for (const auto& [name, value] : figures()) std::printf("%-66s %10.3f\n", name.c_str(), value);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);  // full passes share Qt's global pool
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    printSummary();
    benchmark::Shutdown();
    return 0;
}
