#pragma once
// The jobs of `tolmar line`, for the subcommands and the demonstration:
// each fails with one line.

#include <string>
#include <utility>
#include <vector>

#include "cli/cli_support.h"

namespace tolmar_cli {

struct LineImportRequest {
    std::string segy, raster, navigation, srs;
    HeaderPositions positions;
    Encoding encoding;
    int spByte = 17;
    std::vector<int> spRange;    // START STOP STEP; empty: all
    std::vector<double> zRange;  // MIN MAX in ms; empty: all
    bool force = false;
};

struct LineImportReport {
    int traces = 0, samples = 0, inserted = 0, spFirst = 0, spLast = 0;
    double zStart = 0, zStep = 0;
    float low = 0, high = 0;
    double readSeconds = 0, seconds = 0;
};

// Reads the line, one trace a shot point step, into a raster and a navigation GeoPackage.
LineImportReport import_line(LineImportRequest& request);

struct LineRenderRequest {
    std::string raster, navigation, png, colourTable;
    std::vector<int> size{{800, 600}};
    std::vector<double> camera;     // azimuth, elevation; empty: square on to the line
    std::pair<float, float> range{}; // equal ends: the raster's range
    double exaggeration = 0, maxSeconds = 60;
    std::vector<double> seeds; // a horizon tracked between these (trace, time in ms) is drawn over the curtain
    bool force = false;
};

struct LineRenderReport {
    int width = 0, height = 0, traces = 0, samples = 0, frames = 0;
    bool complete = true;
    double seconds = 0;
};

LineRenderReport render_line(LineRenderRequest const& request);

struct LinePickRequest {
    std::string raster, navigation, out, name = "horizon", mode = "peak";
    std::vector<double> seeds; // trace, time in ms, trace, time, ...
    int window = 20;
    bool force = false;
};

struct LinePickReport {
    int firstTrace = 0, lastTrace = 0;
    std::vector<double> times; // ms, a trace from the first to the last
};

LinePickReport pick_line(LinePickRequest const& request);

struct LineExportRequest {
    std::string raster, navigation, out, colourTable;
    std::pair<float, float> range{}; // equal ends: the raster's range
    bool force = false;
};

struct LineExportReport {
    int meshes = 0;
    std::string textures; // the folder of the TGA images
};

// The curtain as textured triangulated surfaces, a feature a tile in the
// layer "curtain" of a new GeoPackage, each with its TGA image in a folder
// beside it ("texture", relative to the GeoPackage) and its texture
// coordinates ("uv": u v pairs, a vertex each, three vertices a triangle).
LineExportReport export_line(LineExportRequest const& request);

} // namespace tolmar_cli
