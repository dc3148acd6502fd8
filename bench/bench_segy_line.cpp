// Importing a 2D line through SEGYreader2D from the page cache: analyze (the
// shot-point repair) and read into the amplitudes buffer. The line is made
// on first use: IBM floats, shot points that repeat every 50th trace and
// skip three every 1000th.
//   bench_segy_line --line=PATH [--traces=20000 --samples=3000] [google benchmark flags]

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_data.h"
#include "segy/SEGYcoding.h"
#include "segy/SEGYreader2D.h"
#include "segy/SEGYwriter.h"

namespace {

using Tolmar::SEGYreader;

std::string gLine = "/tmp/tolmar_bench/line_20000x3000_ibm.sgy";
int gTraces = 20000, gSamples = 3000;

bool makeLine(std::string const& path)
{
    Tolmar::SEGYwriter w;
    w.setFormat(1);
    w.setIbmFloat(true);
    w.setSampleCount(gSamples);
    w.setSampleInterval(2000);
    if (!w.open(path)) return false;
    std::vector<float> trace(static_cast<std::size_t>(gSamples));
    int sp = 1000;
    for (int t = 0; t < gTraces; ++t) {
        if (t > 0 && t % 50 != 0) sp += t % 1000 == 501 ? 4 : 1;
        for (int k = 0; k < gSamples; ++k)
            trace[static_cast<std::size_t>(k)] =
                static_cast<float>(std::sin(0.05 * (k - 0.3 * t)) * 1000.0 + ((k * 7919 + t) % 61) - 30);
        double const x = 400000.0 + 12.5 * t, y = 6500000.0 + 5.0 * t;
        if (!w.writeTrace({{17, SEGYreader::Integer32, double(sp)},
                           {193, SEGYreader::Integer32, 1.0 + t},
                           {71, SEGYreader::Integer16, -100},
                           {181, SEGYreader::Integer32, x * 100},
                           {185, SEGYreader::Integer32, y * 100}},
                          trace))
            return false;
    }
    return w.close();
}

// analyze, then read as a whole (headersOnly false) or only the ranges.
void importLine(benchmark::State& state, bool headersOnly)
{
    SEGYreader::Type types[SEGYreader::SlotCount];
    int positions[SEGYreader::SlotCount];
    Tolmar::SEGYHeaderPositions().fill(types, positions);
    long long traces = 0;
    for (auto _ : state) {
        Tolmar::SEGYreader2D r;
        r.setFile(gLine);
        r.setIbmFloat(true);
        r.setStorage(static_cast<unsigned>(state.range(0)));
        int sp[9] = {-2147483647, 2147483647, 1};
        double ranges[13] = {0, 0, 0, 0, 0, 0, 0, 1e9, 0};
        std::vector<Tolmar::SEGYtrace> list;
        if (r.analyze(types, positions, sp, ranges, list) != 1 ||
            r.read(types, positions, sp, ranges, list, headersOnly) != 1)
            state.SkipWithError("import failed");
        traces = static_cast<long long>(list.size());
        benchmark::DoNotOptimize(r.amplitudes().data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(gLine)));
    state.counters["line_traces"] = static_cast<double>(traces);
}

void BM_ImportLine(benchmark::State& state) { importLine(state, false); }
BENCHMARK(BM_ImportLine)->Arg(32)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LineRanges(benchmark::State& state) { importLine(state, true); }
BENCHMARK(BM_LineRanges)->Arg(32)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        std::string v;
        if (tolmar_bench::take_flag(argv[i], "--line", v)) gLine = v;
        else if (tolmar_bench::take_flag(argv[i], "--traces", v)) gTraces = std::stoi(v);
        else if (tolmar_bench::take_flag(argv[i], "--samples", v)) gSamples = std::stoi(v);
        else rest.push_back(argv[i]);
    }
    return tolmar_bench::run_with_data("bench_segy_line", gLine, makeLine, rest);
}
