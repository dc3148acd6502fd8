#pragma once
// `tolmar render`: one slice of a brick file drawn offscreen by the cube
// volume renderer, through the GPU brick pool and its shader, as a PNG.

#include <string>
#include <vector>

#include "cli/slice_choice.h"

namespace CLI {
class App;
}

namespace tolmar_cli {

void add_render_command(CLI::App& app);

struct RenderRequest {
    std::string cube; // brick file
    SliceKind kind = SliceKind::Inline;
    double position = 0;       // line number, or z in ms
    std::string png;
    int width = 0, height = 0; // 0: the slice's own size, one pixel a sample
    // Azimuth and elevation in degrees of a perspective camera; empty for
    // the front view that fills the picture.
    std::vector<double> camera;
    std::vector<float> range;  // empty: the effective range
    double maxSeconds = 60;    // streaming gives up after this
    // The GPU brick pool's budget in MiB; 0 sizes it for the slice at full
    // resolution, with room to spare, up to 4 GiB.
    double gpuMemoryMiB = 0;
    // Coordinate systems of the survey and of the view (EPSG code, WKT or a
    // PROJ string); empty for unknown, where points are taken as they are.
    std::string srs, viewSrs;
    bool force = false;
};

struct RenderReport {
    int width = 0, height = 0;
    float low = 0, high = 0;  // the colour range
    int frames = 0;           // frames drawn until the pool had all it wanted
    bool complete = true;     // false when streaming gave up
    double seconds = 0;       // drawing and streaming
    std::string renderer;     // GL_RENDERER and GL_VERSION
    double poolMiB = 0;       // the pool as allocated
    unsigned poolBricks = 0;  // bricks it holds
    // Bricks of all levels the slice needs to be drawn at full resolution,
    // and the budget that would hold them.
    unsigned neededBricks = 0;
    double neededMiB = 0;
    // Per level, finest first, the bricks the picture shows, and whether
    // every brick of the slice shows at level 0.
    std::vector<unsigned> bricksPerLevel;
    bool fullResolution = false;
};

// Draws the slice and writes the PNG; fails with one line.
RenderReport render_slice(RenderRequest const& request);

} // namespace tolmar_cli
