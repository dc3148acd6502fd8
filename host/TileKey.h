#pragma once
// The address of one tile of a raster's tile pyramid: its level (0 is full
// resolution, each level above halves the pixels) and its number on that
// level, row by row from the top left.

#include "platform/api.h"

#include <compare>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

struct TileKey {
    int level = -1;
    int id = -1;
    // By level, then id: walked backwards, coarse tiles come first.
    auto operator<=>(TileKey const&) const = default;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
