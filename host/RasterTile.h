#pragma once
// One tile of a raster pyramid as the tile reader hands it over: square,
// tile_size samples a side, each a 32-bit word that goes to the GPU
// unchanged as an RGBA8 texel.
//
// A single band's word is its value normalised over the band's range:
// 0 is the band's minimum, kMaxTileWord its maximum, kUndefinedTileWord
// no value. Several bands fill the four bytes of a word, band N in byte N
// (byte 0 first in memory); bytes of no band stay 0xFF.

#include "platform/api.h"

#include <cstdint>
#include <vector>

#include "host/TileKey.h"

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::host {

inline constexpr std::uint32_t kUndefinedTileWord = 0xFFFFFFFFu;
inline constexpr std::uint32_t kMaxTileWord = 0xFFFFFFFEu;

struct RasterTile {
    TileKey key;
    // The tile's range in band units, single band only; min > max when the
    // tile holds no defined value.
    double min = 0, max = 0;
    // tile_size * tile_size words, row-major, row 0 at the top; empty for
    // no data (a key outside the pyramid).
    std::vector<std::uint32_t> data;
};

struct RasterBandInfo {
    double min = 0, max = 0; // the band's statistics
    std::vector<std::uint64_t> items;
};

} // namespace Tolmar::host

TOLMAR_PUBLIC_END
