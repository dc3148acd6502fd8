// `tolmar render`: a slice drawn the way a viewer draws it, by the cube
// layer's renderer on a headless context, written as a PNG; and `tolmar
// pick`: what the layer answers for a pixel of that picture.

#include "cli/render_command.h"

#include <GL/glew.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <set>
#include <sstream>
#include <thread>

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/png_image.h"
#include "cli/slice_choice.h"
#include "foundation/Streamer3DGridReader.h"
#include "graphics/GPUCubeMemoryDataSource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/Seismic3DRenderer.h"
#include "graphics/headless_gl.h"
#include "platform/text_encoding.h"

namespace tolmar_cli {

namespace {

using Tolmar::vec;
using V3 = vec<double, 3>;

// Larger framebuffers than this are refused by llvmpipe and most drivers.
constexpr int kMostPixelsPerSide = 16384;
constexpr double kMiB = 1024.0 * 1024.0;
constexpr double kMostPoolMiB = 65536;

std::string describe(ViewRequest const& r) { return describe_slice(r.kind, r.position); }

} // namespace

RenderReport render_slice(RenderRequest const& r)
{
    refuse_existing(r.png, r.force);
    RenderReport report;
    std::string error;
    // A context first: the layer's renderers are made in it.
    auto gl = Tolmar::platform::HeadlessGL::create(1, 1, error);
    if (!gl) fail(r.cube, "cannot draw offscreen: " + error);
    report.renderer = gl->renderer_string();
    RgbaImage image;
    {
        // The brick path gets a pool of its own, sized for this job: the
        // process-wide one goes by the driver's free memory, which llvmpipe
        // does not report. A small one first, to learn what the slice needs;
        // none on GL 1.1, which has no 3D textures and draws tiles.
        auto pool = first_pool();
        int sampleWidth = 0, sampleHeight = 0;
        auto layer = open_layer(r, pool.get(), sampleWidth, sampleHeight, report.low, report.high);
        report.width = r.width > 0 ? r.width : sampleWidth;
        report.height = r.height > 0 ? r.height : sampleHeight;
        if (report.width > kMostPixelsPerSide || report.height > kMostPixelsPerSide)
            fail(r.png, "a picture of " + std::to_string(report.width) + " x " + std::to_string(report.height) +
                            " is larger than " + std::to_string(kMostPixelsPerSide) + " on a side; give --size");
        if (!gl->resize(report.width, report.height, error)) fail(r.png, "cannot draw offscreen: " + error);
        bool const bricks = layer->uses_brick_path();
        report.path = bricks ? "bricks" : "tiles";
        std::set<Tolmar::BrickKey> needed;
        if (bricks) {
            // The walk that picks the pool's bricks, without its limit, tells
            // what the whole slice at level 0 takes; the camera does not change it.
            layer->update_render_config();
            auto const grid = Tolmar::open_3dgrid_reader(r.cube);
            needed = Tolmar::Seismic3DRenderer::bricks_for_full_resolution(layer->get_render_config(), *grid);
            report.neededBricks = static_cast<unsigned>(needed.size());
            report.neededMiB = pool_mib_for(report.neededBricks);
            double const budgetMiB = r.gpuMemoryMiB > 0 ? r.gpuMemoryMiB : default_pool_mib(report.neededBricks);
            auto sized = std::make_unique<Tolmar::GPUCubeMemoryManager>(static_cast<std::uint64_t>(budgetMiB * kMiB));
            layer->set_brick_pool(sized.get());
            pool = std::move(sized);
            report.poolMiB = static_cast<double>(pool->pool_bytes()) / kMiB;
            report.poolBricks = pool->max_bricks_in_gpu_mem();
            if (layer->volume_renderer()->get_program().program == 0)
                fail(r.cube, "the cube shader does not build on " + report.renderer);
        }
        Camera const camera = frame_camera(r, *layer);

        // Frames until the data are all there: bricks and traces load in the
        // background, the pool takes a round at most every 20 ms and the
        // tile sources hand out at most every 50 or 100 ms, so the loop
        // waits between frames. A tile path draws once more after the last
        // data came, as its source hands them out a round later.
        double const t0 = now_seconds();
        for (int extra = bricks ? 0 : 1;;) {
            gl->bind();
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            apply_camera(camera, *layer, report.width, report.height);
            layer->draw();
            ++report.frames;
            bool const done = bricks ? !layer->is_done_loading_data() : layer->tiles_complete();
            if (done && extra-- == 0) break;
            if (seconds_since(t0) > r.maxSeconds) {
                report.complete = false;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(done ? 110 : 20));
        }
        glFinish();
        report.seconds = seconds_since(t0);
        if (bricks) {
            Tolmar::BrickCoverage const shown = layer->volume_renderer()->get_line_handler()->data_source()->coverage(needed);
            report.bricksPerLevel = shown.bricks_per_level;
            report.fullResolution = shown.full_resolution();
        } else {
            report.fullResolution = report.complete;
        }
        image.width = report.width;
        image.height = report.height;
        image.rgba = gl->read_pixels();
        layer.reset(); // leaves the pool before it goes
    }
    if (!write_png(r.png, image, error)) fail(r.png, error);
    return report;
}

namespace {

// What render and pick share on the command line.
struct ViewArgs {
    SliceChoice choice;
    std::vector<int> size;
    std::pair<float, float> range;
    std::string path = "auto";
    bool json = false;

    void add_options(CLI::App& cmd, ViewRequest& r)
    {
        cmd.add_option("CUBE", r.cube, "Brick file (.tmf), or SEG-Y file with --index")->required();
        cmd.add_option("--index", r.index, "Index file of a SEG-Y cube (written by tolmar import): the tile path");
        choice.add_options(cmd);
        cmd.add_option("--size", size, "Picture width and height (default: one pixel a sample)")
            ->expected(2)
            ->check(CLI::Range(1, kMostPixelsPerSide));
        cmd.add_option("--camera", r.camera, "Azimuth and elevation in degrees of a perspective view of the slice "
                                             "in the cube")
            ->expected(2);
        cmd.add_option("--range", range, "Amplitudes at the colour table's ends (default: the effective range, "
                                         "1% cut at each end)");
        cmd.add_option("--path", path, "auto: a brick file on the brick path, a SEG-Y file on the tile path; "
                                       "tiles: the tile path on a brick file too")
            ->check(CLI::IsMember({"auto", "tiles"}));
        cmd.add_option("--exaggeration", r.exaggeration, "Vertical exaggeration: view units a millisecond "
                                                         "(default: the cube as deep as it is wide)")
            ->check(CLI::PositiveNumber);
        cmd.add_option("--srs", r.srs, "The survey's coordinate system: EPSG code, WKT or PROJ string (default: "
                                       "unknown, drawn as it is)");
        cmd.add_option("--view-srs", r.viewSrs, "The view's coordinate system; the slice is reprojected into it "
                                                "and bends as the projection bends it (default: unknown)");
        cmd.add_flag("--json", json, "Print one JSON object");
    }
    void apply(CLI::App const& cmd, ViewRequest& r) const
    {
        choice.apply(cmd, r);
        if (size.size() == 2) {
            r.width = size[0];
            r.height = size[1];
        }
        if (cmd.count("--range")) r.range = {range.first, range.second};
        r.forceTiles = path == "tiles";
    }
};

struct RenderArgs {
    RenderRequest request;
    ViewArgs view;
};

void run_render(RenderArgs& a, CLI::App const& cmd)
{
    RenderRequest& r = a.request;
    a.view.apply(cmd, r);
    RenderReport const s = render_slice(r);
    if (s.poolBricks < s.neededBricks)
        std::cerr << "tolmar: warning: " << r.cube << ": a GPU pool of " << s.poolMiB << " MiB holds "
                  << s.poolBricks << " bricks, but " << describe(r) << " needs " << s.neededBricks
                  << " to show at full resolution (--gpu-memory " << s.neededMiB
                  << "); coarser bricks stand in\n";
    if (!s.complete)
        std::cerr << "tolmar: warning: " << r.cube << ": data still loading after " << r.maxSeconds
                  << " s; coarser data stands in where finer was missing\n";
    if (a.view.json) {
        std::vector<std::string> perLevel;
        for (unsigned n : s.bricksPerLevel) perLevel.push_back(json_number(n));
        std::cout << JsonObject()
                         .add("width", s.width)
                         .add("height", s.height)
                         .add("range", json_array({s.low, s.high}))
                         .add_text("path", s.path)
                         .add("frames", s.frames)
                         .add("complete", s.complete ? "true" : "false")
                         .add("seconds", s.seconds)
                         .add_text("renderer", s.renderer)
                         .add("gpu_memory_mb", s.poolMiB)
                         .add("pool_bricks", s.poolBricks)
                         .add("bricks_needed", s.neededBricks)
                         .add("bricks_per_level", json_array(perLevel))
                         .add("full_resolution", s.fullResolution ? "true" : "false")
                         .str()
                  << "\n";
        return;
    }
    std::cout << describe(r) << ": colours over " << s.low << ".." << s.high << ", " << s.frames << " frames in "
              << s.seconds << " s on the " << s.path << " path, " << s.renderer << "\n";
    if (s.path == "bricks") {
        std::cout << "Bricks per level, finest first:";
        for (unsigned n : s.bricksPerLevel) std::cout << " " << n;
        std::cout << (s.fullResolution ? " (full resolution)" : " (coarser in part)") << " from a pool of "
                  << s.poolMiB << " MiB\n";
    }
    std::cout << "Wrote " << r.png << " (" << s.width << " x " << s.height << ")\n";
}

struct PickArgs {
    ViewRequest request;
    ViewArgs view;
    std::vector<double> at;
};

void run_pick(PickArgs& a, CLI::App const& cmd)
{
    ViewRequest& r = a.request;
    a.view.apply(cmd, r);
    std::string error;
    auto gl = Tolmar::platform::HeadlessGL::create(1, 1, error);
    if (!gl) fail(r.cube, "cannot make a GL context: " + error);
    int sampleWidth = 0, sampleHeight = 0;
    float low = 0, high = 0;
    auto pool = first_pool();
    auto layer = open_layer(r, pool.get(), sampleWidth, sampleHeight, low, high);
    int const width = r.width > 0 ? r.width : sampleWidth, height = r.height > 0 ? r.height : sampleHeight;
    Camera const camera = frame_camera(r, *layer);
    V3 origin{}, direction{};
    pixel_ray(camera, width, height, a.at[0], a.at[1], origin, direction);
    double distance = -1;
    std::wstring text;
    layer->get_ray_slice_distance(origin, direction, &distance, &text);
    if (distance < 0) fail(r.cube, describe(r) + " lies under no part of pixel " + std::to_string(a.at[0]) + ", " +
                                       std::to_string(a.at[1]));
    if (!a.view.json) {
        std::cout << Tolmar::platform::to_utf8(text) << "\n";
        layer.reset();
        return;
    }
    // The same hit again, for its lattice numbers.
    Tolmar::CubeSlice const& slice = layer->cube_slice();
    V3 normal{}, hit{};
    slice.get_normal(normal);
    double t = 0;
    int inl = 0, crl = 0;
    slice.ray_intersect(origin, direction, normal, layer->get_exaggeration_factor(), t, inl, crl, hit);
    float const time = static_cast<float>(-hit[2] / layer->get_exaggeration_factor());
    float amplitude = 0;
    bool const haveAmplitude = layer->get_amplitude(inl, crl, time, amplitude);
    std::cout << JsonObject()
                     .add("distance", distance)
                     .add("inline", inl)
                     .add("crossline", crl)
                     .add("time", time)
                     .add("x", hit[0])
                     .add("y", hit[1])
                     .add("amplitude", haveAmplitude ? json_number(amplitude) : std::string("null"))
                     .add_text("text", Tolmar::platform::to_utf8(text))
                     .str()
              << "\n";
    layer.reset();
}

} // namespace

void add_render_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("render", "Draw a slice offscreen as the viewer's cube layer does, to a PNG");
    cmd->footer("The front view fills the picture: inlines and crosslines have samples running down, time slices "
                "inlines across and crosslines down. --camera 0 0 faces an inline, -90 0 a crossline, and an "
                "elevation of 90 looks down on a time slice. Colour tables: red-white-black (the default), grey, "
                "blue-white-red, or a file of lines R G B [A] from 0 to 255, lowest amplitude first.");
    static RenderArgs a;
    RenderRequest& r = a.request;
    a.view.add_options(*cmd, r);
    cmd->add_option("--png", r.png, "PNG to write (undefined samples transparent)")->required();
    cmd->add_option("--colour-table", r.colourTable, "A named colour table or a file (see below)");
    cmd->add_flag("--outline", r.outline, "Draw the slice's outline in green");
    cmd->add_option("--timeout", r.maxSeconds, "Seconds to wait for the data to stream in")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_option("--gpu-memory", r.gpuMemoryMiB,
                    "MiB for the GPU brick pool (default: what the slice needs at full resolution, and a quarter "
                    "more, up to 4096); a smaller pool draws coarser bricks where the finest do not fit")
        ->check(CLI::Range(1.0, kMostPoolMiB));
    cmd->add_flag("--force", r.force, "Overwrite an existing PNG");
    cmd->callback([cmd] {
        run_render(a, *cmd);
    });
}

void add_pick_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("pick", "What lies under a pixel of the picture render draws with the same options");
    static PickArgs a;
    a.view.add_options(*cmd, a.request);
    cmd->add_option("--at", a.at, "The pixel, x and y from the top left")->expected(2)->required();
    cmd->callback([cmd] {
        run_pick(a, *cmd);
    });
}

} // namespace tolmar_cli
