#pragma once
// One plane through a seismic cube, in the coordinate system of the view.
//
// A cube's lattice (inline and crossline numbers, and time or depth) maps to
// map coordinates by an affine transform, in the cube's coordinate system;
// the view may use another. init() stores the footprint as a grid of points
// reprojected into the view, dense enough that a straight inline bent by
// the projection stays within a ten-thousandth of its length; every
// position of the slice then comes from that grid. Meshes carry, per
// vertex, its cube coordinate (sample, crossline, inline), each 0 to 1.
//
// Directions: 0 an inline (a vertical plane at one inline, along the
// crosslines), 1 a crossline, 2 a time slice. Positions run 0 to 1 along
// the direction's axis. Z values are times, which the view draws downwards.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"
#include "host/ISpatialReference.h"
#include "host/IVariantStream.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class CubeSlice {
public:
    // Ranges are (first, last, step). x = tx[0]*inline + tx[1]*crossline + tx[2],
    // and y likewise, in `cube`'s system; the view is in `target`'s. A null
    // reference is an unknown system. May be called again: the grid is rebuilt.
    // Answers 0, or the negative status of a projection that failed, in
    // which case the slice is left empty.
    long init(vec<int, 3> const& inlineRange, vec<int, 3> const& crosslineRange, vec<int, 3> const& timeRange,
              vec<double, 3> const& transformX, vec<double, 3> const& transformY, host::SpatialReferencePtr cube,
              host::SpatialReferencePtr target);

    // The slice at the current position: vertices in the view, cube
    // coordinates per vertex, three indices a triangle. Nothing before init().
    void get_frame_mesh(std::vector<vec<double, 3>>& vertices, std::vector<vec<double, 3>>& cubeCoords,
                        std::vector<int>& triangles) const;
    // A vertical slice gives its line on the map and its z range; a time
    // slice a closed ring round its footprint at its z.
    void get_outline(bool& vertical, std::vector<vec<double, 2>>& planLine, vec<double, 2>& zRange,
                     std::vector<vec<double, 3>>& ring) const;
    void updateFrame(double const& position) { position_ = position; }
    double get_position() const { return position_; }

    // The four corners of the slice, as x, y and z each: for a time slice
    // the footprint's corners (last row first and last point, first row
    // last and first point); for a vertical slice the ends of its line,
    // first, last, last, first, at z t1, t1, t0, t0. Unchanged before init().
    void get_frame(vec<double, 4>& x, vec<double, 4>& y, vec<double, 4>& z) const
    {
        get_frame_outline_corners(x, y, z);
    }
    void get_frame_outline_corners(vec<double, 4>& x, vec<double, 4>& y, vec<double, 4>& z) const;

    void set_slice_dir(int direction) { sliceDir_ = direction; }
    int get_slice_dir() const { return sliceDir_; }
    bool get_isTimeslice() const { return sliceDir_ == 2; }

    void get_centroid(vec<double, 3>& centroid) const;
    double get_width() const;  // plan distance of the first two corners
    double get_height() const; // z extent; 0 for a time slice
    // View units from one line to the next across the slice, or the time step.
    double get_dist_per_step() const;
    // Length of the cube along the current direction (1.0 for another
    // direction), and the slice's unit normal; both as init() found them
    // for the direction in force then.
    double get_length_in_slice_dir() const;
    void get_normal(vec<double, 3>& normal) const;

    // Where a ray from `origin` along `direction` meets the plane through the
    // slice with `planeNormal`, view z being -time * `verticalScale`. The
    // distance along the ray is reported whenever the ray is not parallel to
    // the plane; true, with the inline, crossline and hit point (x and y in
    // the cube's system, z in the view's), only where the hit lies inside
    // the lattice. Out values other than the distance are unchanged otherwise.
    bool ray_intersect(vec<double, 3> const& origin, vec<double, 3> const& direction,
                       vec<double, 3> const& planeNormal, double verticalScale, double& distance, int& inl,
                       int& crl, vec<double, 3>& hit) const;

    // Only the direction is kept in a document: everything else comes back
    // from the cube when it opens. Failures are logged, not reported.
    bool save(host::IVariantStream* stream) const;
    bool load(host::IVariantStream* stream);

    // The footprint grid in the view, row by row (a row a crossline position):
    // point (i, j) at j * inline_points() + i, with its (u, v) in grid_params().
    int inline_points() const { return n_inline_points; }
    int crossline_points() const { return n_crossline_points; }
    std::vector<vec<double, 2>> const& points() const { return grid_points; }
    std::vector<vec<double, 2>> const& params() const { return grid_params; }

private:
    vec<double, 2> cube_coord(double inl, double crl) const;
    // The lattice line nearest the map point, in the cube's system.
    int inlineCube(double x, double y) const;
    int crosslineCube(double x, double y) const;
    // Inline and crossline of a map point, not snapped to the lattice.
    vec<double, 2> lattice_of(double x, double y) const;
    // The slice at `position` across the inlines (or the crosslines): a
    // point per grid row (or column), with its parameter along the slice.
    void line_points(bool acrossInlines, double position, std::vector<vec<double, 2>>& points,
                     std::vector<double>& params) const;
    // The line of a vertical slice at the current position.
    void current_line(std::vector<vec<double, 2>>& points, std::vector<double>& params) const;
    double current_z() const;

    int sliceDir_ = 0;
    vec<int, 3> inline_range{};
    vec<int, 3> crossline_range{};
    vec<int, 3> time_range{};
    vec<double, 3> transform_x{};
    vec<double, 3> transform_y{};
    host::SpatialReferencePtr cube_spatial_ref;
    host::SpatialReferencePtr target_spatial_ref;
    double position_ = 0;
    int n_inline_points = 0, n_crossline_points = 0;
    std::vector<vec<double, 2>> grid_points;
    std::vector<vec<double, 2>> grid_params;
    std::vector<int> grid_triangles;
    std::vector<int> grid_outline;
    double length_in_dir[3] = {0, 0, 0};
    vec<double, 3> normal[3] = {};
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
