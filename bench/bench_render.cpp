// The cube volume renderer on a 300 x 300 x 1000 float cube: the brick
// selection the pool runs once per frame for a slice, and whole frames of a
// 1024 x 768 slice drawn offscreen (llvmpipe where there is no GPU). The cube
// is the one bench_streaming uses, written on first use by either:
//   bench_render --cube=PATH [google benchmark flags]

#include <benchmark/benchmark.h>

#include <GL/glew.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "bench_cube.h"
#include "bench_data.h"
#include "foundation/Streamer3DGridLowLevelWriter.h"
#include "foundation/Streamer3DGridReader.h"
#include "graphics/GPUCubeMemoryDataSource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/Seismic3DRenderer.h"
#include "graphics/headless_gl.h"

namespace {

using Tolmar::vec;

using tolmar_bench::gCube;
using tolmar_bench::kNs, tolmar_bench::kNi, tolmar_bench::kCore, tolmar_bench::makeCube;

// The slice as two triangles in cube coordinates: inline 150 (samples by
// crosslines) or the time slice at sample 500 (crosslines by inlines).
Tolmar::RenderGeometry sliceQuad(bool timeSlice)
{
    Tolmar::RenderGeometry g;
    g.indices = {0, 1, 2, 0, 2, 3};
    double const across[4] = {0, 1, 1, 0}, up[4] = {0, 0, 1, 1};
    for (int i = 0; i < 4; ++i) {
        g.vertices.push_back({{across[i], up[i], 0.0}});
        g.cube_coords.push_back(timeSlice ? vec<double, 3>{{500.5 / kNs, 1 - up[i], across[i]}}
                                          : vec<double, 3>{{1 - up[i], across[i], 149.5 / kNi}});
    }
    return g;
}

// The pool's choice of bricks for one frame; range(0) is the limit (342 is
// the pool's fallback size, llvmpipe's; 4912 that of 1 GiB of free video
// memory), range(1) 1 for the time slice.
void BM_SelectBricks(benchmark::State& state)
{
    auto reader = Tolmar::open_3dgrid_reader(gCube);
    if (!reader) {
        state.SkipWithError("cannot open the cube");
        return;
    }
    Tolmar::RenderGeometry const quad = sliceQuad(state.range(1) != 0);
    // Pool-normalised space, as the renderer hands it on.
    auto const& total = reader->get_total_size();
    auto const& counts = reader->get_level_counts()[0];
    std::vector<vec<float, 3>> vertices;
    for (auto const& c : quad.cube_coords) {
        vec<float, 3> v;
        for (int a = 0; a < 3; ++a) v[a] = static_cast<float>(c[a] * total[a] / (counts[a] * double(kCore)));
        vertices.push_back(v);
    }
    auto const limit = static_cast<unsigned>(state.range(0));
    std::set<Tolmar::BrickKey> wanted;
    for (auto _ : state) {
        wanted.clear();
        Tolmar::Seismic3DRenderer::select_wanted_bricks(quad.indices, vertices, limit, *reader, wanted);
        benchmark::DoNotOptimize(wanted.size());
    }
    state.counters["wanted"] = static_cast<double>(wanted.size());
}
BENCHMARK(BM_SelectBricks)
    ->ArgsProduct({{342, 4912}, {0, 1}})
    ->ArgNames({"limit", "time"})
    ->Unit(benchmark::kMicrosecond);

// One whole frame of a 1024 x 768 front view of the slice, after the pool
// has streamed in everything the view wants: the pool's round (selection,
// no uploads), the shader over every pixel, and glFinish.
void BM_RenderFrame(benchmark::State& state)
{
    std::string error;
    auto gl = Tolmar::platform::HeadlessGL::create(1024, 768, error);
    if (!gl) {
        state.SkipWithError(error.c_str());
        return;
    }
    auto reader = Tolmar::open_3dgrid_reader(gCube);
    if (!reader) {
        state.SkipWithError("cannot open the cube");
        return;
    }
    state.SetLabel(gl->renderer_string());
    {
        Tolmar::GPUCubeMemoryManager pool;
        Tolmar::Seismic3DRenderer renderer(&pool);
        renderer.set_3d_grid_reader(reader);
        renderer.start(false);
        std::vector<unsigned char> table(256 * 4, 255);
        for (int i = 0; i < 256; ++i) table[std::size_t(i) * 4 + 1] = table[std::size_t(i) * 4 + 2] =
            static_cast<unsigned char>(i);
        GLuint colours = 0;
        glGenTextures(1, &colours);
        glBindTexture(GL_TEXTURE_1D, colours);
        glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA8, 256, 0, GL_RGBA, GL_UNSIGNED_BYTE, table.data());
        renderer.setColTabTex(colours);
        Tolmar::RenderConfig config;
        config.geometry = {sliceQuad(state.range(0) != 0)};
        config.original_amp_range.set(-1100, 1100);
        config.effective_amp_range.set(-1000, 1000);
        renderer.set_render_config(config);

        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glOrtho(0, 1, 0, 1, -1, 1);
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        auto frame = [&] {
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            renderer.render();
            glFinish();
        };
        auto const start = std::chrono::steady_clock::now();
        int streamed = 0;
        do {
            frame();
            ++streamed;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        } while (renderer.is_loading_data() && std::chrono::steady_clock::now() - start < std::chrono::seconds(60));
        if (renderer.is_loading_data()) state.SkipWithError("the pool was still loading after 60 s");
        state.counters["frames_to_stream"] = streamed;
        state.counters["resident"] =
            static_cast<double>(renderer.get_line_handler()->data_source()->resident().size());
        for (auto _ : state) frame();
        glDeleteTextures(1, &colours);
    }
}
BENCHMARK(BM_RenderFrame)->Arg(0)->Arg(1)->ArgName("time")->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv) { return tolmar_bench::cube_main("bench_render", argc, argv); }
