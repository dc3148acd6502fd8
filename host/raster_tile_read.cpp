// Where a tile of the reader's pyramid lies, and how it is read and turned
// into the words the renderer uploads.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>

#if defined(__x86_64__) && defined(__GNUC__)
#include <emmintrin.h>
#endif

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
        t = t > 0 ? t : 0.0; // NaN fails the test too
        t = t < 1 ? t : 1.0;
        return static_cast<std::uint32_t>(static_cast<std::int64_t>(t * kWordScale));
    }
};

// A constant band: the quotient would be 0/0 for its value and an infinity
// for any other; this is the clamp's answer without the division.
struct NormaliseConstant {
    double lo;
    std::uint32_t operator()(float v) const { return v > lo ? kMaxTileWord : 0; }
};

// One pass: words, validity and the tile's extreme words together.
// kUndefinedTileWord is above every defined word, so it never lowers the
// minimum; for the maximum an undefined pixel counts as 0.
template <class Convert>
void convert_band(PixelBlock const& block, Convert convert, std::uint32_t* out, std::uint32_t& low,
                  std::uint32_t& high, std::size_t from = 0)
{
    float const* const values = block.values.data();
    std::uint8_t const* const valid = block.valid.data();
    std::size_t const n = block.values.size();
    std::uint32_t lo = low, hi = high;
    for (std::size_t i = from; i < n; ++i) {
        std::uint32_t const word = convert(values[i]);
        std::uint32_t const stored = valid[i] ? word : kUndefinedTileWord;
        out[i] = stored;
        lo = std::min(lo, stored);
        hi = std::max(hi, valid[i] ? word : 0u);
    }
    low = lo;
    high = hi;
}

#if defined(__x86_64__) && defined(__GNUC__)
// The same as convert_band with Normalise, four pixels at a time with
// SSE2, which every x86-64 has. The scalar loop costs about as much as
// GDAL's read of the tile: the compiler makes branches of the clamp and
// cannot vectorise a double's conversion to an unsigned 32-bit word.
// Here t * kMaxTileWord is taken as 2h with h = t * (kMaxTileWord / 2),
// exactly (a factor of 2 does not change the rounding): h fits a signed
// 32-bit integer, and trunc(2h) = 2 floor(h) + (h - floor(h) >= 0.5).
// maxpd gives its second operand for a NaN, which makes a NaN the minimum.
void convert_normalised(PixelBlock const& block, double lo_value, double range, std::uint32_t* out,
                        std::uint32_t& low, std::uint32_t& high)
{
    float const* const values = block.values.data();
    std::uint8_t const* const valid = block.valid.data();
    std::size_t const n = block.values.size();
    // One factor for the quotient: a division a pixel costs more than
    // GDAL's read of the tile. The word may then be a unit off the exact
    // quotient's, a part in four thousand million.
    __m128d const lo_v = _mm_set1_pd(lo_value), inverse_v = _mm_set1_pd(1.0 / range);
    __m128d const zero = _mm_setzero_pd(), one = _mm_set1_pd(1.0), half = _mm_set1_pd(0.5);
    __m128d const half_scale = _mm_set1_pd(kWordScale / 2);
    __m128i const sign = _mm_set1_epi32(static_cast<int>(0x80000000u)), zero_i = _mm_setzero_si128();
    // The running extremes with the sign bit flipped, so that SSE2's signed
    // compare orders them as unsigned numbers.
    __m128i low_v = _mm_set1_epi32(static_cast<int>(kUndefinedTileWord ^ 0x80000000u));
    __m128i high_v = sign;
    auto const halves = [&](__m128d v, __m128i& twice_floor, __m128& round_up) {
        __m128d t = _mm_mul_pd(_mm_sub_pd(v, lo_v), inverse_v);
        t = _mm_min_pd(_mm_max_pd(t, zero), one);
        __m128d const h = _mm_mul_pd(t, half_scale);
        __m128i const f = _mm_cvttpd_epi32(h);
        twice_floor = f;
        round_up = _mm_castpd_ps(_mm_cmpge_pd(_mm_sub_pd(h, _mm_cvtepi32_pd(f)), half));
    };
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        __m128 const v = _mm_loadu_ps(values + i);
        __m128i f0, f1;
        __m128 r0, r1;
        halves(_mm_cvtps_pd(v), f0, r0);
        halves(_mm_cvtps_pd(_mm_movehl_ps(v, v)), f1, r1);
        __m128i const floors = _mm_unpacklo_epi64(f0, f1);
        __m128i const up = _mm_castps_si128(_mm_shuffle_ps(r0, r1, _MM_SHUFFLE(2, 0, 2, 0)));
        __m128i const word = _mm_sub_epi32(_mm_slli_epi32(floors, 1), up); // up is -1 where set
        int four_valid;
        std::memcpy(&four_valid, valid + i, sizeof four_valid);
        __m128i flags = _mm_unpacklo_epi8(_mm_cvtsi32_si128(four_valid), zero_i);
        flags = _mm_unpacklo_epi16(flags, zero_i);
        __m128i const invalid = _mm_cmpeq_epi32(flags, zero_i);
        __m128i const stored = _mm_or_si128(word, invalid);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), stored);
        __m128i const s = _mm_xor_si128(stored, sign);
        __m128i const below = _mm_cmpgt_epi32(low_v, s);
        low_v = _mm_or_si128(_mm_and_si128(below, s), _mm_andnot_si128(below, low_v));
        __m128i const d = _mm_xor_si128(_mm_andnot_si128(invalid, word), sign);
        __m128i const above = _mm_cmpgt_epi32(d, high_v);
        high_v = _mm_or_si128(_mm_and_si128(above, d), _mm_andnot_si128(above, high_v));
    }
    alignas(16) std::uint32_t lows[4], highs[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lows), _mm_xor_si128(low_v, sign));
    _mm_store_si128(reinterpret_cast<__m128i*>(highs), _mm_xor_si128(high_v, sign));
    low = std::min(std::min(lows[0], lows[1]), std::min(lows[2], lows[3]));
    high = std::max(std::max(highs[0], highs[1]), std::max(highs[2], highs[3]));
    convert_band(block, Normalise{lo_value, range}, out, low, high, i);
}
#else
void convert_normalised(PixelBlock const& block, double lo_value, double range, std::uint32_t* out,
                        std::uint32_t& low, std::uint32_t& high)
{
    convert_band(block, Normalise{lo_value, range}, out, low, high);
}
#endif

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
    std::uint32_t low = kUndefinedTileWord, high = 0;
    if (range == 0)
        convert_band(block_, NormaliseConstant{info.min}, tile.data.data(), low, high);
    else
        convert_normalised(block_, info.min, range, tile.data.data(), low, high);
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
