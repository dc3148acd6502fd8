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
#include "cli/json.h"
#include "cli/png_image.h"
#include "cli/terrain_layer.h"
#include "graphics/headless_gl.h"

namespace tolmar_cli {

TerrainReport draw_terrain(TerrainPicture const& p)
{
    refuse_existing(p.png, p.force);
    std::string error;
    auto gl = Tolmar::platform::HeadlessGL::create(p.width, p.height, error);
    if (!gl) fail(p.request.dem, "cannot make a GL context: " + error);
    double const start = now_seconds();
    auto layer = open_terrain(p.request);
    Camera const camera = terrain_camera(*layer, p.azimuth, p.elevation);

    TerrainReport report;
    for (;;) {
        glClearColor(1, 1, 1, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        glEnable(GL_DEPTH_TEST);
        double orientation[16];
        load_camera(camera, p.width, p.height, orientation);
        layer->draw(orientation, camera.eye);
        glFinish();
        ++report.frames;
        report.uploads += layer->uploads_last_frame();
        if (layer->tiles_complete()) break;
        if (seconds_since(start) > p.maxSeconds)
            fail(p.request.dem, "the terrain did not finish streaming in " + json_number(p.maxSeconds) + " s");
        // A frame takes at most three tiles a raster; wait only when none came.
        if (layer->uploads_last_frame() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    report.seconds = seconds_since(start);
    report.meshTiles = static_cast<int>(layer->get_current_tiles().size());
    RgbaImage image;
    image.width = p.width;
    image.height = p.height;
    image.rgba = gl->read_pixels();
    if (!write_png(p.png, image, error)) fail(p.png, error);

    if (p.at.size() == 2) {
        Tolmar::vec<double, 3> origin{}, direction{};
        pixel_ray(camera, p.width, p.height, p.at[0], p.at[1], origin, direction);
        direction = direction.normalize();
        double distance = 0;
        report.hit = layer->intersect(origin, origin + direction * (2 * camera.farPlane), distance);
        if (report.hit) report.at = origin + direction * distance;
    }
    return report;
}

namespace {

struct TerrainArgs {
    TerrainPicture picture;
    std::vector<int> size{1024, 768};
    std::vector<double> camera{0, 45};
    bool json = false;
};

void run_terrain(TerrainArgs& a)
{
    TerrainPicture& p = a.picture;
    if (!(std::abs(a.camera[1]) <= 90)) fail("--camera", "the elevation must lie between -90 and 90 degrees");
    p.width = a.size[0];
    p.height = a.size[1];
    p.azimuth = a.camera[0];
    p.elevation = a.camera[1];
    TerrainReport const r = draw_terrain(p);
    JsonObject out;
    out.add_text("png", p.png)
        .add("width", p.width)
        .add("height", p.height)
        .add("mesh_tiles", r.meshTiles)
        .add("frames", r.frames)
        .add("tiles_uploaded", r.uploads)
        .add("seconds", r.seconds);
    if (p.at.size() == 2) {
        out.add("hit", r.hit ? "true" : "false");
        if (r.hit)
            out.add("x", r.at[0]).add("y", r.at[1]).add("z", r.at[2]).add("height", r.at[2] / p.request.exaggeration);
    }
    if (a.json)
        std::cout << out.str() << "\n";
    else
        std::cout << "wrote " << p.png << ": " << p.width << " x " << p.height << ", " << r.uploads << " tiles in "
                  << json_number(r.seconds) << " s\n";
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
    TerrainPicture& p = a.picture;
    cmd->add_option("dem", p.request.dem, "Elevation raster (any GDAL raster; FILE.gpkg:TABLE)")->required();
    cmd->add_option("--drape", p.request.drape, "Raster draped over the terrain");
    cmd->add_option("--colours", p.request.colours, "gdaldem colour file for heights or a single-band drape");
    cmd->add_option("--ramp", p.request.ramp, "Named colour ramp when there is no colour file")->capture_default_str();
    cmd->add_option("--png", p.png, "PNG to write")->required();
    cmd->add_option("--size", a.size, "Picture width and height")
        ->expected(2)
        ->capture_default_str()
        ->check(CLI::Range(1, 16384));
    cmd->add_option("--camera", a.camera, "Azimuth and elevation in degrees")->expected(2)->capture_default_str();
    cmd->add_option("--exaggeration", p.request.exaggeration, "Vertical exaggeration")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_option("--view-srs", p.request.viewSrs,
                    "The view's coordinate system (EPSG code, WKT or PROJ string); the rasters are reprojected into it");
    cmd->add_option("--at", p.at, "Also report where the ray through this pixel (x, y from the top left) meets "
                                  "the terrain")
        ->expected(2);
    cmd->add_option("--timeout", p.maxSeconds, "Seconds to wait for the tiles")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_flag("--json", a.json, "Report as JSON");
    cmd->add_flag("--force", p.force, "Overwrite an existing PNG");
    cmd->callback([] { run_terrain(a); });
}

} // namespace tolmar_cli
