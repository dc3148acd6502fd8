// Where a ray meets the terrain: the level-0 cells that the ray crosses, the
// nearest first, and a march through each over the finest tile resident
// there, sampled as the shaders sample it.

#include "graphics/TilePyramidRenderer.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "foundation/Ma.h"
#include "graphics/TileTexturePyramid.h"

namespace Tolmar {

namespace {

// The part of the segment inside the box as parameters t0 <= t1 of 0..1.
bool clip_segment(vec<double, 3> const& a, vec<double, 3> const& b, vec<double, 3> const& lo,
                  vec<double, 3> const& hi, double& t0, double& t1)
{
    t0 = 0;
    t1 = 1;
    for (int k = 0; k < 3; ++k) {
        double const d = b[k] - a[k];
        if (std::abs(d) < 1e-300) {
            if (a[k] < lo[k] || a[k] > hi[k]) return false;
            continue;
        }
        double u0 = (lo[k] - a[k]) / d, u1 = (hi[k] - a[k]) / d;
        if (u0 > u1) std::swap(u0, u1);
        t0 = std::max(t0, u0);
        t1 = std::min(t1, u1);
        if (t0 > t1) return false;
    }
    return true;
}

// A tile's value at (x, y), bilinear between the four texel centres
// around it, as the shaders read it; false where any of the four is
// undefined.
bool sample_tile(host::StreamerRasterReader const& reader, host::RasterTile const& tile, double x, double y,
                 double& value)
{
    int const size = reader.get_tile_size();
    if (tile.data.size() != static_cast<std::size_t>(size) * static_cast<std::size_t>(size)) return false;
    box<double, 2> const e = reader.get_tile_extent(tile.key.level, tile.key.id);
    // Texel values stand at texel centres; the reads do not cross tiles.
    double const u = (x - e.lower[0]) / (e.upper[0] - e.lower[0]) * size - 0.5;
    double const v = (e.upper[1] - y) / (e.upper[1] - e.lower[1]) * size - 0.5;
    int const iu = std::clamp(static_cast<int>(std::floor(u)), 0, size - 2);
    int const iv = std::clamp(static_cast<int>(std::floor(v)), 0, size - 2);
    double const wu = std::clamp(u - iu, 0.0, 1.0), wv = std::clamp(v - iv, 0.0, 1.0);
    auto word = [&](int du, int dv) {
        return tile.data[static_cast<std::size_t>(iv + dv) * static_cast<std::size_t>(size) +
                         static_cast<std::size_t>(iu + du)];
    };
    std::uint32_t const w[4] = {word(0, 0), word(1, 0), word(0, 1), word(1, 1)};
    for (std::uint32_t q : w)
        if (q == host::kUndefinedTileWord) return false;
    double const top = w[0] + (static_cast<double>(w[1]) - w[0]) * wu;
    double const bottom = w[2] + (static_cast<double>(w[3]) - w[2]) * wu;
    value = (top + (bottom - top) * wv) / host::kMaxTileWord;
    return true;
}

struct CellHit {
    double distance;
    host::TileKey key;
    box<double, 3> cell;
};

} // namespace

bool TilePyramidRenderer::intersect_flat(vec<double, 3> const& start, vec<double, 3> const& end,
                                         double& distance) const
{
    double const za = transformZ(z_min), zb = transformZ(z_max);
    vec<double, 3> const lo{{render_area->lower[0] + local_origin[0], render_area->lower[1] + local_origin[1],
                             std::min(za, zb)}};
    vec<double, 3> const hi{{render_area->upper[0] + local_origin[0], render_area->upper[1] + local_origin[1],
                             std::max(za, zb)}};
    double t0 = 0, t1 = 0;
    if (!clip_segment(start, end, lo, hi, t0, t1)) return false;
    distance = t0 * (end - start).length();
    return true;
}

bool TilePyramidRenderer::intersect(vec<double, 3> const& start, vec<double, 3> const& end, double& distance) const
{
    if (!render_area) return false;
    if (!height_pyramid) return intersect_flat(start, end, distance);
    TileTexturePyramid const& h = *height_pyramid;
    box<double, 2> const& bb = h.bounding_box();
    vec<double, 2> const ext = h.small_tile_extent();
    auto col_of = [&](double x) { return (x - bb.lower[0]) / ext[0]; };
    auto row_of = [&](double y) { return (bb.upper[1] - y) / ext[1]; };
    double const c0 = std::min(col_of(start[0]), col_of(end[0])), c1 = std::max(col_of(start[0]), col_of(end[0]));
    double const r0 = std::min(row_of(start[1]), row_of(end[1])), r1 = std::max(row_of(start[1]), row_of(end[1]));
    if (c1 < 0 || r1 < 0 || c0 >= h.cols() || r0 >= h.rows()) return false;
    int const col0 = std::max(0, static_cast<int>(c0)), col1 = std::min(h.cols() - 1, static_cast<int>(c1));
    int const row0 = std::max(0, static_cast<int>(r0)), row1 = std::min(h.rows() - 1, static_cast<int>(r1));

    double const za = transformZ(h.z_min()), zb = transformZ(h.z_max());
    double const length = (end - start).length();
    std::vector<CellHit> hits;
    for (int row = row0; row <= row1; ++row)
        for (int col = col0; col <= col1; ++col) {
            box<double, 3> const cell{{{bb.lower[0] + col * ext[0], bb.upper[1] - (row + 1) * ext[1], std::min(za, zb)}},
                                      {{bb.lower[0] + (col + 1) * ext[0], bb.upper[1] - row * ext[1], std::max(za, zb)}}};
            double t0 = 0, t1 = 0;
            host::TileKey key;
            if (!clip_segment(start, end, cell.lower, cell.upper, t0, t1) || !h.resident_tile(col, row, key)) continue;
            hits.push_back({t0 * length, key, cell});
        }
    std::stable_sort(hits.begin(), hits.end(), [](CellHit const& a, CellHit const& b) { return a.distance < b.distance; });

    host::StreamerRasterReader& reader = h.reader();
    std::map<host::TileKey, host::RasterTile> tiles;
    double const zrange = h.z_max() - h.z_min();
    for (CellHit const& hit : hits) {
        auto found = tiles.find(hit.key);
        if (found == tiles.end()) {
            host::RasterTile tile;
            if (!reader.get_tile(hit.key, tile)) continue;
            found = tiles.emplace(hit.key, std::move(tile)).first;
        }
        double t0 = 0, t1 = 0;
        if (!clip_segment(start, end, hit.cell.lower, hit.cell.upper, t0, t1)) continue;
        vec<double, 3> const a = start + (end - start) * t0, b = start + (end - start) * t1;
        double const texel = std::ldexp(1.0, hit.key.level) * std::min(ext[0], ext[1]) / reader.get_tile_size();
        double const step = texel / 5.0;
        int const n = std::max(1, static_cast<int>((b - a).xy().length() / step));
        // Height of the ray above the terrain at i / n of the way; false
        // where the terrain is undefined.
        auto above = [&](int i, double& d) {
            vec<double, 3> const p = a + (b - a) * (static_cast<double>(i) / n);
            double value = 0;
            if (!sample_tile(reader, found->second, p[0], p[1], value)) return false;
            d = p[2] - transformZ(h.z_min() + value * zrange);
            return true;
        };
        double previous = 0;
        bool defined = above(0, previous);
        for (int i = 1; i <= n; ++i) {
            double d = 0;
            bool const now = above(i, d);
            if (now && defined && ((previous > 0) != (d > 0) || d == 0)) {
                double const f = previous == d ? 0 : previous / (previous - d);
                double const t = t0 + (t1 - t0) * ((i - 1 + f) / n);
                distance = t * length;
                return true;
            }
            defined = now;
            previous = d;
        }
    }
    return false;
}

} // namespace Tolmar
