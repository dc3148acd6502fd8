#pragma once
// The older tile splitter, used where images are written to disk: tiles of
// a fixed size whose borders lie inside them, neighbours sharing
// 2 * border + 1 samples.

#include "platform/api.h"

#include <vector>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct Tile {
    int tile_size = 0;
    int border = 0;
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0; // sample bounds, both ends included
    // Texture coordinates of the interior.
    double u_left = 0, u_right = 0, v_top = 0, v_bottom = 0;

    // Rows of tiles, top first, over an image of width x height samples.
    static void split(int width, int height, int tile_size, int border, std::vector<Tile>& out);

    // The interior in the image, 0 to 1; the first tile's left interior is
    // not 0, as the outer margin is the caller's.
    double x_left_interior_of_tile(int width) const { return static_cast<double>(x0 + border) / (width - 1); }
    double x_right_interior_of_tile(int width) const { return static_cast<double>(x1 - border) / (width - 1); }
    double y_top_interior_of_tile(int height) const { return static_cast<double>(y0 + border) / (height - 1); }
    double y_bot_interior_of_tile(int height) const { return static_cast<double>(y1 - border) / (height - 1); }
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
