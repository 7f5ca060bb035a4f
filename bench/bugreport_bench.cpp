// Opening a bugreport of a million log lines and as many bytes of dumpsys
// text: as its text (mapped) and as its zip (inflated once, as a stream),
// against opening the same log lines as a plain file.
//
// Goals: the report's text opens in <= 2 x the plain log's time per byte
// (one thread scans the report, every core parses a plain log); the
// anonymous memory the zip's rows hold is <= 1.5 x the log section's bytes
// (the log text once and the rows, no dumpsys), the text's <= 0.5 x its
// file (the rows point into the mapping).
#include <benchmark/benchmark.h>

#include <QString>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <malloc.h>
#include <map>
#include <zip.h>

#include "benchdata.h"
#include "core/log/bugreport.h"
#include "core/log/logparser.h"

namespace {

using vf::bench::Layout;

std::map<std::string, double>& figures() {
    static std::map<std::string, double> made;
    return made;
}

// The report's text and its zip, made on first use from the bench log.
struct ReportFiles {
    std::string log, text, zip;
    size_t logBytes = 0;
};

const ReportFiles& reportFiles() {
    static const ReportFiles files = [] {
        ReportFiles f;
        f.log = vf::bench::benchLogFile(Layout::ThreadTime);
        f.logBytes = vf::bench::fileSize(f.log);
        f.text = vf::bench::kCacheDir + "/bugreport-threadtime-1000000.txt";
        f.zip = vf::bench::kCacheDir + "/bugreport-threadtime-1000000.zip";
        if (vf::bench::fileSize(f.zip) > 0) return f;
        {
            std::ofstream out(f.text, std::ios::binary | std::ios::trunc);
            out << "=====\n== dumpstate: 2024-03-17 16:13:38\n=====\nBuild fingerprint: 'bench/bench:14/B/1:user/keys'\n"
                << "------ DUMPSYS (dumpsys -a) ------\n";
            const std::string filler = "  mState=a line of service state that is not a log line, 0x7f3a12c0 ...\n";
            for (size_t done = 0; done < f.logBytes; done += filler.size()) out << filler;
            out << "------ 9.1s was the duration of 'DUMPSYS' ------\n"
                << "------ SYSTEM LOG (logcat -v threadtime -v printable -d *:v) ------\n"
                << std::ifstream(f.log, std::ios::binary).rdbuf()
                << "------ 0.9s was the duration of 'SYSTEM LOG' ------\n";
        }
        int error = 0;
        zip_t* archive = zip_open(f.zip.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
        zip_file_add(archive, "bugreport-bench.txt", zip_source_file(archive, f.text.c_str(), 0, -1), 0);
        zip_close(archive);
        return f;
    }();
    return files;
}

// Opens `path` with `read` and keeps the rows until the anonymous memory they
// hold is measured.
template <typename Read>
void measureOpen(benchmark::State& state, const std::string& name, Read read) {
    reportFiles();  // made before the clock starts
    double seconds = 0, held = 0;
    qsizetype rows = 0;
    for (auto _ : state) {
        ::malloc_trim(0);  // what an earlier run freed must not be taken again unseen
        const size_t before = vf::bench::anonymousBytes();
        const auto start = std::chrono::steady_clock::now();
        const vf::RowList kept = read();
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        held = double(vf::bench::anonymousBytes()) - double(before);
        rows = kept.size();
    }
    state.counters["rows"] = double(rows);
    state.counters["held_MB"] = held / 1e6;
    figures()[name + " (ms)"] = seconds * 1e3;
    figures()[name + ": anonymous memory held (MB)"] = held / 1e6;
}

void BM_OpenPlainLog(benchmark::State& state) {
    measureOpen(state, "plain log", [] {
        return vf::readTextFile(QString::fromStdString(reportFiles().log), vf::rowCounter()).value_or(vf::RowList());
    });
}

void BM_OpenReportText(benchmark::State& state) {
    measureOpen(state, "report text",
                [] { return vf::readBugreport(QString::fromStdString(reportFiles().text), vf::rowCounter()).rows; });
}

void BM_OpenReportZip(benchmark::State& state) {
    measureOpen(state, "report zip",
                [] { return vf::readBugreport(QString::fromStdString(reportFiles().zip), vf::rowCounter()).rows; });
}

BENCHMARK(BM_OpenReportZip)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenReportText)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenPlainLog)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void printSummary() {
    const ReportFiles& files = reportFiles();
    auto& f = figures();
    std::printf("\nSummary (log section %.1f MB, report text %.1f MB, zip %.1f MB)\n", double(files.logBytes) / 1e6,
                double(vf::bench::fileSize(files.text)) / 1e6, double(vf::bench::fileSize(files.zip)) / 1e6);
    for (const auto& [name, value] : f) std::printf("%-55s %14.3f\n", name.c_str(), value);
    std::printf("\n");
    using vf::bench::printGoal;
    if (f.count("report text (ms)") != 0 && f.count("plain log (ms)") != 0)
        printGoal("bugreport text open / plain log open, per byte",
                  f["report text (ms)"] / double(vf::bench::fileSize(files.text)) /
                      (f["plain log (ms)"] / double(files.logBytes)),
                  "<= 2");
    if (f.count("report zip (ms)") != 0)
        printGoal("bugreport zip: memory held / log section",
                  f["report zip: anonymous memory held (MB)"] * 1e6 / double(files.logBytes), "<= 1.5");
    if (f.count("report text (ms)") != 0)
        printGoal("bugreport text: memory held / report file",
                  f["report text: anonymous memory held (MB)"] * 1e6 / double(vf::bench::fileSize(files.text)),
                  "<= 0.5");
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printSummary();
    return 0;
}
