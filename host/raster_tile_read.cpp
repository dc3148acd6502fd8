// Where a tile of the reader's pyramid lies, and how it is read and turned
// into the words the renderer uploads.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <limits>

#include "foundation/log.h"
#include "host/StreamerRasterReader.h"
#include "platform/debug_stream.h"

namespace Tolmar::host {

namespace {

constexpr double kWordScale = static_cast<double>(kMaxTileWord);

// A value over the band's range as a word: t = (v - lo) / range clamped to
// 0..1, truncated onto 0..kMaxTileWord. NaN counts as the minimum, so that
// every value gives a defined word whatever the statistics.
struct Normalise {
    double lo, range;
    std::uint32_t operator()(float v) const
    {
        double t = (v - lo) / range;
        if (!(t > 0)) return 0;
        return t >= 1 ? kMaxTileWord : static_cast<std::uint32_t>(t * kWordScale);
    }
};

// A constant band: the quotient would be 0/0 for its value and an infinity
// for any other; this is the clamp's answer without the division.
struct NormaliseConstant {
    double lo;
    std::uint32_t operator()(float v) const { return v > lo ? kMaxTileWord : 0; }
};

// One pass: words, validity and the tile's extreme words together.
template <class Convert>
void convert_band(PixelBlock const& block, Convert convert, std::uint32_t* out, std::uint32_t& low,
                  std::uint32_t& high)
{
    float const* const values = block.values.data();
    std::uint8_t const* const valid = block.valid.data();
    std::size_t const n = block.values.size();
    std::uint32_t lo = kUndefinedTileWord, hi = 0;
    for (std::size_t i = 0; i < n; ++i) {
        std::uint32_t const word = valid[i] ? convert(values[i]) : kUndefinedTileWord;
        out[i] = word;
        if (word != kUndefinedTileWord) {
            lo = std::min(lo, word);
            hi = std::max(hi, word);
        }
    }
    low = lo;
    high = hi;
}

// The low 8 bits of a sample's integer part (a signed -1 gives 0xFF). The
// host hands samples over as floats; one with no integer part that fits
// (NaN, a huge float) gives 0 rather than an undefined conversion.
unsigned char low_byte(float v)
{
    if (!(std::fabs(v) < 9.0e18f)) return 0;
    return static_cast<unsigned char>(static_cast<std::int64_t>(v));
}

} // namespace

bool StreamerRasterReader::read(RasterTile& tile)
{
    int const level = tile.key.level;
    if (level < 0 || level >= num_levels()) {
        // Cached as it stands, so that the caller stops asking.
        Util::logf("invalid tile pyramid level %d (%d)\n", level, num_levels());
        tile.data.clear();
        return true;
    }
    if (!raster_) {
        platform::debug_write("tread: raster read failed, dataset will be reopened\n");
        return false;
    }
    vec<int, 2> offset;
    get_tile_pixel_offset(level, tile.key.id, offset);
    vec<int, 2> const level_size = pyramid_resolutions_[static_cast<std::size_t>(level)];
    tile.data.assign(static_cast<std::size_t>(tile_size_) * static_cast<std::size_t>(tile_size_), kUndefinedTileWord);
    tile.min = std::numeric_limits<double>::max();
    tile.max = -std::numeric_limits<double>::max();
    bool ok = false;
    try {
        ok = isSingleBand() ? read_single_band(tile, level_size, offset) : read_bands(tile, level_size, offset);
    } catch (std::exception const& e) {
        Util::logf("StreamerRasterReader: %s\n", e.what());
    }
    if (!ok) platform::debug_write("tread: raster read failed, dataset will be reopened\n");
    return ok;
}

bool StreamerRasterReader::read_single_band(RasterTile& tile, vec<int, 2> const& level_size,
                                            vec<int, 2> const& offset)
{
    int const band = connection_.bands[0];
    std::string why;
    if (!raster_->read(band, level_size[0], level_size[1], offset[0], offset[1], tile_size_, tile_size_, block_,
                       &why)) {
        Util::logf("StreamerRasterReader: %s\n", why.c_str());
        return false;
    }
    if (block_.values.size() != tile.data.size() || block_.valid.size() != tile.data.size()) return false;

    RasterBandInfo const& info = band_infos_[static_cast<std::size_t>(band)];
    double const range = info.max - info.min;
    std::uint32_t low = 0, high = 0;
    if (range == 0)
        convert_band(block_, NormaliseConstant{info.min}, tile.data.data(), low, high);
    else
        convert_band(block_, Normalise{info.min, range}, tile.data.data(), low, high);
    // With no defined word the minimum stays above the maximum.
    tile.min = info.min + low / kWordScale * range;
    tile.max = info.min + high / kWordScale * range;
    return true;
}

bool StreamerRasterReader::read_bands(RasterTile& tile, vec<int, 2> const& level_size, vec<int, 2> const& offset)
{
    // Byte lane b of every word, byte 0 first in memory whatever the
    // machine's byte order: the words go to the GPU as RGBA8 texels. The
    // lane is the band's number, not its channel's (open checks it is 0..3).
    // Masks do not apply: a pixel past the edge keeps what the host gives.
    auto* const bytes = reinterpret_cast<unsigned char*>(tile.data.data());
    for (int c = 0; c < 4; ++c) {
        int const band = connection_.bands[c];
        if (band < 0) continue;
        std::string why;
        if (!raster_->read(band, level_size[0], level_size[1], offset[0], offset[1], tile_size_, tile_size_, block_,
                           &why)) {
            Util::logf("StreamerRasterReader: %s\n", why.c_str());
            return false;
        }
        if (block_.values.size() != tile.data.size()) return false;
        unsigned char* lane = bytes + band;
        for (float const v : block_.values) {
            *lane = low_byte(v);
            lane += 4;
        }
    }
    return true;
}

// ---- addressing -------------------------------------------------------------

int StreamerRasterReader::pos2id(int level, int x, int y) const
{
    int const tx = tiles_x(level);
    x = std::clamp(x, 0, tx - 1);
    y = std::clamp(y, 0, tiles_y(level) - 1);
    return y * tx + x;
}

void StreamerRasterReader::id2pos(int level, int id, int& x, int& y) const
{
    int const tx = tiles_x(level);
    y = id / tx;
    x = id - y * tx;
}

int StreamerRasterReader::parent_tile(int level, int id) const
{
    if (level + 1 >= num_levels()) return -1;
    int x = 0, y = 0;
    id2pos(level, id, x, y);
    return pos2id(level + 1, x / 2, y / 2);
}

void StreamerRasterReader::children_tiles(int level, int id, int out[4]) const
{
    std::fill_n(out, 4, -1);
    if (level < 1) return;
    int x = 0, y = 0;
    id2pos(level, id, x, y);
    int const tx = tiles_x(level - 1), ty = tiles_y(level - 1);
    for (int i = 0; i < 4; ++i) {
        int const cx = 2 * x + (i & 1), cy = 2 * y + (i >> 1);
        if (cx < tx && cy < ty) out[i] = cy * tx + cx;
    }
}

void StreamerRasterReader::get_tile_pixel_offset(int level, int id, vec<int, 2>& offset) const
{
    int x = 0, y = 0;
    id2pos(level, id, x, y);
    offset = vec<int, 2>{{x * tile_size_, y * tile_size_}};
}

box<double, 2> StreamerRasterReader::get_tile_extent(int level, int id) const
{
    int x = 0, y = 0;
    id2pos(level, id, x, y);
    vec<int, 2> const res = pyramid_resolutions_[static_cast<std::size_t>(level)];
    double const w = (extent_.upper[0] - extent_.lower[0]) * tile_size_ / res[0];
    double const h = (extent_.upper[1] - extent_.lower[1]) * tile_size_ / res[1];
    return box<double, 2>(vec<double, 2>{{extent_.lower[0] + x * w, extent_.upper[1] - (y + 1) * h}},
                          vec<double, 2>{{extent_.lower[0] + (x + 1) * w, extent_.upper[1] - y * h}});
}

} // namespace Tolmar::host
