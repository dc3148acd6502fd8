// `tolmar demo`: the import road end to end on a synthetic survey, leaving
// pictures of the result behind.

#include <CLI/CLI.hpp>

#include <cmath>
#include <filesystem>
#include <iostream>

#include "cli/commands.h"
#include "cli/cube_source.h"
#include "cli/render_command.h"
#include "cli/line_commands.h"
#include "cli/synthetic_line.h"
#include "cli/terrain_layer.h"
#include "cli/host_module.h"
#include "cli/synthetic_survey.h"

namespace tolmar_cli {

namespace {

// 1024 x 1024 cells of 10 m: two hills on a plane that rises to the east.
void write_demo_dem(std::string const& path)
{
    constexpr int kSide = 1024;
    Tolmar::host::RasterCreation c;
    c.path = path;
    c.width = c.height = kSide;
    c.xmin = 450000;
    c.ymin = 6690000;
    c.cell_width = c.cell_height = 10;
    c.spatial_reference = spatial_reference_option("EPSG:32631", "dem");
    c.replace = true;
    auto raster = create_raster(c);
    std::vector<float> row(kSide);
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
            auto hill = [x, y](double cx, double cy, double h, double r) {
                return h * std::exp(-((x - cx) * (x - cx) + (y - cy) * (y - cy)) / (r * r));
            };
            row[static_cast<std::size_t>(x)] =
                static_cast<float>(100 + 0.1 * x + hill(350, 400, 600, 180) + hill(700, 650, 400, 120));
        }
        std::string why;
        if (!raster->write(0, 0, y, kSide, 1, row.data(), &why)) fail(path, why);
    }
    std::string why;
    if (!raster->finish(&why)) fail(path, why);
}

namespace fs = std::filesystem;

void run_demo(std::string const& dir)
{
    double const start = now_seconds();
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec) fail(dir, "cannot create the folder (" + ec.message() + ")");
    auto const in = [&](char const* name) { return (fs::path(dir) / name).string(); };
    std::vector<std::pair<std::string, double>> steps;

    SynthOptions synth;
    synth.inlines = 120;
    synth.crosslines = 100;
    synth.samples = 400;
    synth.irregular = true;
    std::string const segy = in("demo.sgy");
    std::string error;
    double t0 = now_seconds();
    {
        ProgressBar bar("synth");
        if (!write_synthetic_survey(segy, synth, error, bar.callback())) fail(segy, error);
    }
    steps.emplace_back("synthetic survey " + segy, seconds_since(t0));

    Tolmar::SEGYreader3D reader;
    ImportRequest import;
    import.scan.path = segy;
    import.index = in("demo.idx");
    import.bricksDir = dir;
    import.name = "demo";
    import.force = true;
    ImportReport const imported = import_survey(reader, import);
    print_scan(std::cout, reader, true);
    steps.emplace_back("full scan", imported.scanSeconds);
    steps.emplace_back("index " + import.index, imported.indexSeconds);
    steps.emplace_back("bricks " + imported.brickFile, imported.brickSeconds);

    // Both ways of reading the cube must agree.
    CubeArgs const bricks{imported.brickFile, ""}, indexed{segy, import.index};
    auto fromBricks = open_cube(bricks), fromIndex = open_cube(indexed);
    int const inl = fromBricks->inlStart + fromBricks->inlStep * (fromBricks->ninl() / 2);
    int const crl = fromBricks->crlStart + fromBricks->crlStep * (fromBricks->ncrl() / 2);
    double const z = fromBricks->zStart + fromBricks->zStep * (fromBricks->nt() / 2);
    std::vector<float> a, b;
    if (!fromBricks->trace(inl, crl, fromBricks->zStart, fromBricks->zStop, a) ||
        !fromIndex->trace(inl, crl, fromIndex->zStart, fromIndex->zStop, b) || a != b)
        fail(dir, "the index and the bricks do not read back the same trace");
    fromBricks.reset();
    fromIndex.reset();

    SliceRequest slice;
    slice.cube = bricks;
    slice.force = true;
    slice.scale = 2;
    std::vector<std::string> pictures;
    for (auto const& [kind, position, name] :
         {std::tuple{SliceKind::Inline, double(inl), "inline.png"},
          std::tuple{SliceKind::Crossline, double(crl), "crossline.png"},
          std::tuple{SliceKind::Time, z, "timeslice.png"}}) {
        slice.kind = kind;
        slice.position = position;
        slice.png = in(name);
        SliceReport const s = extract_slice(slice);
        steps.emplace_back("slice " + slice.png + " (" + std::to_string(s.width) + " x " + std::to_string(s.height) + ")",
                           s.seconds);
        pictures.push_back(slice.png);
    }
    // The same inline drawn by the cube layer, seen at an angle: from the
    // bricks on the brick path, and from the SEG-Y file on the tile path.
    for (bool tiles : {false, true}) {
        RenderRequest render;
        render.cube = tiles ? segy : bricks.path;
        render.index = tiles ? import.index : "";
        render.position = inl;
        render.png = in(tiles ? "inline_rendered_tiles.png" : "inline_rendered.png");
        render.width = 640;
        render.height = 480;
        render.camera = {30, 20};
        render.force = true;
        RenderReport const drawn = render_slice(render);
        steps.emplace_back("rendered " + render.png + " on the " + drawn.path + " path (" +
                               std::to_string(drawn.frames) + " frames, " + drawn.renderer + ")",
                           drawn.seconds);
        pictures.push_back(render.png);
    }

    HistogramRequest histogram;
    histogram.cube = bricks;
    histogram.png = in("histogram.png");
    histogram.force = true;
    t0 = now_seconds();
    HistogramReport const h = make_histogram(histogram);
    steps.emplace_back("histogram " + histogram.png, seconds_since(t0));
    pictures.push_back(histogram.png);

    // A 2D line with repeated and missing shot points, repaired on import,
    // a horizon tracked along its dipping reflector, and the curtain drawn
    // with the horizon on it.
    LineSynthOptions lineSynth;
    lineSynth.traces = 400;
    lineSynth.samples = 400;
    lineSynth.repeatEvery = 25;
    lineSynth.gapEvery = 60;
    LineImportRequest lineImport;
    lineImport.segy = in("line.sgy");
    lineImport.raster = in("line.tif");
    lineImport.navigation = in("line.gpkg");
    lineImport.force = true;
    t0 = now_seconds();
    if (!write_synthetic_line(lineImport.segy, lineSynth, error)) fail(lineImport.segy, error);
    steps.emplace_back("synthetic 2D line " + lineImport.segy, seconds_since(t0));
    LineImportReport const lineRead = import_line(lineImport);
    steps.emplace_back("line " + lineImport.raster + " and " + lineImport.navigation + " (" +
                           std::to_string(lineRead.traces) + " traces, " + std::to_string(lineRead.inserted) +
                           " shot points filled in)",
                       lineRead.seconds);
    std::vector<double> const seeds{20, line_reflector_time(lineSynth, 20), 380, line_reflector_time(lineSynth, 380)};
    LinePickRequest pick;
    pick.raster = lineImport.raster;
    pick.navigation = lineImport.navigation;
    pick.out = in("horizon.gpkg");
    pick.name = "dipping";
    pick.seeds = seeds;
    pick.force = true;
    t0 = now_seconds();
    LinePickReport const picked = pick_line(pick);
    steps.emplace_back("horizon " + pick.out + " tracked over traces " + std::to_string(picked.firstTrace) + ".." +
                           std::to_string(picked.lastTrace),
                       seconds_since(t0));
    LineRenderRequest curtain;
    curtain.raster = lineImport.raster;
    curtain.navigation = lineImport.navigation;
    curtain.png = in("line.png");
    curtain.size = {900, 450};
    curtain.exaggeration = 3; // twice as long as deep
    curtain.seeds = seeds;
    curtain.force = true;
    LineRenderReport const drawnLine = render_line(curtain);
    steps.emplace_back("rendered " + curtain.png + " with the horizon", drawnLine.seconds);
    pictures.push_back(curtain.png);

    // Terrain: two hills on a tilted plane, coloured by height.
    TerrainPicture terrain;
    terrain.request.dem = in("dem.tif");
    terrain.request.exaggeration = 2;
    terrain.png = in("terrain.png");
    terrain.width = 1024;
    terrain.height = 640;
    terrain.azimuth = 30;
    terrain.elevation = 35;
    terrain.force = true;
    t0 = now_seconds();
    write_demo_dem(terrain.request.dem);
    steps.emplace_back("synthetic DEM " + terrain.request.dem, seconds_since(t0));
    TerrainReport const drawnTerrain = draw_terrain(terrain);
    steps.emplace_back("rendered " + terrain.png + " (" + std::to_string(drawnTerrain.uploads) + " tiles streamed)",
                       drawnTerrain.seconds);
    pictures.push_back(terrain.png);

    std::cout << "\nInline " << inl << ", crossline " << crl << ": the trace reads the same from the index and the bricks\n"
              << "Effective amplitude range (1% cut at each end) " << h.effLow << ".." << h.effHigh << " of "
              << h.low << ".." << h.high << "\n\nSteps:\n";
    for (auto const& [what, seconds] : steps) std::printf("  %8.3f s  %s\n", seconds, what.c_str());
    std::cout << "\nPictures:\n";
    for (auto const& p : pictures) std::cout << "  " << p << "\n";
    std::printf("\nDone in %.2f s.\n", seconds_since(start));
}

} // namespace

void add_demo_command(CLI::App& app)
{
    auto* cmd = app.add_subcommand("demo", "Make a synthetic survey, import it and draw slices and a histogram");
    static std::string dir = "tolmar-demo";
    cmd->add_option("DIR", dir, "Output folder")->capture_default_str();
    cmd->callback([] { run_demo(dir); });
}

} // namespace tolmar_cli
