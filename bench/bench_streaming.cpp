// The brick streaming services on a 300 x 300 x 1000 float cube: per-call
// latency of the drawing thread's calls while reads are in flight, brick read
// throughput, and whole slices. The cube is written on first use:
//   bench_streaming --cube=PATH [google benchmark flags]

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "bench_cube.h"
#include "bench_data.h"
#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/slices.h"

namespace {

using Tolmar::vec;
using Clock = std::chrono::steady_clock;

using tolmar_bench::gCube;
using tolmar_bench::kNs, tolmar_bench::kNi, tolmar_bench::kCore, tolmar_bench::makeCube;

std::vector<Tolmar::BrickKey> levelZero(Tolmar::Streamer3DGridReader const& r)
{
    std::vector<Tolmar::BrickKey> keys;
    auto const n = r.grid().bricks_in_level(0);
    for (unsigned id = 0; id < n; ++id) keys.push_back({0, id});
    return keys;
}

// Reading and decoding every level-0 brick with a fresh reader (empty cache).
void BM_BrickReadThroughput(benchmark::State& state)
{
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto r = Tolmar::open_3dgrid_reader(gCube);
        r->set_cache_limit(std::size_t(2) << 30);
        std::vector<Tolmar::Streamer3DGridReader::BrickView> out;
        r->get_brick_views_blocking(levelZero(*r), out);
        bytes = out.size() * r->brick_bytes();
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_BrickReadThroughput)->Unit(benchmark::kMillisecond)->UseRealTime();

// The calls the drawing thread makes per frame, timed one by one while the
// streaming thread reads every level-0 brick.
void BM_CallLatencyWhileReading(benchmark::State& state)
{
    std::vector<double> request, poll, undef;
    for (auto _ : state) {
        auto r = Tolmar::open_3dgrid_reader(gCube);
        auto const keys = levelZero(*r);
        std::vector<Tolmar::Brick> out;
        for (std::size_t at = 0; at < keys.size(); at += 100) {
            std::vector<Tolmar::BrickKey> batch(keys.begin() + at, keys.begin() + std::min(keys.size(), at + 100));
            auto t0 = Clock::now();
            r->request_bricks(batch);
            auto t1 = Clock::now();
            out.clear();
            r->get_bricks_if_loaded(batch, out);
            auto t2 = Clock::now();
            benchmark::DoNotOptimize(r->is_undef_brick(batch.front()));
            auto t3 = Clock::now();
            request.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
            poll.push_back(std::chrono::duration<double, std::micro>(t2 - t1).count());
            undef.push_back(std::chrono::duration<double, std::micro>(t3 - t2).count());
        }
        // Then poll the last hundred, which arrive last, as a renderer polls what it still waits for.
        std::vector<Tolmar::BrickKey> const tail(keys.end() - 100, keys.end());
        while (r->is_loading_data()) {
            auto t1 = Clock::now();
            out.clear();
            r->get_bricks_if_loaded(tail, out);
            poll.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t1).count());
        }
    }
    auto report = [&](std::vector<double>& v, char const* name) {
        std::sort(v.begin(), v.end());
        state.counters[std::string(name) + "_median_us"] = v[v.size() / 2];
        state.counters[std::string(name) + "_worst_us"] = v.back();
    };
    report(request, "request100");
    report(poll, "poll100");
    report(undef, "is_undef");
}
BENCHMARK(BM_CallLatencyWhileReading)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// Whole slices; `cold` opens a fresh reader each time, warm keeps one.
template <class F>
void sliceBench(benchmark::State& state, F&& slice)
{
    bool const cold = state.range(0) != 0;
    auto kept = Tolmar::open_3dgrid_reader(gCube);
    kept->set_cache_limit(std::size_t(2) << 30);
    std::vector<float> out;
    vec<int, 2> size;
    for (auto _ : state) {
        auto r = cold ? Tolmar::open_3dgrid_reader(gCube) : kept;
        if (!slice(r, out, size)) state.SkipWithError("slice failed");
        benchmark::DoNotOptimize(out.data());
    }
}

void BM_Timeslice(benchmark::State& state)
{
    sliceBench(state, [](auto const& r, auto& out, auto& size) { return Tolmar::timeslice(r, 2000.0, out, size); });
}
BENCHMARK(BM_Timeslice)->Arg(1)->Arg(0)->ArgName("cold")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Iline(benchmark::State& state)
{
    sliceBench(state, [](auto const& r, auto& out, auto& size) { return Tolmar::iline(r, 150, out, size); });
}
BENCHMARK(BM_Iline)->Arg(1)->Arg(0)->ArgName("cold")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Crossline(benchmark::State& state)
{
    sliceBench(state, [](auto const& r, auto& out, auto& size) { return Tolmar::crossline(r, 150, out, size); });
}
BENCHMARK(BM_Crossline)->Arg(1)->Arg(0)->ArgName("cold")->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv) { return tolmar_bench::cube_main("bench_streaming", argc, argv); }
