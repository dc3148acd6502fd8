#include "graphics/tile_renderer/Tile.h"

#include <algorithm>
#include <utility>

namespace Tolmar {

namespace {

std::vector<std::pair<int, int>> intervals(int size, int tile_size, int border)
{
    std::vector<std::pair<int, int>> out;
    if (size <= 0 || tile_size <= 0) return out;
    out.emplace_back(0, std::min(size - 1, tile_size - 1));
    while (out.back().second < size - 1) {
        // A step must move on, or a tile no wider than its borders would repeat for ever.
        int const start = std::max(out.back().second - 2 * border, out.back().first + 1);
        out.emplace_back(start, std::min(size - 1, start + tile_size - 1));
    }
    return out;
}

} // namespace

void Tile::split(int width, int height, int tile_size, int border, std::vector<Tile>& out)
{
    out.clear();
    double const margin = (border + 0.5) / tile_size;
    for (auto const& [y0, y1] : intervals(height, tile_size, border))
        for (auto const& [x0, x1] : intervals(width, tile_size, border)) {
            Tile t;
            t.tile_size = tile_size;
            t.border = border;
            t.x0 = x0;
            t.y0 = y0;
            t.x1 = x1;
            t.y1 = y1;
            t.u_left = margin;
            t.u_right = static_cast<double>(x1 - x0 + 1) / tile_size - margin;
            t.v_top = margin;
            t.v_bottom = static_cast<double>(y1 - y0 + 1) / tile_size - margin;
            out.push_back(t);
        }
}

} // namespace Tolmar
