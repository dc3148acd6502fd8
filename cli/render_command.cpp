// `tolmar render`: a slice of a brick file drawn the way a viewer draws it,
// by the cube volume renderer through the GPU brick pool and its shader, on
// a headless context, and written as a PNG.

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
#include "cli/colour_tables.h"
#include "cli/commands.h"
#include "cli/cube_source.h"
#include "cli/host_module.h"
#include "cli/json.h"
#include "cli/png_image.h"
#include "cli/slice_choice.h"
#include "foundation/Streamer3DGridReader.h"
#include "graphics/CubeSlice.h"
#include "graphics/GPUCubeMemoryDataSource.h"
#include "graphics/GPUCubeMemoryLineHandler.h"
#include "graphics/GPUCubeMemoryManager.h"
#include "graphics/Seismic3DRenderer.h"
#include "graphics/mat44.h"
#include "graphics/headless_gl.h"

namespace tolmar_cli {

namespace {

using Tolmar::vec;
using V3 = vec<double, 3>;

// Larger framebuffers than this are refused by llvmpipe and most drivers.
constexpr int kMostPixelsPerSide = 16384;
// The perspective camera: its field of view, and a distance at which the
// whole unit cube fits in it from any direction.
constexpr double kFieldOfViewDeg = 30.0;
constexpr double kPi = 3.14159265358979323846;
constexpr double kMiB = 1024.0 * 1024.0;
// The default pool: what the slice needs, a quarter more and a few cells
// besides, so that rounding the pool into whole cells never costs a brick
// of the slice; no more than this, whatever the slice. A budget asked for
// has a wider limit.
constexpr double kMostDefaultPoolMiB = 4096;
constexpr double kMostPoolMiB = 65536;

// MiB of pool for `bricks` bricks and the reserved cell, rounded up.
double pool_mib_for(double bricks)
{
    return std::ceil((bricks + 1) * static_cast<double>(Tolmar::GPUCubeMemoryManager::cell_bytes()) / kMiB);
}

double default_pool_mib(unsigned needed)
{
    return std::min(pool_mib_for(needed + std::max(needed / 4.0, 8.0)), kMostDefaultPoolMiB);
}

std::string describe(RenderRequest const& r)
{
    return describe_slice(r.kind, r.position);
}

// The slice as CubeSlice makes it, with what the cameras need. For the
// front view the mesh lies flat on the picture, (0..1, 0..1) across and up:
// inlines and crosslines with samples down, time slices with inlines across
// and crosslines down. Otherwise it stands in the view's coordinate system,
// relative to the cube's centre, so that map coordinates of millions keep
// their precision in the GPU's floats, with z -time * zScale.
struct SliceScene {
    Tolmar::RenderGeometry mesh;
    int width = 0, height = 0; // the slice's own size in samples
    // Perspective: unit directions of rising inline and crossline in the
    // plan, and the radius of the cube's bounding sphere about the origin.
    V3 inlineAxis{}, crosslineAxis{};
    double radius = 1;
};

V3 plan_unit(vec<double, 2> const& from, vec<double, 2> const& to)
{
    vec<double, 2> const d = to - from;
    double const length = std::hypot(d[0], d[1]);
    return length > 0 ? V3{{d[0] / length, d[1] / length, 0}} : V3{{1, 0, 0}};
}

SliceScene slice_scene(RenderRequest const& r, Tolmar::Seismic3DTraceReader const& cube,
                       Tolmar::Streamer3DGridReader const& grid)
{
    auto const& total = grid.get_total_size(); // samples, crosslines, inlines
    SliceScene scene;
    double fraction = 0;
    if (r.kind == SliceKind::Time) {
        if (!(r.position >= cube.zStart && r.position <= cube.zStop))
            fail(r.cube, describe(r) + " ms lies outside z " + std::to_string(cube.zStart) + ".." +
                             std::to_string(cube.zStop));
        fraction = cube.zStop > cube.zStart ? (r.position - cube.zStart) / (cube.zStop - cube.zStart) : 0;
        scene.width = static_cast<int>(total[2]);
        scene.height = static_cast<int>(total[1]);
    } else {
        bool const isInline = r.kind == SliceKind::Inline;
        int const start = isInline ? cube.inlStart : cube.crlStart, stop = isInline ? cube.inlStop : cube.crlStop,
                  step = isInline ? cube.inlStep : cube.crlStep;
        int const index = line_index(r.position, start, stop, step);
        if (index < 0)
            fail(r.cube, "there is no " + describe(r) + " (" + std::to_string(start) + ".." + std::to_string(stop) +
                             " step " + std::to_string(step) + ")");
        fraction = stop > start ? static_cast<double>(index * step) / (stop - start) : 0;
        scene.width = static_cast<int>(total[isInline ? 1 : 2]);
        scene.height = static_cast<int>(total[0]);
    }

    Tolmar::SEGYCubeInfo const& info = grid.info;
    vec<double, 3> tx{{info.xInl, info.xCrl, info.x0}}, ty{{info.yInl, info.yCrl, info.y0}};
    auto const cubeSrs = spatial_reference_option(r.srs, "--srs");
    auto const viewSrs = spatial_reference_option(r.viewSrs, "--view-srs");
    if (tx[0] * ty[1] - tx[1] * ty[0] == 0) {
        // No map coordinates in the survey: the lattice stands in for them.
        if (cubeSrs) fail(r.cube, "has no map coordinates to place in " + cubeSrs->name());
        tx = vec<double, 3>{{1, 0, 0}};
        ty = vec<double, 3>{{0, 1, 0}};
    }
    // Times to the nearest millisecond frame the slice; the sample axis of
    // the cube coordinates comes from the exact position below.
    vec<int, 3> const timeRange{{static_cast<int>(std::lround(cube.zStart)), static_cast<int>(std::lround(cube.zStop)),
                                 std::max(1, static_cast<int>(std::lround(cube.zStep)))}};
    Tolmar::CubeSlice slice;
    slice.set_slice_dir(static_cast<int>(r.kind));
    if (slice.init(vec<int, 3>{{cube.inlStart, cube.inlStop, cube.inlStep}},
                   vec<int, 3>{{cube.crlStart, cube.crlStop, cube.crlStep}}, timeRange, tx, ty, cubeSrs,
                   viewSrs) < 0)
        fail(r.cube, "cannot be reprojected from " + (cubeSrs ? cubeSrs->name() : std::string("Unknown")) + " to " +
                         (viewSrs ? viewSrs->name() : std::string("Unknown")));
    slice.updateFrame(fraction);

    // The plan: centre, axes, extent of the footprint in the view.
    auto const& grid2 = slice.points();
    int const n = slice.inline_points(), m = slice.crossline_points();
    vec<double, 2> lo = grid2[0], hi = grid2[0];
    for (auto const& p : grid2)
        for (int k = 0; k < 2; ++k) {
            lo[k] = std::min(lo[k], p[k]);
            hi[k] = std::max(hi[k], p[k]);
        }
    vec<double, 2> const centre = (lo + hi) * 0.5;
    double const planSize = std::max({hi[0] - lo[0], hi[1] - lo[1], 1e-9});
    // The cube stands as deep as it is wide, as it did in cube space.
    double const zSpan = std::max(cube.zStop - cube.zStart, 1e-9);
    double const zScale = planSize / zSpan;
    double const zMid = -0.5 * (cube.zStart + cube.zStop) * zScale;
    scene.inlineAxis = plan_unit(grid2[0], grid2[n - 1]);
    scene.crosslineAxis = plan_unit(grid2[0], grid2[static_cast<std::size_t>(m - 1) * n]);
    scene.radius = 0.5 * std::sqrt(std::pow(hi[0] - lo[0], 2) + std::pow(hi[1] - lo[1], 2) + planSize * planSize);

    std::vector<V3> vertices, coords;
    slice.get_frame_mesh(vertices, coords, scene.mesh.indices);
    // The renderer's cube coordinates run over whole cells; the slice's
    // from the first line's centre to the last's.
    auto cell = [](double f, unsigned count) { return (f * (count - 1) + 0.5) / count; };
    double const samplePos = (r.kind == SliceKind::Time ? (r.position - cube.zStart) / cube.zStep : 0);
    bool const front = r.camera.size() != 2;
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        V3 const s = coords[i]; // sample, crossline, inline; 0 to 1 from first to last
        V3 c{{cell(s[0], total[0]), cell(s[1], total[1]), cell(s[2], total[2])}};
        if (r.kind == SliceKind::Time) c[0] = (samplePos + 0.5) / total[0];
        scene.mesh.cube_coords.push_back(c);
        if (front)
            scene.mesh.vertices.push_back(r.kind == SliceKind::Time     ? V3{{s[2], 1 - s[1], 0}}
                                          : r.kind == SliceKind::Inline ? V3{{s[1], 1 - s[0], 0}}
                                                                        : V3{{s[2], 1 - s[0], 0}});
        else
            scene.mesh.vertices.push_back(
                V3{{vertices[i][0] - centre[0], vertices[i][1] - centre[1], -vertices[i][2] * zScale - zMid}});
    }

    return scene;
}

// Sets the matrices: the front view maps the slice onto the whole picture;
// the camera circles the cube's centre at azimuth and elevation (degrees),
// azimuth 0 looking along the inlines' fall, -90 along the crosslines'.
void set_view(RenderRequest const& r, SliceScene const& scene, int width, int height)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    if (r.camera.size() != 2) {
        glMatrixMode(GL_PROJECTION);
        glOrtho(0, 1, 0, 1, -1, 1);
        glMatrixMode(GL_MODELVIEW);
        return;
    }
    double const az = r.camera[0] * kPi / 180, el = r.camera[1] * kPi / 180;
    double const halfFov = 0.5 * kFieldOfViewDeg * kPi / 180;
    double const distance = scene.radius / std::sin(halfFov);
    double const aspect = static_cast<double>(width) / height;
    double const nearPlane = 0.05 * scene.radius, farPlane = 2 * distance + 2 * scene.radius;
    glMatrixMode(GL_PROJECTION);
    double const top = nearPlane * std::tan(halfFov);
    glFrustum(-top * aspect, top * aspect, -top, top, nearPlane, farPlane);
    glMatrixMode(GL_MODELVIEW);
    V3 const I = scene.inlineAxis, C = scene.crosslineAxis, U{{0, 0, 1}};
    V3 const eye = (C * (std::sin(az) * std::cos(el)) + I * (std::cos(az) * std::cos(el)) + U * std::sin(el)) *
                   distance;
    // The eye's direction turned up by a right angle: perpendicular to the
    // view at every elevation, straight overhead included.
    V3 const up = C * (-std::sin(el) * std::sin(az)) + U * std::cos(el) + I * (-std::sin(el) * std::cos(az));
    double orientation[16];
    Tolmar::camera_lookat_orientation_matrix(eye, V3{{0, 0, 0}}, up, orientation);
    glLoadMatrixd(orientation);
    glTranslated(-eye[0], -eye[1], -eye[2]);
}

unsigned make_colour_table()
{
    auto const table = red_white_black();
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_1D, texture);
    glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA8, static_cast<GLsizei>(table.size()), 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 table.data());
    glBindTexture(GL_TEXTURE_1D, 0);
    return texture;
}

} // namespace

RenderReport render_slice(RenderRequest const& r)
{
    refuse_existing(r.png, r.force);
    CubeArgs args;
    args.path = r.cube;
    auto cube = open_cube(args);
    std::shared_ptr<Tolmar::Streamer3DGridReader> grid = cube->brickReader;
    if (!grid) fail(r.cube, "not a brick file");
    SliceScene const scene = slice_scene(r, *cube, *grid);

    RenderReport report;
    report.width = r.width > 0 ? r.width : scene.width;
    report.height = r.height > 0 ? r.height : scene.height;
    if (report.width > kMostPixelsPerSide || report.height > kMostPixelsPerSide)
        fail(r.png, "a picture of " + std::to_string(report.width) + " x " + std::to_string(report.height) +
                        " is larger than " + std::to_string(kMostPixelsPerSide) + " on a side; give --size");
    if (r.range.size() == 2) {
        report.low = r.range[0];
        report.high = r.range[1];
    } else {
        effective_range(args, 1.0f, 1.0f, report.low, report.high);
    }

    Tolmar::RenderConfig config;
    config.geometry.push_back(scene.mesh);
    config.original_amp_range.set(grid->get_min_value(), grid->get_max_value());
    config.effective_amp_range.set(report.low, report.high);
    // The walk that picks the pool's bricks, without its limit, tells what
    // the whole slice at level 0 takes; the camera does not change it.
    std::set<Tolmar::BrickKey> const needed = Tolmar::Seismic3DRenderer::bricks_for_full_resolution(config, *grid);
    report.neededBricks = static_cast<unsigned>(needed.size());
    report.neededMiB = pool_mib_for(report.neededBricks);
    double const budgetMiB = r.gpuMemoryMiB > 0 ? r.gpuMemoryMiB : default_pool_mib(report.neededBricks);

    std::string error;
    auto gl = Tolmar::platform::HeadlessGL::create(report.width, report.height, error);
    if (!gl) fail(r.cube, "cannot draw offscreen: " + error);
    report.renderer = gl->renderer_string();
    RgbaImage image;
    {
        // A pool of its own, sized for this job: the process-wide one goes
        // by the driver's free memory, which llvmpipe does not report.
        Tolmar::GPUCubeMemoryManager pool(static_cast<std::uint64_t>(budgetMiB * kMiB));
        report.poolMiB = static_cast<double>(pool.pool_bytes()) / kMiB;
        report.poolBricks = pool.max_bricks_in_gpu_mem();
        Tolmar::Seismic3DRenderer renderer(&pool);
        renderer.set_3d_grid_reader(grid);
        renderer.start(false);
        if (renderer.get_program().program == 0) fail(r.cube, "the cube shader does not build on " + report.renderer);
        GLuint const colours = make_colour_table();
        renderer.setColTabTex(colours);
        renderer.set_render_config(config);

        // Frames until the pool holds every brick this view wants: bricks
        // load in the background, and the pool takes a round at most every
        // 20 ms, so the loop waits that long between frames.
        double const t0 = now_seconds();
        for (;;) {
            gl->bind();
            glClearColor(0, 0, 0, 0);
            glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
            set_view(r, scene, report.width, report.height);
            renderer.render();
            ++report.frames;
            if (!renderer.is_loading_data()) break;
            if (seconds_since(t0) > r.maxSeconds) {
                report.complete = false;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        glFinish();
        report.seconds = seconds_since(t0);
        Tolmar::BrickCoverage const shown = renderer.get_line_handler()->data_source()->coverage(needed);
        report.bricksPerLevel = shown.bricks_per_level;
        report.fullResolution = shown.full_resolution();
        image.width = report.width;
        image.height = report.height;
        image.rgba = gl->read_pixels();
        glDeleteTextures(1, &colours);
    }
    if (!write_png(r.png, image, error)) fail(r.png, error);
    return report;
}

namespace {

struct RenderArgs {
    RenderRequest request;
    SliceChoice choice;
    std::vector<int> size;
    std::pair<float, float> range;
    bool json = false;
};

void run_render(RenderArgs& a, CLI::App const& cmd)
{
    RenderRequest& r = a.request;
    a.choice.apply(cmd, r);
    if (a.size.size() == 2) {
        r.width = a.size[0];
        r.height = a.size[1];
    }
    if (cmd.count("--range")) r.range = {a.range.first, a.range.second};
    RenderReport const s = render_slice(r);
    if (s.poolBricks < s.neededBricks)
        std::cerr << "tolmar: warning: " << r.cube << ": a GPU pool of " << s.poolMiB << " MiB holds "
                  << s.poolBricks << " bricks, but " << describe(r) << " needs " << s.neededBricks
                  << " to show at full resolution (--gpu-memory " << s.neededMiB
                  << "); coarser bricks stand in\n";
    if (!s.complete)
        std::cerr << "tolmar: warning: " << r.cube << ": bricks still loading after " << r.maxSeconds
                  << " s; coarser data stands in where finer was missing\n";
    if (a.json) {
        std::vector<std::string> perLevel;
        for (unsigned n : s.bricksPerLevel) perLevel.push_back(json_number(n));
        std::cout << JsonObject()
                         .add("width", s.width)
                         .add("height", s.height)
                         .add("range", json_array({s.low, s.high}))
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
              << s.seconds << " s on " << s.renderer << "\n";
    std::cout << "Bricks per level, finest first:";
    for (unsigned n : s.bricksPerLevel) std::cout << " " << n;
    std::cout << (s.fullResolution ? " (full resolution)" : " (coarser in part)") << " from a pool of " << s.poolMiB
              << " MiB\n";
    std::cout << "Wrote " << r.png << " (" << s.width << " x " << s.height << ")\n";
}

} // namespace

void add_render_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("render", "Draw a slice of a brick file offscreen as the viewer does, to a PNG");
    cmd->footer("The front view fills the picture: inlines and crosslines have samples running down, time slices "
                "inlines across and crosslines down. --camera 0 0 faces an inline, -90 0 a crossline, and an "
                "elevation of 90 looks down on a time slice.");
    static RenderArgs a;
    RenderRequest& r = a.request;
    cmd->add_option("CUBE", r.cube, "Brick file (.tmf)")->required();
    a.choice.add_options(*cmd);
    cmd->add_option("--png", r.png, "PNG to write (red, white, black from low to high; undefined transparent)")
        ->required();
    cmd->add_option("--size", a.size, "Picture width and height (default: one pixel a sample)")
        ->expected(2)
        ->check(CLI::Range(1, kMostPixelsPerSide));
    cmd->add_option("--camera", r.camera, "Azimuth and elevation in degrees of a perspective view of the slice "
                                          "in the cube")
        ->expected(2);
    cmd->add_option("--range", a.range, "Amplitudes at the colour table's ends (default: the effective range, "
                                        "1% cut at each end)");
    cmd->add_option("--timeout", r.maxSeconds, "Seconds to wait for the bricks to stream in")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_option("--gpu-memory", r.gpuMemoryMiB,
                    "MiB for the GPU brick pool (default: what the slice needs at full resolution, and a quarter "
                    "more, up to 4096); a smaller pool draws coarser bricks where the finest do not fit")
        ->check(CLI::Range(1.0, kMostPoolMiB));
    cmd->add_option("--srs", r.srs, "The survey's coordinate system: EPSG code, WKT or PROJ string (default: "
                                    "unknown, drawn as it is)");
    cmd->add_option("--view-srs", r.viewSrs, "The view's coordinate system; the slice is reprojected into it and "
                                             "bends as the projection bends it (default: unknown)");
    cmd->add_flag("--force", r.force, "Overwrite an existing PNG");
    cmd->add_flag("--json", a.json, "Print one JSON object");
    cmd->callback([cmd] {
        run_render(a, *cmd);
    });
}

} // namespace tolmar_cli
