// The terrain layer: choosing the mesh tiles for a 1024 x 768 view (no GL,
// no data), and drawing an 8192 x 8192 DEM under an RGB drape of the same
// size on the headless context: the time to a complete picture from a cold
// start, the tiles uploaded a second meanwhile, and the frame time once
// everything is resident. The GeoTIFFs (tiled, with overviews, about 700
// MiB) are written on first use.
//   bench_terrain [--dir=PATH] [google benchmark flags]

#include <benchmark/benchmark.h>

#include <GL/glew.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <cpl_string.h>
#include <gdal_priv.h>

#include "bench_data.h"
#include "graphics/TilePyramidRenderer.h"
#include "graphics/headless_gl.h"
#include "graphics/mat44.h"
#include "host/gdal_raster_dataset.h"

namespace {

using namespace Tolmar;

constexpr int kSide = 8192, kWidth = 1024, kHeight = 768;
constexpr double kPixel = 10, kX0 = 400000, kY0 = 7000000;
std::string gDir = "/tmp/tolmar_bench";

double height_at(int x, int y) { return 1000 + 600 * std::sin(x * 0.0015) * std::cos(y * 0.0011) + 0.05 * x; }

bool write_geotiff(std::string const& path, int bands, GDALDataType type,
                   std::function<double(int band, int x, int y)> const& value)
{
    GDALAllRegister();
    GDALDriver* gtiff = GetGDALDriverManager()->GetDriverByName("GTiff");
    CPLStringList options;
    options.SetNameValue("TILED", "YES");
    std::string const temp = path + ".part";
    {
        std::unique_ptr<GDALDataset> ds(gtiff->Create(temp.c_str(), kSide, kSide, bands, type, options.List()));
        if (!ds) return false;
        double gt[6] = {kX0, kPixel, 0, kY0, 0, -kPixel};
        ds->SetGeoTransform(gt);
        std::vector<double> row(kSide);
        for (int b = 0; b < bands; ++b)
            for (int y = 0; y < kSide; ++y) {
                for (int x = 0; x < kSide; ++x) row[static_cast<std::size_t>(x)] = value(b, x, y);
                if (ds->GetRasterBand(b + 1)->RasterIO(GF_Write, 0, y, kSide, 1, row.data(), kSide, 1, GDT_Float64, 0,
                                                       0, nullptr) != CE_None)
                    return false;
            }
        int levels[] = {2, 4, 8, 16, 32, 64};
        if (ds->BuildOverviews("NEAREST", 6, levels, 0, nullptr, nullptr, nullptr) != CE_None) return false;
    }
    std::filesystem::rename(temp, path);
    return true;
}

std::string dem_path() { return gDir + "/dem8192.tif"; }
std::string drape_path() { return gDir + "/drape8192.tif"; }

bool write_data(std::string const&)
{
    std::filesystem::create_directories(gDir);
    // The DEM last: its presence says that both are there.
    return write_geotiff(drape_path(), 3, GDT_Byte,
                         [](int b, int x, int y) {
                             return b == 0 ? (x / 64) % 256 : b == 1 ? (y / 64) % 256 : ((x ^ y) / 512 % 2) * 200;
                         }) &&
           write_geotiff(dem_path(), 1, GDT_Float32, [](int, int x, int y) { return height_at(x, y); });
}

// A perspective camera, 60 degrees vertically, looking at the middle of the
// area from the south-south-west; by default it sees the whole area.
void camera(double& distance, vec<double, 3>& eye, vec<double, 3>& target, double elevationDeg = 35,
            double distanceM = 0)
{
    double const half = kSide * kPixel / 2;
    target = {{kX0 + half, kY0 - half, 1000}};
    distance = distanceM > 0 ? distanceM : half * 1.6;
    double const el = elevationDeg * M_PI / 180, az = 30 * M_PI / 180;
    eye = {{target[0] - distance * std::cos(el) * std::sin(az), target[1] - distance * std::cos(el) * std::cos(az),
            target[2] + distance * std::sin(el)}};
}

void load_projection(double distance)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    double const n = distance * 0.01, top = n * std::tan(M_PI / 6);
    glFrustum(-top * kWidth / kHeight, top * kWidth / kHeight, -top, top, n, distance * 4);
}

void BM_TileSelection(benchmark::State& state)
{
    TilePyramidRenderer r;
    double const side = kSide * kPixel;
    r.setRenderArea({{{kX0, kY0 - side}}, {{kX0 + side, kY0}}});
    r.set_vertical_exaggeration(1);
    r.set_z_range(0, 2000);
    double distance = 0;
    vec<double, 3> eye{}, target{};
    camera(distance, eye, target, static_cast<double>(state.range(0)), static_cast<double>(state.range(1)));
    // The matrices as GL would hold them, relative to the local origin.
    double const* o = r.localOrigo();
    vec<double, 3> const e{{eye[0] - o[0], eye[1] - o[1], eye[2]}}, t{{target[0] - o[0], target[1] - o[1], target[2]}};
    float rotation[16], translate[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, modelview[16];
    // Straight down, north is up on the screen.
    vec<double, 3> const up = state.range(0) == 90 ? vec<double, 3>{{0, 1, 0}} : vec<double, 3>{{0, 0, 1}};
    camera_lookat_orientation_matrix(e, t, up, rotation);
    for (int a = 0; a < 3; ++a) translate[12 + a] = static_cast<float>(-e[a]);
    mat44_mult_mat44(rotation, translate, modelview);
    double const n = distance * 0.01, f = distance * 4, c = 1 / std::tan(M_PI / 6);
    float projection[16] = {};
    projection[0] = static_cast<float>(c * kHeight / kWidth);
    projection[5] = static_cast<float>(c);
    projection[10] = static_cast<float>((f + n) / (n - f));
    projection[11] = -1;
    projection[14] = static_cast<float>(2 * f * n / (n - f));
    r.set_camera(modelview, projection, {{kWidth, kHeight}});
    for (auto _ : state) {
        r.update_current_tiles();
        benchmark::DoNotOptimize(r.get_current_tiles().size());
    }
    state.counters["mesh_tiles"] = static_cast<double>(r.get_current_tiles().size());
}
// Elevation in degrees, distance in metres: the whole 82 km area, a
// closer oblique view, and grazing views near the ground.
BENCHMARK(BM_TileSelection)
    ->ArgNames({"elevation", "distance"})
    ->Args({35, 0})
    ->Args({90, 5000})
    ->Args({35, 8000})
    ->Args({10, 3000})
    ->Args({3, 1500})
    ->Unit(benchmark::kMicrosecond);

struct Terrain {
    std::unique_ptr<platform::HeadlessGL> gl;
    std::unique_ptr<TilePyramidRenderer> layer;
    double distance = 0;
    vec<double, 3> eye{}, target{};

    Terrain()
    {
        host::set_raster_source_opener([](host::RasterSourceConnectionInfo const& i, std::string* why) {
            return host::open_raster_dataset(i.workspace_type, i.connection_properties, i.connection_name, why);
        });
        std::string error;
        gl = platform::HeadlessGL::create(kWidth, kHeight, error);
        if (!gl) return;
        LodRaster lod;
        auto record = [](std::string const& path, vec<int, 4> bands) {
            auto ds = host::open_raster_dataset(path);
            auto info = std::make_shared<host::RasterSourceConnectionInfo>();
            info->set_connection_props_datasource(ds->workspace_type(), ds->connection_properties(), ds->name(),
                                                  nullptr, bands);
            return info;
        };
        lod.height_source = record(dem_path(), {{0, -1, -1, -1}});
        lod.drape_source = record(drape_path(), {{0, 1, 2, -1}});
        layer = std::make_unique<TilePyramidRenderer>();
        if (!layer->setData(lod)) layer.reset();
        if (layer) layer->set_vertical_exaggeration(1);
        camera(distance, eye, target);
    }
    void frame()
    {
        glClearColor(1, 1, 1, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glEnable(GL_DEPTH_TEST);
        load_projection(distance);
        double orientation[16];
        camera_lookat_orientation_matrix(eye, target, vec<double, 3>{{0, 0, 1}}, orientation);
        layer->draw(orientation, eye);
        glFinish();
    }
};

void BM_TerrainColdStart(benchmark::State& state)
{
    for (auto _ : state) {
        Terrain t;
        if (!t.layer) {
            state.SkipWithError("cannot open the terrain");
            return;
        }
        auto const start = std::chrono::steady_clock::now();
        int uploads = 0, frames = 0;
        do {
            t.frame();
            ++frames;
            uploads += t.layer->uploads_last_frame();
            if (t.layer->uploads_last_frame() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        } while (!t.layer->tiles_complete());
        double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        state.counters["tiles"] = uploads;
        state.counters["frames"] = frames;
        state.counters["tiles_per_s"] = uploads / seconds;
        state.counters["mesh_tiles"] = static_cast<double>(t.layer->get_current_tiles().size());
    }
}
BENCHMARK(BM_TerrainColdStart)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);

void BM_TerrainFrameResident(benchmark::State& state)
{
    Terrain t;
    if (!t.layer) {
        state.SkipWithError("cannot open the terrain");
        return;
    }
    do {
        t.frame();
        if (t.layer->uploads_last_frame() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } while (!t.layer->tiles_complete());
    for (auto _ : state) t.frame();
    state.counters["mesh_tiles"] = static_cast<double>(t.layer->get_current_tiles().size());
}
BENCHMARK(BM_TerrainFrameResident)->Unit(benchmark::kMillisecond)->MinTime(3.0);

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        std::string value;
        if (i > 0 && tolmar_bench::take_flag(argv[i], "--dir", value))
            gDir = value;
        else
            rest.push_back(argv[i]);
    }
    return tolmar_bench::run_with_data("bench_terrain", dem_path(), write_data, rest);
}
