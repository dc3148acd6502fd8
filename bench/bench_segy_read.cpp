// Decoding every trace of a SEG-Y survey through the reader, from the page
// cache. The survey is made on first use:
//   bench_segy_read --survey=PATH [--inlines=300 --crosslines=300 --samples=1000]
//                   [google benchmark flags]

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "bench_data.h"
#include "platform/mapped_file.h"
#include "segy/SEGYreader.h"
#include "segy/SEGYreader3D.h"
#include "segy/SEGYwriter.h"

namespace {

using Tolmar::SEGYreader;

std::string gSurvey = "/tmp/tolmar_bench/survey_300x300x1000_ibm.sgy";
int gInlines = 300, gCrosslines = 300, gSamples = 1000;

constexpr int kPositions[SEGYreader::SlotCount] = {17, 189, 193, 71, 181, 185, 109, 69, 41};
constexpr SEGYreader::Type kTypes[SEGYreader::SlotCount] = {
    SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer16,
    SEGYreader::Integer32, SEGYreader::Integer32, SEGYreader::Integer16, SEGYreader::Integer16,
    SEGYreader::Integer32};

bool makeSurvey(std::string const& path)
{
    Tolmar::SEGYwriter w;
    w.setFormat(1);
    w.setIbmFloat(true);
    w.setSampleCount(gSamples);
    w.setSampleInterval(4000);
    w.setReelWord(28, 16, 2); // inline sorting
    if (!w.open(path)) return false;
    std::vector<float> trace(gSamples);
    for (int il = 0; il < gInlines; ++il)
        for (int xl = 0; xl < gCrosslines; ++xl) {
            for (int k = 0; k < gSamples; ++k)
                trace[k] = static_cast<float>(std::sin(0.05 * (k - 0.2 * il - 0.1 * xl)) * 1000.0 + ((k * 7919 + il) % 61) - 30);
            w.writeTrace({{189, SEGYreader::Integer32, 1.0 + il},
                          {193, SEGYreader::Integer32, 1.0 + xl},
                          {71, SEGYreader::Integer16, -100},
                          {181, SEGYreader::Integer32, (500000.0 + 25.0 * il) * 100},
                          {185, SEGYreader::Integer32, (6000000.0 + 25.0 * xl) * 100}},
                         trace);
        }
    return w.close();
}

// Walks the file trace by trace as the scans do.
class Walker : public SEGYreader {
public:
    Walker() : SEGYreader(3) { setIbmFloat(true); }

    // Decodes `count` traces from trace `first` on; answers the sum of their
    // first samples, so that nothing is optimised away.
    double decode(std::string const& path, long long first, long long count)
    {
        setFile(path);
        auto const in = Tolmar::platform::open_binary_input(path);
        std::istream* s = in.get();
        skipEBCDICheader(s);
        readReelHeader(s);
        skipTraceHeadersAndTraces(s, first);
        double sum = 0.0;
        for (long long i = 0; i < count; ++i) {
            int tsn, inl, crl, ns;
            double x, y, z;
            readTraceHeader(s, kTypes, kPositions, &tsn, nullptr, &inl, &crl, &x, &y, &z, nullptr, &ns);
            Tolmar::SEGYtrace t(tsn, 0, inl, crl, static_cast<float>(x), static_cast<float>(y), z, nSamples());
            readTrace(s, &t, 0.0, sampleRate());
            sum += t.sample(0);
        }
        return sum;
    }
};

long long traceCount() { return static_cast<long long>(gInlines) * gCrosslines; }

void report(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(gSurvey)));
    state.counters["traces_per_s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * static_cast<double>(traceCount()), benchmark::Counter::kIsRate);
}

// One reader on the caller's thread, every trace in file order.
void BM_ReadEveryTrace(benchmark::State& state)
{
    for (auto _ : state) {
        Walker w;
        benchmark::DoNotOptimize(w.decode(gSurvey, 0, traceCount()));
    }
    report(state);
}
BENCHMARK(BM_ReadEveryTrace)->Unit(benchmark::kMillisecond)->UseRealTime();

// Two readers on two threads, each on its own half of the file: readers hold
// no open file between calls, so they share nothing.
void BM_ReadEveryTraceTwoThreads(benchmark::State& state)
{
    long long const half = traceCount() / 2;
    for (auto _ : state) {
        double a = 0.0;
        std::thread second([&] {
            Walker w;
            a = w.decode(gSurvey, half, traceCount() - half);
        });
        Walker w;
        double const b = w.decode(gSurvey, 0, half);
        second.join();
        benchmark::DoNotOptimize(a + b);
    }
    report(state);
}
BENCHMARK(BM_ReadEveryTraceTwoThreads)->Unit(benchmark::kMillisecond)->UseRealTime();

// A scan reader on the whole survey.
void wholeSurvey(Tolmar::SEGYreader3D& r)
{
    r.setFile(gSurvey);
    r.setIbmFloat(true);
    r.setInlRange(0, 1 << 30, 1);
    r.setCrlRange(0, 1 << 30, 1);
    r.setZRange(0.0, 1e9, 0.001);
}

// The survey scan: every trace header, the whole index; with full, the
// samples too for the amplitude range.
void scanSurvey(benchmark::State& state, bool full)
{
    for (auto _ : state) {
        Tolmar::SEGYreader3D r;
        wholeSurvey(r);
        if (r.scan(kTypes, kPositions, false, full) != 1 || r.traceIndex().num_traces() != traceCount())
            state.SkipWithError("scan failed");
    }
    report(state);
}

void BM_ScanHeaders(benchmark::State& state) { scanSurvey(state, false); }
BENCHMARK(BM_ScanHeaders)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ScanFull(benchmark::State& state) { scanSurvey(state, true); }
BENCHMARK(BM_ScanFull)->Unit(benchmark::kMillisecond)->UseRealTime();

// Bricking the survey after a full scan: the whole import of a brick file.
// Counters split the time into waiting for traces, filling, compressing and
// writing (the last includes deriving the coarser levels at the end).
void BM_BrickSurvey(benchmark::State& state)
{
    std::string const folder = std::filesystem::path(gSurvey).parent_path().string() + "/";
    Tolmar::SEGY3DBrickWriter::Timings sum;
    for (auto _ : state) {
        state.PauseTiming();
        Tolmar::SEGYreader3D r;
        wholeSurvey(r);
        r.setStorage(static_cast<unsigned>(state.range(0)));
        if (r.scan(kTypes, kPositions, false, true) != 1) state.SkipWithError("scan failed");
        state.ResumeTiming();
        if (r.read_brick(folder, "bench_bricks", kTypes, kPositions, false) != 1) state.SkipWithError("bricking failed");
        auto const& t = r.brickTimings();
        sum.reading += t.reading;
        sum.filling += t.filling;
        sum.compressing += t.compressing;
        sum.writing += t.writing;
    }
    report(state);
    auto const n = static_cast<double>(state.iterations());
    state.counters["reading_s"] = sum.reading / n;
    state.counters["filling_s"] = sum.filling / n;
    state.counters["compressing_s"] = sum.compressing / n;
    state.counters["writing_s"] = sum.writing / n;
}
BENCHMARK(BM_BrickSurvey)->Arg(32)->Arg(8)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        std::string v;
        if (tolmar_bench::take_flag(argv[i], "--survey", v)) gSurvey = v;
        else if (tolmar_bench::take_flag(argv[i], "--inlines", v)) gInlines = std::stoi(v);
        else if (tolmar_bench::take_flag(argv[i], "--crosslines", v)) gCrosslines = std::stoi(v);
        else if (tolmar_bench::take_flag(argv[i], "--samples", v)) gSamples = std::stoi(v);
        else rest.push_back(argv[i]);
    }
    return tolmar_bench::run_with_data("bench_segy_read", gSurvey, makeSurvey, rest);
}
