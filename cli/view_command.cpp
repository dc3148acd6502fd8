// `tolmar view`: the interactive viewer, or a scripted one for repeatable pictures.

#include <CLI/CLI.hpp>

#include "cli/commands.h"
#include "cli/viewer/viewer.h"

namespace tolmar_cli {

namespace {

struct ViewArgs {
    ViewerOptions options;
    std::vector<int> size;
    std::vector<double> camera;
    std::pair<float, float> range;
    std::string path = "auto";
    bool noPanel = false;
};

} // namespace

void add_view_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("view", "Open cubes, 2D lines and terrains in a window: slices in 3D, values under the cursor");
    cmd->footer("Mouse: drag to orbit, right-drag or Shift+drag to pan, wheel to zoom. Keys: I, C, T choose the "
                "slice to move, the arrows move it a line (Shift: ten), Tab the next cube, F frames everything, "
                "Ctrl+S saves a screenshot, Esc or Ctrl+Q quits. D starts and stops picking a horizon on the first line "
                "(peaks with Caps Lock on, troughs off): clicks that do not drag add picks, and the horizon is "
                "tracked between them. A script (--script) has one command a line: "
                "camera AZ EL, front inline|crossline|time, frame, orbit DAZ DEL [FRAMES], zoom STEPS, cube K, "
                "inline N, crossline N, time MS, show inline|crossline|time on|off, colour-table NAME, range LOW "
                "HIGH, outline on|off, exaggeration E, wait [SECONDS], screenshot PATH, window-screenshot PATH, print, quit.");
    static ViewArgs a;
    ViewerOptions& o = a.options;
    cmd->add_option("CUBE", o.scene.cubes, "Brick files (.tmf), or SEG-Y files with --index");
    cmd->add_option("--line", o.scene.lines, "A 2D line's raster (from tolmar line import); repeat for more");
    cmd->add_option("--navigation", o.scene.navigations, "The navigation of each --line, in order");
    cmd->add_option("--terrain", o.scene.terrains, "An elevation raster drawn as terrain; repeat for more");
    cmd->add_option("--drape", o.scene.drapes, "The raster draped over each --terrain, in order");
    cmd->add_option("--terrain-colours", o.scene.terrainColours, "A gdaldem colour file for the terrains");
    cmd->add_option("--terrain-exaggeration", o.scene.terrainExaggeration, "View units a height unit of the terrains")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    cmd->add_option("--horizons", o.horizons, "The GeoPackage that horizons picked on the first line go to");
    cmd->add_option("--index", o.scene.indexes, "The index of each cube, in order: give one a cube (\"\" for a "
                                                "brick file) or none");
    cmd->add_option("--srs", o.scene.srs, "The surveys' coordinate system: EPSG code, WKT or PROJ string");
    cmd->add_option("--view-srs", o.scene.viewSrs, "The view's coordinate system; cubes are reprojected into it");
    cmd->add_option("--exaggeration", o.scene.exaggeration,
                    "Vertical exaggeration: view units a millisecond (default: the scene as deep as it is wide)")
        ->check(CLI::PositiveNumber);
    cmd->add_option("--colour-table", o.scene.colourTable, "A named colour table or a file, for every cube");
    cmd->add_option("--range", a.range, "Amplitudes at the colour table's ends (default: each cube's effective "
                                        "range)");
    cmd->add_option("--path", a.path, "auto, or tiles: the tile path on brick files too")
        ->check(CLI::IsMember({"auto", "tiles"}));
    cmd->add_option("--gpu-memory", o.scene.gpuMemoryMiB, "MiB for the GPU brick pool (default: what the first "
                                                          "slices need at full resolution, and more)")
        ->check(CLI::Range(1.0, 65536.0));
    cmd->add_option("--size", a.size, "Width and height of the 3D view in pixels")
        ->expected(2)
        ->check(CLI::Range(16, 16384))
        ->default_str("1024 768");
    cmd->add_option("--camera", a.camera, "Azimuth and elevation in degrees to start from")
        ->expected(2)
        ->default_str("30 30");
    cmd->add_flag("--no-panel", a.noPanel, "The 3D view alone, without the side panel and status bar");
    cmd->add_option("--script", o.script, "Commands to run, one a line (see below); - reads standard input");
    cmd->add_option("--screenshot", o.screenshot, "Wait until the data are in, save the 3D view as a PNG, quit");
    cmd->callback([cmd] {
        ViewerOptions& v = a.options;
        if (a.size.size() == 2) {
            v.width = a.size[0];
            v.height = a.size[1];
        }
        if (a.camera.size() == 2) {
            v.azimuth = a.camera[0];
            v.elevation = a.camera[1];
        }
        if (cmd->count("--range")) v.scene.range = {a.range.first, a.range.second};
        v.scene.forceTiles = a.path == "tiles";
        v.panel = !a.noPanel;
        run_viewer(v);
    });
}

} // namespace tolmar_cli
