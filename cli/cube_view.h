#pragma once
// The scene `tolmar render` draws and `tolmar pick` points into: a cube
// layer on a headless context, its slice, its colours, and the camera that
// frames the slice, all from the same options.

#include <memory>
#include <string>
#include <vector>

#include "cli/slice_choice.h"
#include "foundation/vec.h"
#include "graphics/SeismicCubeRenderer.h"

namespace tolmar_cli {

struct ViewRequest {
    std::string cube;  // brick file, or SEG-Y file with index
    std::string index; // the SEG-Y file's index; empty for a brick file
    SliceKind kind = SliceKind::Inline;
    double position = 0; // line number, or z in ms
    int width = 0, height = 0; // 0: the slice's own size, one pixel a sample
    // Azimuth and elevation in degrees of a perspective camera; empty for
    // the front view that fills the picture with the slice.
    std::vector<double> camera;
    std::vector<float> range;   // empty: the effective range
    bool forceTiles = false;    // the tile path on a brick file
    std::string colourTable;    // a table's name or a file; empty: the default
    bool outline = false;
    double exaggeration = 0;    // 0: the cube as deep as it is wide
    std::string srs, viewSrs;   // coordinate systems; empty: unknown
};

// Where the camera stands and looks, in the scene's coordinates (map x and
// y, z = -time * exaggeration).
struct Camera {
    Tolmar::vec<double, 3> eye{}, forward{}, up{}, right{};
    bool perspective = false;
    double halfWidth = 1, halfHeight = 1; // the front view's box
    bool mirrored = false;                // time slices: inlines left to right
    double halfFovTan = 0, nearPlane = 0.1, farPlane = 10;
};

// MiB of brick pool for `bricks` bricks and the reserved cell, rounded up.
double pool_mib_for(double bricks);
// The default pool for slices that need `needed` bricks at full resolution:
// a quarter more and a few cells besides, so that rounding the pool into
// whole cells never costs a brick of a slice; at most 4 GiB.
double default_pool_mib(unsigned needed);
// A small pool to open layers with until they tell what they need; none on
// GL 1.1, which has no 3D textures and draws tiles.
std::unique_ptr<Tolmar::GPUCubeMemoryManager> first_pool();

// The named colour tables, for --colour-table's help.
std::vector<std::string> colour_table_names();
// A named table or a file of lines "R G B [A]"; fails with one line.
Tolmar::SeismicCubeRenderer::ColourTable colour_table(std::string const& name);

// A perspective camera `distance` from `centre`, looking at it from an
// azimuth and elevation in degrees: azimuth 0 faces along the horizontal
// axis `along0`, 90 along `along90`; `radius` bounds what is to be seen.
Camera orbit_view(Tolmar::vec<double, 3> const& centre, double radius, Tolmar::vec<double, 3> const& along0,
                  Tolmar::vec<double, 3> const& along90, double azimuthDeg, double elevationDeg, double distance);
// How far a perspective camera stands to see all of a sphere of `radius`.
double framing_distance(double radius);
// The tangent of half the perspective cameras' vertical field of view.
double half_fov_tan();
// The horizontal directions of a layer's inlines and crosslines.
void lattice_axes(Tolmar::SeismicCubeRenderer& layer, Tolmar::vec<double, 3>& inlineAxis,
                  Tolmar::vec<double, 3>& crosslineAxis);

// A cube layer set up for the request, on the context current now, its
// brick path on `pool` (null: the process-wide one); fails with one line.
// Answers the slice's own size in samples and the colours' range.
std::unique_ptr<Tolmar::SeismicCubeRenderer> open_layer(ViewRequest const& r, Tolmar::GPUCubeMemoryManager* pool,
                                                        int& sampleWidth, int& sampleHeight, float& low, float& high);
Camera frame_camera(ViewRequest const& r, Tolmar::SeismicCubeRenderer& layer);
// Loads the camera's projection and view into GL, and answers the view's
// orientation (column-major) as layers take it with the camera's eye.
void load_camera(Camera const& c, int width, int height, double* orientation);
// Loads the camera into GL and the layer.
void apply_camera(Camera const& c, Tolmar::SeismicCubeRenderer& layer, int width, int height);
// The ray through the centre of pixel (x, y), counted from the top left.
void pixel_ray(Camera const& c, int width, int height, double x, double y, Tolmar::vec<double, 3>& origin,
               Tolmar::vec<double, 3>& direction);

} // namespace tolmar_cli
