#pragma once
// A tile of the terrain's mesh quadtree. The root (level 0) covers the whole
// render area, and each level halves the tiles each way; rows count from the
// bottom of the area and columns from the left. This runs the other way from
// a raster pyramid's TileKey, whose level 0 is the finest.

#include "platform/api.h"

#include <compare>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar {

struct QuadTreeCoord {
    int row = 0;
    int col = 0;
    int level = 0;

    // Sets are ordered by level, then column, then row.
    friend auto operator<=>(QuadTreeCoord const& a, QuadTreeCoord const& b)
    {
        if (auto c = a.level <=> b.level; c != 0) return c;
        if (auto c = a.col <=> b.col; c != 0) return c;
        return a.row <=> b.row;
    }
    friend bool operator==(QuadTreeCoord const&, QuadTreeCoord const&) = default;

    bool valid() const
    {
        if (level < 0 || level > 30) return false;
        int const n = 1 << level;
        return row >= 0 && col >= 0 && row < n && col < n;
    }
    // Direction 0: to the left, 1: up, 2: to the right, 3: down. The seam
    // meshes use the same numbers.
    QuadTreeCoord neighbour(int direction) const
    {
        switch (direction) {
        case 0: return {row, col - 1, level};
        case 1: return {row + 1, col, level};
        case 2: return {row, col + 1, level};
        default: return {row - 1, col, level};
        }
    }
    // Child 0: bottom left, 1: top left, 2: bottom right, 3: top right.
    QuadTreeCoord child(int c) const
    {
        return {row * 2 + ((c == 1 || c == 3) ? 1 : 0), col * 2 + ((c == 2 || c == 3) ? 1 : 0), level + 1};
    }
    QuadTreeCoord parent() const { return {row / 2, col / 2, level - 1}; }
};

} // namespace Tolmar

TOLMAR_PUBLIC_END
