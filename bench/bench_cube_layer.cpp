// The cube layer's frames on llvmpipe: a 1024 x 768 view of an inline on
// the brick path, on the tile path from the brick file and from the indexed
// SEG-Y file, once everything is resident; and the time from opening the
// layer to the first complete frame. The files are those bench/compare_segyio
// writes:
//   bench_cube_layer --segy=S.sgy --index=S.idx --cube=S.tmf [google benchmark flags]

#include <benchmark/benchmark.h>

#include <GL/glew.h>

#include <chrono>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "bench_data.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/SeismicCubeRenderer.h"
#include "graphics/headless_gl.h"
#include "graphics/mat44.h"
#include "platform/debug_stream.h"

namespace {

using Tolmar::vec;
using V3 = vec<double, 3>;
constexpr int W = 1024, H = 768;
std::string gSegy, gIndex, gCube;
char const* const kPaths[3] = {"bricks", "tiles from bricks", "tiles from SEG-Y"};

std::unique_ptr<Tolmar::platform::HeadlessGL> gGl;

// The layer on the path, with a camera at 30 degrees to the middle inline.
std::unique_ptr<Tolmar::SeismicCubeRenderer> open_layer(int path, Tolmar::GPUCubeMemoryManager& pool)
{
    gGl->bind();
    auto layer = std::make_unique<Tolmar::SeismicCubeRenderer>();
    layer->set_brick_pool(&pool);
    layer->set_force_tile_path(path == 1);
    if (!layer->init_datasource(path == 2, gSegy, gIndex, gCube)) return nullptr;
    layer->set_exaggeration_factor(2);
    double b[6];
    layer->get_bounds(b);
    V3 const centre{{(b[0] + b[1]) / 2, (b[2] + b[3]) / 2, (b[4] + b[5]) / 2}};
    double const radius = V3{{b[1] - b[0], b[3] - b[2], b[5] - b[4]}}.length() / 2;
    V3 const eye = centre + V3{{0.5, -0.87, 0.35}} * (2.5 * radius);
    double camera[16];
    Tolmar::camera_lookat_orientation_matrix(eye, centre, V3{{0, 0, 1}}, camera);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glFrustum(-0.4 * W / H * radius / 10, 0.4 * W / H * radius / 10, -0.4 * radius / 10, 0.4 * radius / 10,
              radius / 10, 6 * radius);
    glMatrixMode(GL_MODELVIEW);
    glLoadMatrixd(camera);
    glTranslated(-eye[0], -eye[1], -eye[2]);
    layer->set_camera_transformation(camera, eye);
    return layer;
}

bool complete(Tolmar::SeismicCubeRenderer const& layer)
{
    return layer.uses_brick_path() ? !layer.is_done_loading_data() : layer.tiles_complete();
}

void frame(Tolmar::SeismicCubeRenderer& layer)
{
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    layer.draw();
    glFinish();
}

void BM_ResidentFrame(benchmark::State& state)
{
    int const path = static_cast<int>(state.range(0));
    Tolmar::GPUCubeMemoryManager pool(512ull << 20);
    auto layer = open_layer(path, pool);
    if (!layer) return state.SkipWithError("cannot open the layer");
    for (int i = 0; i < 2000 && !complete(*layer); ++i) {
        frame(*layer);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    frame(*layer); // the last hand-out of a tile source
    for (auto _ : state) frame(*layer);
    state.SetLabel(kPaths[path]);
}
BENCHMARK(BM_ResidentFrame)->DenseRange(0, 2)->ArgName("path")->Unit(benchmark::kMillisecond)->UseRealTime();

// Frames as a viewer draws them, one every 20 ms, until the slice is whole.
void BM_FirstCompleteFrame(benchmark::State& state)
{
    int const path = static_cast<int>(state.range(0));
    for (auto _ : state) {
        Tolmar::GPUCubeMemoryManager pool(512ull << 20);
        auto layer = open_layer(path, pool);
        if (!layer) return state.SkipWithError("cannot open the layer");
        frame(*layer);
        while (!complete(*layer)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            frame(*layer);
        }
        if (path != 0) { // a tile source hands its last tiles out a round later
            std::this_thread::sleep_for(std::chrono::milliseconds(110));
            frame(*layer);
        }
    }
    state.SetLabel(kPaths[path]);
}
BENCHMARK(BM_FirstCompleteFrame)->DenseRange(0, 2)->ArgName("path")->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    tolmar_bench::SurveyFiles files;
    std::vector<char*> rest;
    if (!tolmar_bench::take_survey_files("bench_cube_layer", argc, argv, files, rest)) return 2;
    gSegy = files.segy;
    gIndex = files.index;
    gCube = files.cube;
    Tolmar::platform::set_debug_sink([](std::string_view) {});
    std::string error;
    gGl = Tolmar::platform::HeadlessGL::create(W, H, error);
    if (!gGl) {
        std::cerr << "bench_cube_layer: " << error << "\n";
        return 1;
    }
    tolmar_bench::run_benchmarks(rest);
    gGl.reset();
    return 0;
}
