#pragma once
// What the viewer shows: each cube as a layer of three slices (inline,
// crossline, time), each slice drawn by its own cube renderer, and 2D lines
// as curtains, all in one scene in the view's coordinate system with one
// vertical exaggeration.
// Everything here runs on the window's thread with its context current.

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "cli/cube_view.h"
#include "cli/line_data.h"
#include "graphics/TilePyramidRenderer.h"
#include "platform/update_sink.h"

namespace Tolmar {
class GPUCubeMemoryManager;
}

namespace tolmar_cli {

struct SceneOptions {
    std::vector<std::string> cubes;
    std::vector<std::string> lines, navigations; // a line's raster and its navigation, in pairs
    std::vector<std::string> indexes; // none, or one a cube (empty for a brick file)
    std::string srs, viewSrs;
    double exaggeration = 0;          // 0: the scene as deep as it is wide
    std::string colourTable;          // for every cube; empty: the default
    std::vector<float> range;         // for every cube; empty: each its effective range
    bool forceTiles = false;
    double gpuMemoryMiB = 0;          // 0: what the first slices need, and room to spare
    std::vector<std::string> terrains, drapes; // DEMs, and the drape of each in order (fewer: none)
    std::string terrainColours;       // a gdaldem colour file for the terrains
    double terrainExaggeration = 1;   // view units a height unit
};

class CubeLayer {
public:
    std::string path, name;
    bool visible = true;
    std::array<bool, 3> shown{{true, true, true}};
    bool outline = false;
    std::string colourTable;
    float low = 0, high = 0;              // the colour range
    std::vector<unsigned long long> histogram;
    Tolmar::vec<float, 2> wholeRange{};   // what the histogram spans

    // The slice of each direction: 0 inline, 1 crossline, 2 time.
    Tolmar::SeismicCubeRenderer& slice(int direction) { return *slices_[direction]; }
    // The line number or time a slice stands on, its first, last and step.
    int position(int direction) const;
    Tolmar::vec<int, 3> range(int direction) const;
    // Puts the slice on the nearest line of its range to `value`.
    void set_position(int direction, double value);
    void step(int direction, int lines);
    void set_colour_table(std::string const& name);
    void set_colour_range(float from, float to);
    void set_outline(bool on);
    bool loading() const;

private:
    friend class Scene;
    std::array<std::unique_ptr<Tolmar::SeismicCubeRenderer>, 3> slices_;
};

// A 2D line's curtain, with its own colours and range.
class LineLayer {
public:
    LineData data;
    std::unique_ptr<Tolmar::SeismicLineRenderer> layer;
    bool visible = true;
    std::string colourTable;
    Tolmar::SeismicCubeRenderer::ColourTable colours;
    float low = 0, high = 0;
    Tolmar::vec<float, 2> wholeRange{};

    void set_colour_table(std::string const& name);
    void set_colour_range(float from, float to);
};

// A DEM drawn as terrain, with a drape or coloured by height.
struct TerrainLayer {
    std::string path, name;
    bool visible = true;
    double exaggeration = 1;
    std::unique_ptr<Tolmar::TilePyramidRenderer> layer;
};

struct ScenePick {
    bool hit = false;
    int cube = -1, direction = -1; // a cube's slice, or
    int line = -1;                  // a line, or
    int terrain = -1;               // a terrain
    std::string text;
};

class Scene {
public:
    // Opens every cube on the current context; fails with one line.
    Scene(SceneOptions const& options, Tolmar::platform::UpdateHandle wake);
    ~Scene();
    Scene(Scene const&) = delete;
    Scene& operator=(Scene const&) = delete;

    std::vector<CubeLayer>& cubes() { return cubes_; }
    std::vector<LineLayer>& lines() { return lines_; }
    std::vector<TerrainLayer>& terrains() { return terrains_; }
    // Horizontal directions for the camera's azimuths 0 and 90: the first
    // cube's inlines and crosslines, or across and along the first line.
    void axes(Tolmar::vec<double, 3>& along0, Tolmar::vec<double, 3>& along90);
    // x min, x max, y min, y max, z min, z max over the visible layers (all
    // layers when none is visible), in view units.
    void bounds(double out[6]) const;
    double exaggeration() const { return exaggeration_; }
    void set_exaggeration(double e);
    // The view units a millisecond that make the scene as deep as it is wide.
    double natural_exaggeration() const { return natural_; }
    void draw(Camera const& camera, int width, int height);
    // Data are still on their way to a shown slice.
    bool loading() const;
    // The nearest shown slice under the ray, and its pick text.
    ScenePick pick(Tolmar::vec<double, 3> const& origin, Tolmar::vec<double, 3> const& direction);
    // MiB of the brick pool; 0 on the tile path.
    double pool_mib() const;

private:
    // The pool outlives the layers, which leave it as they go.
    std::unique_ptr<Tolmar::GPUCubeMemoryManager> pool_;
    std::vector<CubeLayer> cubes_;
    std::vector<LineLayer> lines_;
    std::vector<TerrainLayer> terrains_;
    double exaggeration_ = 1, natural_ = 1;
};

} // namespace tolmar_cli
