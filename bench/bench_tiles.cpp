// Filling the tiles of a slice, as the tile renderer's sources do: from a
// brick file at once, and from an indexed SEG-Y file until the last tile is
// complete. The files are those bench/compare_segyio writes (it runs this
// and sets them side by side with segyio reading the same slices):
//   bench_tiles --segy=S.sgy --index=S.idx --cube=S.tmf [google benchmark flags]

#include <benchmark/benchmark.h>

#include <chrono>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench_data.h"
#include "foundation/Streamer3DGridReader.h"
#include "foundation/StreamerIndexedSEGY3DReader.h"
#include "graphics/tile_renderer/TileDataSourceIndexedSeismic3D.h"
#include "graphics/tile_renderer/TileDataSourceSeismic3D.h"
#include "platform/debug_stream.h"

namespace {

using Tolmar::vec;
using Key = Tolmar::TileDataSourceSeismic3DInterface::SliceKey;
using Tiles = std::map<int, Tolmar::TileDataSourceInterface::TextureTile>;

std::string gSegy, gIndex, gCube;
char const* const kKinds[3] = {"inline", "crossline", "time"};

// The middle inline, crossline or sample of the ranges.
template <class Source>
Key middle_slice(Source& s, int kind, vec<int, 3> inl, vec<int, 3> crl, vec<double, 3> z)
{
    s.set_inlrng(inl);
    s.set_crlrng(crl);
    s.set_timerng(z);
    int const samples = static_cast<int>((z[1] - z[0]) / z[2]) + 1;
    int const position = kind == 0   ? inl[0] + inl[2] * ((inl[1] - inl[0]) / inl[2] / 2)
                         : kind == 1 ? crl[0] + crl[2] * ((crl[1] - crl[0]) / crl[2] / 2)
                                     : static_cast<int>(z[0] + z[2] * (samples / 2));
    return Key{kind, position, {}};
}

// A clock that moves past each source's pause on every call, so that the
// benchmark measures the reads and not the pacing meant for frames.
struct Clock {
    std::uint64_t now = 0;
    std::uint64_t operator()() { return now += 1000; }
};

void BM_BrickTiles(benchmark::State& state)
{
    int const kind = static_cast<int>(state.range(0));
    bool const cold = state.range(1) != 0;
    auto kept = Tolmar::open_3dgrid_reader(gCube);
    if (!kept) return state.SkipWithError("cannot open the brick file");
    for (auto _ : state) {
        auto reader = cold ? Tolmar::open_3dgrid_reader(gCube) : kept;
        Clock clock;
        Tolmar::TileDataSourceSeismic3D source(reader, std::ref(clock));
        auto const& i = reader->info;
        source.set_slice_key(middle_slice(source, kind, i.inlineRange, i.crosslineRange,
                                          vec<double, 3>{{i.zStart, i.zStop, i.zStep}}));
        Tiles tiles;
        source.get_tiles(tiles, true);
        if (!source.is_complete()) return state.SkipWithError("a tile could not be read");
        benchmark::DoNotOptimize(tiles);
    }
    state.SetLabel(kKinds[kind]);
}
BENCHMARK(BM_BrickTiles)
    ->ArgsProduct({{0, 1, 2}, {1, 0}})
    ->ArgNames({"kind", "cold"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// A fresh reader each time (nothing cached in the process; the page cache
// is warm), polled every millisecond as a frame loop would poll it.
void BM_IndexedTiles(benchmark::State& state)
{
    int const kind = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::string why;
        auto reader = Tolmar::open_indexed_segy3d_reader(gSegy, gIndex, &why);
        if (!reader) return state.SkipWithError(why.c_str());
        Clock clock;
        Tolmar::TileDataSourceIndexedSeismic3D source(reader, std::ref(clock));
        auto const& h = reader->header();
        source.set_slice_key(middle_slice(source, kind, vec<int, 3>{{h.inlStart, h.inlStop, h.inlStep}},
                                          vec<int, 3>{{h.crlStart, h.crlStop, h.crlStep}},
                                          vec<double, 3>{{h.zStart, h.zStop, h.zStep}}));
        Tiles tiles;
        while (!source.is_complete()) {
            source.get_tiles(tiles, false);
            if (!source.is_complete()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        benchmark::DoNotOptimize(tiles);
    }
    state.SetLabel(kKinds[kind]);
}
BENCHMARK(BM_IndexedTiles)->DenseRange(0, 2)->ArgName("kind")->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    tolmar_bench::SurveyFiles files;
    std::vector<char*> rest;
    if (!tolmar_bench::take_survey_files("bench_tiles", argc, argv, files, rest)) return 2;
    gSegy = files.segy;
    gIndex = files.index;
    gCube = files.cube;
    // Each restart logs the plane's size; thousands of them would bury the figures.
    Tolmar::platform::set_debug_sink([](std::string_view) {});
    tolmar_bench::run_benchmarks(rest);
    return 0;
}
