#pragma once
// Cuts a plane of samples (a slice, a line) into power-of-two textures that
// overlap by a border, so that filters reading neighbours across a tile's
// edge find them and no seams show; and places a tile's part of the plane
// on the corners of the slice's frame in the world.

#include "platform/api.h"

#include <vector>

#include "foundation/vec.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

class PlaneTiler {
public:
    struct Tile {
        vec<int, 2> index{};     // column and row in the tiling
        vec<int, 2> tex_size{};  // texture size, powers of two
        vec<int, 2> data_size{}; // samples copied, in x and y
        vec<int, 2> src_pos{};   // first sample copied, in the plane
        vec<int, 2> dst_pos{};   // where it goes in the texture: the border of the first column or row
        vec<float, 2> tc_min{}, tc_max{};     // texture coordinates of the tile's interior
        vec<float, 2> unit_min{}, unit_max{}; // the interior in the plane, 0 to 1 per axis
    };

    // Tiles of `tile_size` overlapping by `border` samples on each side,
    // rows outermost. The interiors (tile_size - 2 * border - 1 apart) cover
    // the plane without gaps. `tile_size` must exceed 2 * border + 1. The
    // flag is not read.
    static void split_in_tiles(vec<int, 2> const& size, int border, int tile_size, bool flag,
                               std::vector<Tile>& out);
    // The four world corners of a tile's interior, (u_min, v_max),
    // (u_max, v_max), (u_max, v_min), (u_min, v_min), where `unit_rect`
    // holds unit_min and unit_max, and x, y, z are a slice frame's corners.
    // A time slice's frame is horizontal, at z[0]:
    static void time_frame(vec<float, 2> const* unit_rect, vec<double, 4> const& x, vec<double, 4> const& y,
                           vec<double, 4> const& z, vec<double, 3>* out);
    // A vertical frame: along its line from corner 0 to corner 1 with u, from z[3] to z[0] with v.
    static void inl_crl_frame(vec<float, 2> const* unit_rect, vec<double, 4> const& x, vec<double, 4> const& y,
                              vec<double, 4> const& z, vec<double, 3>* out);
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
