// `tolmar terrain`: an elevation raster drawn as terrain offscreen, as the
// viewer's terrain layer draws it, streamed until every tile the view wants
// has arrived.

#include <CLI/CLI.hpp>

#include <GL/glew.h>

#include <chrono>
#include <cmath>
#include <iostream>
#include <thread>

#include "cli/cli_support.h"
#include "cli/commands.h"
#include "cli/cube_view.h"
#include "cli/json.h"
#include "cli/png_image.h"
#include "cli/terrain_layer.h"
#include "graphics/headless_gl.h"

namespace tolmar_cli {

namespace {

using V3 = Tolmar::vec<double, 3>;

struct TerrainArgs {
    TerrainRequest request;
    std::string png;
    std::vector<int> size{1024, 768};
    std::vector<double> camera{0, 45};
    std::vector<double> at;
    double maxSeconds = 300;
    bool force = false, json = false;
};

void run_terrain(TerrainArgs& a)
{
    refuse_existing(a.png, a.force);
    int const width = a.size[0], height = a.size[1];
    std::string error;
    auto gl = Tolmar::platform::HeadlessGL::create(width, height, error);
    if (!gl) fail(a.request.dem, "cannot make a GL context: " + error);
    double const start = now_seconds();
    auto layer = open_terrain(a.request);
    Camera const camera = terrain_camera(*layer, a.camera[0], a.camera[1]);

    int frames = 0, uploads = 0;
    for (;;) {
        glClearColor(1, 1, 1, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glEnable(GL_DEPTH_TEST);
        double orientation[16];
        load_camera(camera, width, height, orientation);
        layer->draw(orientation, camera.eye);
        glFinish();
        ++frames;
        uploads += layer->uploads_last_frame();
        if (layer->tiles_complete()) break;
        if (seconds_since(start) > a.maxSeconds)
            fail(a.request.dem, "the terrain did not finish streaming in " + json_number(a.maxSeconds) + " s");
        // A frame takes at most three tiles a raster; wait only when none came.
        if (layer->uploads_last_frame() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    double const seconds = seconds_since(start);
    RgbaImage image;
    image.width = width;
    image.height = height;
    image.rgba = gl->read_pixels();
    if (!write_png(a.png, image, error)) fail(a.png, error);

    JsonObject out;
    out.add_text("png", a.png)
        .add("width", width)
        .add("height", height)
        .add("mesh_tiles", static_cast<double>(layer->get_current_tiles().size()))
        .add("frames", frames)
        .add("tiles_uploaded", uploads)
        .add("seconds", seconds);
    if (a.at.size() == 2) {
        V3 origin{}, direction{};
        pixel_ray(camera, width, height, a.at[0], a.at[1], origin, direction);
        direction = direction.normalize();
        double distance = 0;
        if (layer->intersect(origin, origin + direction * (2 * camera.farPlane), distance)) {
            V3 const hit = origin + direction * distance;
            out.add("x", hit[0]).add("y", hit[1]).add("z", hit[2]).add("height", hit[2] / a.request.exaggeration);
        } else {
            out.add("hit", "false");
        }
    }
    layer.reset();
    if (a.json)
        std::cout << out.str() << "\n";
    else
        std::cout << "wrote " << a.png << ": " << width << " x " << height << ", " << uploads << " tiles in "
                  << json_number(seconds) << " s\n";
}

} // namespace

void add_terrain_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("terrain", "Draw an elevation raster as terrain offscreen, to a PNG");
    cmd->footer("The terrain is coloured by --drape (its own colours when it has three or four bands, else "
                "through the colours), or by the heights. Colours: --colours, a gdaldem color-relief file, or "
                "--ramp, a named ramp. --camera AZ EL: the compass direction the camera looks in and its "
                "elevation; 90 looks straight down with north up.");
    static TerrainArgs a;
    cmd->add_option("dem", a.request.dem, "Elevation raster (any GDAL raster; FILE.gpkg:TABLE)")->required();
    cmd->add_option("--drape", a.request.drape, "Raster draped over the terrain");
    cmd->add_option("--colours", a.request.colours, "gdaldem colour file for heights or a single-band drape");
    cmd->add_option("--ramp", a.request.ramp, "Named colour ramp when there is no colour file")->capture_default_str();
    cmd->add_option("--png", a.png, "PNG to write")->required();
    cmd->add_option("--size", a.size, "Picture width and height")->expected(2)->capture_default_str()
        ->check(CLI::Range(1, 16384));
    cmd->add_option("--camera", a.camera, "Azimuth and elevation in degrees")->expected(2)->capture_default_str();
    cmd->add_option("--exaggeration", a.request.exaggeration, "Vertical exaggeration")->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_option("--at", a.at, "Also report where the ray through this pixel (x, y from the top left) meets "
                                  "the terrain")->expected(2);
    cmd->add_option("--timeout", a.maxSeconds, "Seconds to wait for the tiles")->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_flag("--json", a.json, "Report as JSON");
    cmd->add_flag("--force", a.force, "Overwrite an existing PNG");
    cmd->callback([] { run_terrain(a); });
}

} // namespace tolmar_cli
