// Hostile sizes: the work grows in proportion to the input. Importing a
// filter file of 100,000 and of 1,000,000 entries (the second should take
// about ten times the first: "entries/s" stays flat), and the JSON and XML
// printers on nesting 10,000 and 100,000 deep (output and time bounded by
// the indentation limit, "chars/s" flat).
#include <benchmark/benchmark.h>

#include <QTemporaryDir>

#include "core/filter/filterlibrary.h"
#include "core/text/textutils.h"

namespace {

class MemoryStore final : public vf::FilterStore {
public:
    std::optional<QVariantMap> read() const override { return QVariantMap{}; }
    void write(const QVariantMap&) override {}
};

void BM_ImportFilters(benchmark::State& state) {
    const qsizetype entries = qsizetype(state.range(0));
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("many.filters"));
    QVariantMap filters;
    for (qsizetype i = 0; i < entries; ++i)
        filters.insert(QStringLiteral("f%1").arg(i, 7, 10, QLatin1Char('0')),
                       QStringLiteral("name == 'T%1'").arg(i));
    vf::writeFilterFile(path, filters);
    for (auto _ : state) {
        MemoryStore store;
        vf::FilterLibrary library(store);
        library.load();
        benchmark::DoNotOptimize(library.importFilters(path).imported.size());
    }
    state.counters["entries/s"] = benchmark::Counter(double(entries) * double(state.iterations()),
                                                     benchmark::Counter::kIsRate);
}

void printDeep(benchmark::State& state, bool json) {
    const qsizetype depth = qsizetype(state.range(0));
    const QString text =
        json ? QString(depth, u'[') + QString(depth, u']')
             : QStringLiteral("<a>").repeated(depth) + QStringLiteral("</a>").repeated(depth);
    qsizetype written = 0;
    for (auto _ : state) {
        written = (json ? vf::TextUtils::lenientJsonPrettyPrinter(text)
                        : vf::TextUtils::lenientXMLPrettyPrinter(text))
                      .size();
        benchmark::DoNotOptimize(written);
    }
    state.counters["chars/s"] = benchmark::Counter(double(text.size()) * double(state.iterations()),
                                                   benchmark::Counter::kIsRate);
    state.counters["out_MB"] = double(written) * 2 / 1e6;
}

void BM_PrettyJsonDeep(benchmark::State& state) {
    printDeep(state, true);
}
void BM_PrettyXmlDeep(benchmark::State& state) {
    printDeep(state, false);
}

BENCHMARK(BM_ImportFilters)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(BM_PrettyJsonDeep)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PrettyXmlDeep)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
