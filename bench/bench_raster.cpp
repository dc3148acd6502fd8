// A whole raster read for the single-raster renderer, against GDAL's own
// gdal_translate -outsize of the same window, side by side: a 4096 x 4096
// single-band Float32 GeoTIFF (64 MiB, written on first use) read at the
// size getEntireRasterData halves it to. Each iteration opens the file
// afresh, so that neither side finds the other's blocks in GDAL's cache.
//   bench_raster [--raster=PATH] [google benchmark flags]

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <cpl_string.h>
#include <gdal_priv.h>
#include <gdal_utils.h>

#include "bench_data.h"
#include "host/entire_raster.h"
#include "host/gdal_raster_dataset.h"
#include "platform/debug_stream.h"

namespace {

constexpr int kSide = 4096;

int reduced_side()
{
    int w = kSide, h = kSide;
    Tolmar::host::reduce_raster_size(Tolmar::host::kEntireRasterLimit, w, h);
    return w;
}
int const kOut = reduced_side();
std::string gRaster = "/tmp/tolmar_bench/raster4096.tif";

bool write_raster(std::string const& path)
{
    GDALAllRegister();
    GDALDriver* gtiff = GetGDALDriverManager()->GetDriverByName("GTiff");
    CPLStringList options;
    options.SetNameValue("TILED", "YES");
    std::unique_ptr<GDALDataset> ds(gtiff->Create(path.c_str(), kSide, kSide, 1, GDT_Float32, options.List()));
    if (!ds) return false;
    double gt[6] = {500000, 2, 0, 6000000, 0, -2};
    ds->SetGeoTransform(gt);
    OGRSpatialReference srs;
    srs.importFromEPSG(32631);
    ds->SetSpatialRef(&srs);
    std::vector<float> row(kSide);
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) row[static_cast<std::size_t>(x)] = std::sin(x * 0.01f) * std::cos(y * 0.013f) * 100;
        if (ds->GetRasterBand(1)->RasterIO(GF_Write, 0, y, kSide, 1, row.data(), kSide, 1, GDT_Float32, 0, 0, nullptr) !=
            CE_None)
            return false;
    }
    return true;
}

void BM_GetEntireRasterData(benchmark::State& state)
{
    for (auto _ : state) {
        std::string why;
        auto ds = Tolmar::host::open_raster_dataset(gRaster, &why);
        if (!ds) return state.SkipWithError(why.c_str());
        Tolmar::host::Raster raster;
        if (!Tolmar::host::getEntireRasterData(ds, nullptr, Tolmar::vec<int, 4>{{0, -1, -1, -1}}, raster))
            return state.SkipWithError("getEntireRasterData failed");
        benchmark::DoNotOptimize(raster.drape.values.data());
    }
    state.SetBytesProcessed(state.iterations() * 4LL * kOut * kOut);
}

// gdal_translate -outsize N N [-of MEM]: the program's own code, through the
// library call it makes.
void BM_GdalTranslateOutsize(benchmark::State& state)
{
    bool const to_file = state.range(0) != 0;
    std::string const out = to_file ? gRaster + ".translated.tif" : "";
    CPLStringList args;
    std::string const side = std::to_string(kOut);
    for (char const* a : {"-outsize", side.c_str(), side.c_str(), "-of", to_file ? "GTiff" : "MEM", "-q"})
        args.AddString(a);
    GDALTranslateOptions* options = GDALTranslateOptionsNew(args.List(), nullptr);
    for (auto _ : state) {
        GDALDatasetH src = GDALOpen(gRaster.c_str(), GA_ReadOnly);
        if (!src) return state.SkipWithError("cannot open the raster");
        GDALDatasetH dst = GDALTranslate(out.c_str(), src, options, nullptr);
        if (!dst) return state.SkipWithError("GDALTranslate failed");
        if (!to_file) {
            // A MEM dataset holds its pixels; read them out as the other side does.
            std::vector<float> values(static_cast<std::size_t>(kOut) * kOut);
            if (GDALRasterIO(GDALGetRasterBand(dst, 1), GF_Read, 0, 0, kOut, kOut, values.data(), kOut, kOut,
                             GDT_Float32, 0, 0) != CE_None)
                return state.SkipWithError("reading the translated raster failed");
            benchmark::DoNotOptimize(values.data());
        }
        GDALClose(dst);
        GDALClose(src);
    }
    GDALTranslateOptionsFree(options);
    state.SetBytesProcessed(state.iterations() * 4LL * kOut * kOut);
}

BENCHMARK(BM_GetEntireRasterData)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_GdalTranslateOutsize)->Arg(0)->Arg(1)->ArgName("to_file")->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    Tolmar::platform::set_debug_sink([](std::string_view) {});
    GDALAllRegister();
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i)
        if (!tolmar_bench::take_flag(argv[i], "--raster", gRaster)) rest.push_back(argv[i]);
    return tolmar_bench::run_with_data("bench_raster", gRaster, write_raster, rest);
}
