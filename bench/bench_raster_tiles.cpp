// Tiles of a 16384 x 16384 single-band Byte GeoTIFF (tiled, 256 MiB,
// written on first use) read through StreamerRasterReader::read, against
// GDAL's RasterIO of the same windows into buffers of the same size,
// nearest neighbour both. The file comes twice: without overviews, and a
// copy with GDAL's own overviews (factors 2 to 128). An iteration opens
// the raster afresh, as the reader does after every draw, and reads a
// fixed sample of every level: up to 64 tiles spread over each, 389 in
// all. Counter: tiles a second.
//   bench_raster_tiles [--raster=PATH] [google benchmark flags]

#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <cpl_string.h>
#include <gdal_priv.h>

#include "bench_data.h"
#include "host/StreamerRasterReader.h"
#include "host/gdal_raster_dataset.h"
#include "platform/debug_stream.h"
#include "platform/text_encoding.h"

namespace {

using Tolmar::vec;
using namespace Tolmar::host;

constexpr int kSide = 16384;
constexpr int kTilesPerLevel = 64;
std::string gRaster = "/tmp/tolmar_bench/raster16384.tif";

std::string with_overviews(std::string const& path) { return path.substr(0, path.size() - 4) + "_ovr.tif"; }

bool write_raster(std::string const& path)
{
    GDALDriver* gtiff = GetGDALDriverManager()->GetDriverByName("GTiff");
    CPLStringList options;
    options.SetNameValue("TILED", "YES");
    {
        std::unique_ptr<GDALDataset> ds(gtiff->Create(path.c_str(), kSide, kSide, 1, GDT_Byte, options.List()));
        if (!ds) return false;
        double gt[6] = {500000, 1, 0, 6000000, 0, -1};
        ds->SetGeoTransform(gt);
        std::vector<unsigned char> rows(static_cast<std::size_t>(kSide) * 256);
        for (int y0 = 0; y0 < kSide; y0 += 256) {
            for (int y = 0; y < 256; ++y)
                for (int x = 0; x < kSide; ++x)
                    rows[static_cast<std::size_t>(y) * kSide + static_cast<std::size_t>(x)] =
                        static_cast<unsigned char>((x / 7 + (y0 + y) / 5) & 255);
            if (ds->GetRasterBand(1)->RasterIO(GF_Write, 0, y0, kSide, 256, rows.data(), kSide, 256, GDT_Byte, 0, 0,
                                               nullptr) != CE_None)
                return false;
        }
        // Stored in the file, so that opening does not compute them from
        // every pixel.
        ds->GetRasterBand(1)->SetStatistics(0, 255, 127.5, 73.9);
    }
    std::string const ovr = with_overviews(path);
    std::error_code ec;
    std::filesystem::copy_file(path, ovr, std::filesystem::copy_options::overwrite_existing, ec);
    std::unique_ptr<GDALDataset> ds(GDALDataset::Open(ovr.c_str(), GDAL_OF_RASTER | GDAL_OF_UPDATE));
    if (!ds) return false;
    int factors[] = {2, 4, 8, 16, 32, 64, 128};
    return ds->BuildOverviews("NEAREST", 7, factors, 0, nullptr, nullptr, nullptr, nullptr) == CE_None;
}

RasterSourceConnectionInfo source(std::string const& path)
{
    std::filesystem::path const p(path);
    RasterSourceConnectionInfo info;
    info.set_file_datasource(Tolmar::platform::from_utf8(p.parent_path().string()),
                             Tolmar::platform::from_utf8(p.filename().string()), nullptr,
                             vec<int, 4>{{0, -1, -1, -1}});
    return info;
}

// A reader with its raster open, driven on this thread.
std::unique_ptr<StreamerRasterReader> open_reader(std::string const& path)
{
    auto reader = std::make_unique<StreamerRasterReader>(Tolmar::Streamer2DBase::Clock{}, &open_raster_source_gdal);
    reader->start_datasource_open(source(path));
    bool finished = false;
    reader->process(0, finished);
    if (reader->state() != StreamerRasterReader::Open) return nullptr;
    return reader;
}

// One sampled tile and the window GDAL reads for it.
struct Window {
    TileKey key;
    int x, y, w, h;     // in the full-resolution raster
    int buf_w, buf_h;   // the tile's part inside its level
};

std::vector<Window> const& sample()
{
    static std::vector<Window> const windows = [] {
        std::vector<Window> out;
        auto const reader = open_reader(gRaster);
        if (!reader) return out;
        for (int level = 0; level < reader->num_levels(); ++level) {
            int const count = reader->tiles_x(level) * reader->tiles_y(level);
            int const n = std::min(count, kTilesPerLevel);
            vec<int, 2> const res = reader->get_pyramid_resolutions()[static_cast<std::size_t>(level)];
            int const sx = kSide / res[0], sy = kSide / res[1];
            for (int i = 0; i < n; ++i) {
                // Spread over the level, rows and columns alike.
                int const id = static_cast<int>(static_cast<long long>(i) * count / n + (count / n) / 2);
                vec<int, 2> offset;
                reader->get_tile_pixel_offset(level, id, offset);
                int const bw = std::min(128, res[0] - offset[0]), bh = std::min(128, res[1] - offset[1]);
                out.push_back(Window{TileKey{level, id}, offset[0] * sx, offset[1] * sy, bw * sx, bh * sy, bw, bh});
            }
        }
        return out;
    }();
    return windows;
}

std::string path_of(benchmark::State const& state) { return state.range(0) ? with_overviews(gRaster) : gRaster; }

void BM_TileReader(benchmark::State& state)
{
    auto const& windows = sample();
    if (windows.empty()) return state.SkipWithError("cannot open the raster");
    std::string const path = path_of(state);
    for (auto _ : state) {
        auto const reader = open_reader(path);
        if (!reader) return state.SkipWithError("cannot open the raster");
        RasterTile tile;
        for (Window const& w : windows) {
            tile.key = w.key;
            if (!reader->read(tile)) return state.SkipWithError("a tile read failed");
            benchmark::DoNotOptimize(tile.data.data());
        }
    }
    state.counters["tiles/s"] =
        benchmark::Counter(static_cast<double>(state.iterations() * windows.size()), benchmark::Counter::kIsRate);
}

// The peer: GDAL alone, the same windows into buffers of the same size,
// as Float32 (what the reader asks its host for) or in the file's Byte.
void BM_GdalRasterIO(benchmark::State& state)
{
    auto const& windows = sample();
    if (windows.empty()) return state.SkipWithError("cannot open the raster");
    std::string const path = path_of(state);
    bool const as_float = state.range(1) != 0;
    std::vector<float> floats(128 * 128);
    std::vector<unsigned char> bytes(128 * 128);
    for (auto _ : state) {
        std::unique_ptr<GDALDataset> ds(GDALDataset::Open(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY));
        if (!ds) return state.SkipWithError("cannot open the raster");
        GDALRasterBand* const band = ds->GetRasterBand(1);
        GDALRasterIOExtraArg extra;
        INIT_RASTERIO_EXTRA_ARG(extra);
        extra.eResampleAlg = GRIORA_NearestNeighbour;
        for (Window const& w : windows) {
            void* const buffer = as_float ? static_cast<void*>(floats.data()) : static_cast<void*>(bytes.data());
            if (band->RasterIO(GF_Read, w.x, w.y, w.w, w.h, buffer, w.buf_w, w.buf_h, as_float ? GDT_Float32 : GDT_Byte,
                               0, 0, &extra) != CE_None)
                return state.SkipWithError("RasterIO failed");
            benchmark::DoNotOptimize(buffer);
        }
    }
    state.counters["tiles/s"] =
        benchmark::Counter(static_cast<double>(state.iterations() * windows.size()), benchmark::Counter::kIsRate);
}

BENCHMARK(BM_TileReader)->ArgName("overviews")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_GdalRasterIO)
    ->ArgNames({"overviews", "float"})
    ->Args({0, 1})
    ->Args({1, 1})
    ->Args({0, 0})
    ->Args({1, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    Tolmar::platform::set_debug_sink([](std::string_view) {});
    GDALAllRegister();
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i)
        if (!tolmar_bench::take_flag(argv[i], "--raster", gRaster)) rest.push_back(argv[i]);
    if (std::filesystem::exists(gRaster) && !std::filesystem::exists(with_overviews(gRaster)))
        std::filesystem::remove(gRaster); // a run stopped halfway: write both again
    return tolmar_bench::run_with_data("bench_raster_tiles", gRaster, write_raster, rest);
}
