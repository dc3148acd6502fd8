#pragma once
// `tolmar render`: one slice drawn offscreen by the cube layer's renderer,
// on the brick path (the volume renderer over the GPU brick pool) or the
// tile path, as a PNG; `tolmar pick`: what lies under a pixel of it.

#include <string>
#include <vector>

#include "cli/cube_view.h"

namespace CLI {
class App;
}

namespace tolmar_cli {

void add_render_command(CLI::App& app);
void add_pick_command(CLI::App& app);

struct RenderRequest : ViewRequest {
    std::string png;
    double maxSeconds = 60; // streaming gives up after this
    // The GPU brick pool's budget in MiB; 0 sizes it for the slice at full
    // resolution, with room to spare, up to 4 GiB.
    double gpuMemoryMiB = 0;
    bool force = false;
};

struct RenderReport {
    int width = 0, height = 0;
    float low = 0, high = 0;  // the colour range
    std::string path;         // "bricks" or "tiles"
    int frames = 0;           // frames drawn until the data were all there
    bool complete = true;     // false when streaming gave up
    double seconds = 0;       // drawing and streaming
    std::string renderer;     // GL_RENDERER and GL_VERSION
    double poolMiB = 0;       // the brick path's pool as allocated
    unsigned poolBricks = 0;  // bricks it holds
    // Bricks of all levels the slice needs to be drawn at full resolution,
    // and the budget that would hold them.
    unsigned neededBricks = 0;
    double neededMiB = 0;
    // Per level, finest first, the bricks the picture shows, and whether
    // the whole slice shows at full resolution.
    std::vector<unsigned> bricksPerLevel;
    bool fullResolution = false;
};

// Draws the slice and writes the PNG; fails with one line.
RenderReport render_slice(RenderRequest const& request);

} // namespace tolmar_cli
